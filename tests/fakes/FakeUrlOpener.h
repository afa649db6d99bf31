#pragma once

#include <string>
#include <vector>

#include "core/ports/UrlOpener.h"

namespace quillon::testing {

class FakeUrlOpener final : public quillon::UrlOpener {
public:
    std::expected<void, std::string> open(const std::string& url) override {
        opened.push_back(url);
        return {};
    }

    std::vector<std::string> opened;
};

}  // namespace quillon::testing
