#include "ui/ThemeIcons.h"

#include <QString>

namespace quillon {

namespace {

struct IconName {
    const char* freedesktopName;  // empty: the theme has nothing that means the same
    const char* bundled;
};

// The one table of icon names. Themes such as Adwaita ship only the "-symbolic" variant of some
// names; it is tried second.
IconName nameOf(ThemeIcon icon) {
    switch (icon) {
        case ThemeIcon::microphone:
            return {"audio-input-microphone", "microphone"};
        case ThemeIcon::systemAudio:
            return {"audio-volume-high", "speaker"};
        case ThemeIcon::microphoneAndSystemAudio:
            return {"", "microphone-and-speaker"};
        case ThemeIcon::startTranscription:
            return {"media-playback-start", "play"};
        case ThemeIcon::pauseTranscription:
            return {"media-playback-pause", "pause"};
        case ThemeIcon::recordAudio:
            return {"media-record", "record"};
        case ThemeIcon::finishingAudio:
            return {"view-more-horizontal", "more"};
        case ThemeIcon::summarySidebar:
            return {"sidebar-show-right", "sidebar"};
        case ThemeIcon::followTranscript:
            return {"go-bottom", "follow"};
        case ThemeIcon::aiSparkles:
            return {"", "sparkles"};
        case ThemeIcon::clearTranscript:
            return {"edit-clear", "eraser"};
        case ThemeIcon::copy:
            return {"edit-copy", "copy"};
        case ThemeIcon::transcript:
            return {"format-justify-left", "text"};
        case ThemeIcon::addContext:
            return {"document-edit", "add-context"};
        case ThemeIcon::refresh:
            return {"view-refresh", "refresh"};
        case ThemeIcon::warningBadge:
            return {"dialog-warning", "warning"};
        case ThemeIcon::ready:
            return {"emblem-ok", "checkmark-circle"};
        case ThemeIcon::liveTranscript:
            return {"media-view-subtitles", "captions-bubble"};
        case ThemeIcon::transcribing:
            return {"audio-x-generic", "waveform"};
        case ThemeIcon::stop:
            return {"media-playback-stop", "stop"};
        case ThemeIcon::disclosure:
            return {"go-next", "chevron-right"};
        case ThemeIcon::settings:
            return {"preferences-system", "gear"};
        case ThemeIcon::quit:
            return {"system-shutdown", "power"};
    }
    return {"", "warning"};
}

}  // namespace

QIcon themeIcon(ThemeIcon icon) {
    const IconName name = nameOf(icon);
    const QString themed = QString::fromLatin1(name.freedesktopName);
    if (!themed.isEmpty()) {
        if (QIcon::hasThemeIcon(themed)) return QIcon::fromTheme(themed);
        if (QIcon::hasThemeIcon(themed + QStringLiteral("-symbolic"))) {
            return QIcon::fromTheme(themed + QStringLiteral("-symbolic"));
        }
    }
    return QIcon(QStringLiteral(":/icons/live/%1.svg").arg(QString::fromLatin1(name.bundled)));
}

}  // namespace quillon
