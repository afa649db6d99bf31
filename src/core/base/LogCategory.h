#pragma once

#include <string_view>

namespace quillon {

enum class LogCategory { app, hotkey, audio, transcription, insertion, settings, models };

constexpr std::string_view logCategoryText(LogCategory category) {
    switch (category) {
        case LogCategory::app: return "App";
        case LogCategory::hotkey: return "Hotkey";
        case LogCategory::audio: return "Audio";
        case LogCategory::transcription: return "Transcription";
        case LogCategory::insertion: return "Insertion";
        case LogCategory::settings: return "Settings";
        case LogCategory::models: return "Models";
    }
    return "App";
}

}  // namespace quillon
