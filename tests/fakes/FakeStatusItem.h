#pragma once

#include "core/ports/StatusItem.h"

namespace quillon::testing {

// A tray icon; tests call its callbacks as clicks.
class FakeStatusItem final : public quillon::StatusItem {
public:
    bool install(const std::string&) override { return true; }
    void setAppearance(const quillon::StatusItemAppearance&) override {}
};

}  // namespace quillon::testing
