#include "core/logging/LogService.h"

#include <array>
#include <charconv>

namespace quillon {

namespace {

std::string_view lastPathComponent(std::string_view path) {
    auto slash = path.find_last_of('/');
    return slash == std::string_view::npos ? path : path.substr(slash + 1);
}

// "void quillon::RecordingCoordinator::startRecording(bool)" becomes "startRecording(bool)".
std::string_view shortFunctionName(std::string_view signature) {
    auto open = signature.find('(');
    if (open == std::string_view::npos) return signature;
    std::string_view head = signature.substr(0, open);
    auto start = head.find_last_of(": ");
    std::string_view name = start == std::string_view::npos ? signature : signature.substr(start + 1);
    auto close = name.find(')');
    return close == std::string_view::npos ? name : name.substr(0, close + 1);
}

void appendPadded(std::string& out, long long value, int width) {
    std::array<char, 24> buffer{};
    auto [end, error] = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value);
    int length = static_cast<int>(end - buffer.data());
    for (int i = length; i < width; ++i) out.push_back('0');
    out.append(buffer.data(), end);
}

}  // namespace

LogService::LogService(Scheduler& ringQueue, LogOutput& output, const WallClock& clock, std::size_t capacity)
    : ringQueue_(ringQueue), output_(output), clock_(clock), ring_(std::make_shared<Ring>(Ring{{}, capacity})) {}

void LogService::write(LogLevel level, LogCategory category, std::string_view message,
                       const std::source_location& location) {
    if (output_.isEnabled(level)) output_.write(level, category, message);
    std::string line = formatLine(clock_.now(), level, category, location.file_name(), location.line(),
                                  shortFunctionName(location.function_name()), message);
    ringQueue_.post([ring = ring_, line = std::move(line)]() mutable {
        if (ring->lines.size() >= ring->capacity && !ring->lines.empty()) ring->lines.pop_front();
        ring->lines.push_back(std::move(line));
    });
}

void LogService::readLines(std::function<void(std::vector<std::string>)> receiver) const {
    ringQueue_.post([ring = ring_, receiver = std::move(receiver)] {
        receiver(std::vector<std::string>(ring->lines.begin(), ring->lines.end()));
    });
}

std::string LogService::formatLine(std::chrono::system_clock::time_point when, LogLevel level,
                                   LogCategory category, std::string_view file, unsigned line,
                                   std::string_view function, std::string_view message) const {
    using namespace std::chrono;
    const auto local = when + clock_.utcOffset(when);
    const auto day = floor<days>(local);
    const year_month_day date{day};
    const hh_mm_ss time{floor<milliseconds>(local - day)};

    std::string out;
    out.reserve(64 + file.size() + function.size() + message.size());
    out.push_back('[');
    appendPadded(out, static_cast<int>(date.year()), 4);
    out.push_back('-');
    appendPadded(out, static_cast<unsigned>(date.month()), 2);
    out.push_back('-');
    appendPadded(out, static_cast<unsigned>(date.day()), 2);
    out.push_back(' ');
    appendPadded(out, time.hours().count(), 2);
    out.push_back(':');
    appendPadded(out, time.minutes().count(), 2);
    out.push_back(':');
    appendPadded(out, time.seconds().count(), 2);
    out.push_back('.');
    appendPadded(out, time.subseconds().count(), 3);
    out.append("] [");
    out.append(logLevelText(level));
    out.append("] [");
    out.append(logCategoryText(category));
    out.append("] ");
    out.append(lastPathComponent(file));
    out.push_back(':');
    appendPadded(out, line, 1);
    out.push_back(' ');
    out.append(function);
    out.append(" - ");
    out.append(message);
    return out;
}

}  // namespace quillon
