#pragma once

#include <string_view>

namespace quillon {

enum class LogLevel { debug, info, error };

constexpr std::string_view logLevelText(LogLevel level) {
    switch (level) {
        case LogLevel::debug: return "DEBUG";
        case LogLevel::info: return "INFO";
        case LogLevel::error: return "ERROR";
    }
    return "INFO";
}

}  // namespace quillon
