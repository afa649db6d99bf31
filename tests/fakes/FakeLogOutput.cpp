#include "fakes/FakeLogOutput.h"

namespace quillon::testing {

void FakeLogOutput::write(quillon::LogLevel level, quillon::LogCategory category, std::string_view message) {
    std::lock_guard lock(mutex_);
    entries_.push_back({level, category, std::string(message)});
}

std::vector<FakeLogOutput::Entry> FakeLogOutput::entries() const {
    std::lock_guard lock(mutex_);
    return entries_;
}

std::vector<std::string> FakeLogOutput::messages(quillon::LogLevel level) const {
    std::lock_guard lock(mutex_);
    std::vector<std::string> result;
    for (const auto& entry : entries_) {
        if (entry.level == level) result.push_back(entry.message);
    }
    return result;
}

bool FakeLogOutput::contains(quillon::LogLevel level, std::string_view message) const {
    std::lock_guard lock(mutex_);
    for (const auto& entry : entries_) {
        if (entry.level == level && entry.message == message) return true;
    }
    return false;
}

std::size_t FakeLogOutput::count(std::string_view message) const {
    std::lock_guard lock(mutex_);
    std::size_t n = 0;
    for (const auto& entry : entries_) n += entry.message == message ? 1 : 0;
    return n;
}

std::size_t FakeLogOutput::countContaining(std::string_view part) const {
    std::lock_guard lock(mutex_);
    std::size_t n = 0;
    for (const auto& entry : entries_) n += entry.message.find(part) != std::string::npos ? 1 : 0;
    return n;
}

void FakeLogOutput::clear() {
    std::lock_guard lock(mutex_);
    entries_.clear();
}

}  // namespace quillon::testing
