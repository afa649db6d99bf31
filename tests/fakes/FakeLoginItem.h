#pragma once

#include <optional>

#include "core/ports/LoginItem.h"

namespace quillon::testing {

// A login item whose registration can be made to fail, leaving the system's state as `enabled`.
class FakeLoginItem final : public quillon::LoginItem {
public:
    bool isEnabled() const override { return enabled; }
    std::expected<void, std::string> setEnabled(bool value) override {
        if (failure) return std::unexpected(*failure);
        enabled = value;
        return {};
    }

    bool enabled = false;
    std::optional<std::string> failure;
};

}  // namespace quillon::testing
