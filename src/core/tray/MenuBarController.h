#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "core/base/AppState.h"
#include "core/base/Scheduler.h"
#include "core/base/WeakOwner.h"
#include "core/dictation/DictationStatus.h"
#include "core/logging/Logger.h"
#include "core/ports/Pasteboard.h"
#include "core/ports/StatusItem.h"

namespace quillon {

// Owns the status item: shows AppState as its icon, keeps the last transcription for copying.
// updateState() and addTranscription() are safe from any thread (they post to `main`); the rest
// runs on the main thread.
class MenuBarController : public DictationStatus {
public:
    static constexpr std::string_view toolTip = "Quillon\nMiddle-click to copy the last transcription";
    static constexpr std::string_view unsupportedFileMessage = "Unsupported file type. Drop an audio or video file.";

    MenuBarController(Scheduler& main, StatusItem& statusItem, Pasteboard& pasteboard, Logger logger);

    // Installs the status item; false when no tray host shows it (logged).
    bool setup();

    void updateState(AppState state) override;
    void addTranscription(const std::string& text) override;
    bool copyLastTranscription();
    bool copyTranscriptionToClipboard(const std::string& text);

    // Whether a drop of `files` would be taken now: all of them are media files and neither a
    // dictation nor a live transcript is recording.
    bool canAcceptDroppedFiles(const std::vector<std::filesystem::path>& files) const;
    // Starts one transcription job per file, in order, unless any file is not a media file.
    void handleDroppedFiles(const std::vector<std::filesystem::path>& files);

    const AppState& state() const { return state_; }
    const std::optional<std::string>& lastTranscription() const { return lastTranscription_; }

    static StatusItemAppearance appearance(const AppState& state);

    // Observers for the UI, called on the main thread after a change.
    std::function<void()> onStateChanged;
    std::function<void()> onLastTranscriptionChanged;

    // Set by the composition root: the media type check of file transcription, and the start of
    // one file's transcription (the dictation coordinator's transcribeImportedMedia()).
    std::function<bool(const std::filesystem::path&)> isSupportedMedia;
    std::function<void(const std::filesystem::path&)> onTranscribeFile;

private:
    void updateIcon();
    bool allSupported(const std::vector<std::filesystem::path>& files) const;

    Scheduler& main_;
    StatusItem& statusItem_;
    Pasteboard& pasteboard_;
    Logger logger_;
    bool isSetUp_ = false;
    AppState state_ = AppState::idle();
    std::optional<std::string> lastTranscription_;
    WeakOwner weakOwner_;  // last: posted blocks drop once this controller is gone
};

}  // namespace quillon
