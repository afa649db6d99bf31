#pragma once

#include <optional>
#include <string>
#include <vector>

#include "core/ports/UrlOpener.h"

namespace quillon::testing {

class FakeUrlOpener final : public quillon::UrlOpener {
public:
    std::expected<void, std::string> open(const std::string& url) override {
        opened.push_back(url);
        if (failure) return std::unexpected(*failure);
        return {};
    }

    std::vector<std::string> opened;
    std::optional<std::string> failure;
};

}  // namespace quillon::testing
