#pragma once

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
    void write(quillon::LogLevel level, quillon::LogCategory category, std::string_view message) override;

    std::vector<Entry> entries() const;
    std::vector<std::string> messages(quillon::LogLevel level) const;
    bool contains(quillon::LogLevel level, std::string_view message) const;
    std::size_t count(std::string_view message) const;
    std::size_t countContaining(std::string_view part) const;
    void setMinimumLevel(quillon::LogLevel level) { minimumLevel_ = level; }
    void clear();

private:
    mutable std::mutex mutex_;
    std::vector<Entry> entries_;
    quillon::LogLevel minimumLevel_ = quillon::LogLevel::debug;
};

}  // namespace quillon::testing
