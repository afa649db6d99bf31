#pragma once

#include <algorithm>
#include <mutex>
#include <string>
#include <vector>

#include "core/ports/LogOutput.h"

namespace quillon::testing {

// Records what reached the platform log, so tests can assert on the exact texts and levels.
class FakeLogOutput final : public quillon::LogOutput {
public:
    struct Entry {
        quillon::LogLevel level;
        quillon::LogCategory category;
        std::string message;
    };

    bool isEnabled(quillon::LogLevel level) const override { return level >= minimumLevel_; }
    void write(quillon::LogLevel level, quillon::LogCategory category, std::string_view message) override {
        std::lock_guard lock(mutex_);
        entries_.push_back({level, category, std::string(message)});
    }

    std::vector<Entry> entries() const {
        std::lock_guard lock(mutex_);
        return entries_;
    }
    std::vector<std::string> messages(quillon::LogLevel level) const {
        std::vector<std::string> result;
        for (const auto& entry : entries()) {
            if (entry.level == level) result.push_back(entry.message);
        }
        return result;
    }
    bool contains(quillon::LogLevel level, std::string_view message) const {
        return std::ranges::any_of(entries(),
                                   [&](const Entry& e) { return e.level == level && e.message == message; });
    }
    std::size_t count(std::string_view message) const {
        return std::ranges::count_if(entries(), [&](const Entry& e) { return e.message == message; });
    }
    std::size_t countContaining(std::string_view part) const {
        return std::ranges::count_if(entries(), [&](const Entry& e) { return e.message.contains(part); });
    }
    void setMinimumLevel(quillon::LogLevel level) { minimumLevel_ = level; }
    void clear() {
        std::lock_guard lock(mutex_);
        entries_.clear();
    }

private:
    mutable std::mutex mutex_;
    std::vector<Entry> entries_;
    quillon::LogLevel minimumLevel_ = quillon::LogLevel::debug;
};

}  // namespace quillon::testing
