#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "core/ports/FileMover.h"

namespace quillon::testing {

// Notes moves and deletions; `failure`, when set, fails every move with that text.
class FakeFileMover final : public quillon::FileMover {
public:
    std::expected<void, std::string> moveReplacing(const std::filesystem::path& from,
                                                   const std::filesystem::path& to) override {
        if (failure) return std::unexpected(*failure);
        moves.emplace_back(from, to);
        return {};
    }
    void remove(const std::filesystem::path& path) override { removed.push_back(path); }

    std::optional<std::string> failure;
    std::vector<std::pair<std::filesystem::path, std::filesystem::path>> moves;
    std::vector<std::filesystem::path> removed;
};

}  // namespace quillon::testing
