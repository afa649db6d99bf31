#pragma once

#include <QIcon>

namespace quillon {

// The icons of Quillon's windows and panels, taken from the desktop's icon theme by their
// freedesktop names, with a small bundled drawing where the theme has none.
enum class ThemeIcon {
    microphone,
    systemAudio,
    microphoneAndSystemAudio,
    startTranscription,
    pauseTranscription,
    recordAudio,
    finishingAudio,
    summarySidebar,
    followTranscript,
    aiSparkles,
    clearTranscript,
    copy,
    transcript,
    addContext,
    refresh,
    warningBadge,
    // The popover's.
    ready,
    liveTranscript,
    transcribing,
    stop,
    disclosure,
    settings,
    quit,
};

QIcon themeIcon(ThemeIcon icon);

}  // namespace quillon
