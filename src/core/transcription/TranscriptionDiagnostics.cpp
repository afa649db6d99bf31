#include "core/transcription/TranscriptionDiagnostics.h"

#include <chrono>
#include <cstdio>

#include "core/base/Json.h"

namespace quillon {

namespace {

// "2026-11-22T04:39:41Z": ISO 8601 in UTC, whole seconds.
std::string timestamp(std::chrono::system_clock::time_point when) {
    using namespace std::chrono;
    const auto seconds = floor<std::chrono::seconds>(when);
    const auto day = floor<days>(seconds);
    const year_month_day date{day};
    const hh_mm_ss time{seconds - day};
    char text[32];
    std::snprintf(text, sizeof text, "%04d-%02u-%02uT%02d:%02d:%02dZ", static_cast<int>(date.year()),
                  static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                  static_cast<int>(time.hours().count()), static_cast<int>(time.minutes().count()),
                  static_cast<int>(time.seconds().count()));
    return text;
}

}  // namespace

TranscriptionDiagnostics::TranscriptionDiagnostics(const std::filesystem::path& directory, const WallClock& clock)
    : filePath_(directory / fileName), clock_(clock) {}

void TranscriptionDiagnostics::append(const Uuid& runID, std::string_view message) noexcept {
    try {
        std::lock_guard lock(mutex_);
        std::string record = "[" + timestamp(clock_.now()) + "] [" + runID.toString() + "] ";
        record.append(message);
        record.push_back('\n');

        // Append mode creates a missing file, so a file deleted between runs comes back.
        std::FILE* file = std::fopen(filePath_.c_str(), "ab");
        if (!file) return;
        std::fwrite(record.data(), 1, record.size(), file);
        std::fclose(file);  // a failed write or close loses the record, nothing more
    } catch (...) {
        // Out of memory or a clock beyond the calendar: diagnostics never disturb a transcription.
    }
}

std::string TranscriptionDiagnostics::quoted(std::string_view text) {
    // Ill-formed UTF-8 (a path is any bytes on Linux) is shown as U+FFFD rather than refused.
    return Json(std::string(text)).dump(-1, ' ', false, Json::error_handler_t::replace);
}

}  // namespace quillon
