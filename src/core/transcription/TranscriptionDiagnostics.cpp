#include "core/transcription/TranscriptionDiagnostics.h"

#include <chrono>
#include <cstdio>
#include <string>

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

TranscriptionDiagnostics::TranscriptionDiagnostics(TemporaryFiles& files, const WallClock& clock,
                                                   std::uintmax_t capacity)
    : files_(files), clock_(clock), capacity_(capacity) {}

void TranscriptionDiagnostics::append(const Uuid& runID, std::string_view message) noexcept {
    try {
        std::lock_guard lock(mutex_);
        std::string record = "[" + timestamp(clock_.now()) + "] [" + runID.toString() + "] ";
        record.append(message);
        record.push_back('\n');

        // A file deleted between runs comes back; a failed write loses the record, nothing more.
        const auto size = files_.append(fileName, record);
        if (size && *size > capacity_) trim();
    } catch (...) {
        // Out of memory or a clock beyond the calendar: diagnostics never disturb a transcription.
    }
}

void TranscriptionDiagnostics::trim() {
    auto content = files_.read(fileName);
    if (!content) return;
    // Whole records from the oldest on, until the rest fits in three quarters of the cap. A single
    // record longer than that goes too: the cap holds whatever was written.
    const std::uintmax_t target = capacity_ / 4 * 3;
    std::size_t start = 0;
    while (start < content->size() && content->size() - start > target) {
        const auto end = content->find('\n', start);
        start = end == std::string::npos ? content->size() : end + 1;
    }
    (void)files_.replace(fileName, std::string_view(*content).substr(start));
}

std::string TranscriptionDiagnostics::quoted(std::string_view text) {
    // Ill-formed UTF-8 (a path is any bytes on Linux) is shown as U+FFFD rather than refused.
    return Json(std::string(text)).dump(-1, ' ', false, Json::error_handler_t::replace);
}

}  // namespace quillon
