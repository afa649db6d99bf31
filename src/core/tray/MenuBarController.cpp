#include "core/tray/MenuBarController.h"

#include "core/text/TranscriptClipboard.h"

#include <algorithm>

#include "core/base/Unicode.h"

namespace quillon {

MenuBarController::MenuBarController(Scheduler& main, StatusItem& statusItem, Pasteboard& pasteboard, Logger logger)
    : main_(main), statusItem_(statusItem), pasteboard_(pasteboard), logger_(std::move(logger)) {}

bool MenuBarController::setup() {
    statusItem_.onCopyLastTranscription = weakOwner_.weakly([this] { copyLastTranscription(); });
    const bool installed = statusItem_.install(std::string(toolTip));
    isSetUp_ = true;
    updateIcon();
    if (!installed) logger_.error("No system tray is available; the status icon is not shown");
    return installed;
}

void MenuBarController::updateState(AppState state) {
    main_.post(weakOwner_.weakly([this, state = std::move(state)] {
        state_ = state;
        updateIcon();
        if (onStateChanged) onStateChanged();
    }));
}

void MenuBarController::updateIcon() {
    // Until setup() the tray icon does not exist yet; it shows the current state once installed.
    if (!isSetUp_) return;
    statusItem_.setAppearance(appearance(state_));
}

StatusItemAppearance MenuBarController::appearance(const AppState& state) {
    switch (state.kind()) {
        case AppState::Kind::idle: return {StatusIcon::idle, "Quillon", false};
        case AppState::Kind::recording: return {StatusIcon::recording, "Recording", true};
        case AppState::Kind::liveTranscribing: return {StatusIcon::liveTranscribing, "Live Transcription", true};
        case AppState::Kind::transcribing: return {StatusIcon::transcribing, "Transcribing", true};
        case AppState::Kind::error: return {StatusIcon::error, "Error", false};
    }
    return {StatusIcon::idle, "Quillon", false};
}

void MenuBarController::addTranscription(const std::string& text) {
    std::string trimmed(unicode::trimmed(text));
    if (trimmed.empty()) return;
    main_.post(weakOwner_.weakly([this, trimmed = std::move(trimmed)] {
        lastTranscription_ = trimmed;
        if (onLastTranscriptionChanged) onLastTranscriptionChanged();
    }));
}

bool MenuBarController::copyLastTranscription() {
    if (!lastTranscription_ || lastTranscription_->empty()) return false;
    return copyTranscriptionToClipboard(*lastTranscription_);
}

bool MenuBarController::copyTranscriptionToClipboard(const std::string& text) {
    return copyTranscriptToClipboard(pasteboard_, text, logger_);
}

bool MenuBarController::allSupported(const std::vector<std::filesystem::path>& files) const {
    if (!isSupportedMedia) return false;
    return std::ranges::all_of(files, [this](const auto& file) { return isSupportedMedia(file); });
}

bool MenuBarController::canAcceptDroppedFiles(const std::vector<std::filesystem::path>& files) const {
    if (files.empty()) return false;
    // A stopping dictation (transcribing) or an error does not block a drop; recording does.
    if (state_.kind() == AppState::Kind::recording || state_.kind() == AppState::Kind::liveTranscribing) return false;
    return allSupported(files);
}

void MenuBarController::handleDroppedFiles(const std::vector<std::filesystem::path>& files) {
    if (files.empty()) return;
    if (!allSupported(files)) {
        updateState(AppState::error(std::string(unsupportedFileMessage)));
        return;
    }
    for (const auto& file : files) {
        main_.post(weakOwner_.weakly([this, file] {
            if (onTranscribeFile) onTranscribeFile(file);
        }));
    }
}

}  // namespace quillon
