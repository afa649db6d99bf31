#pragma once

#include <vector>

#include "core/ports/StatusItem.h"

namespace quillon::testing {

// A tray icon that records how it was told to look; tests call its callbacks as clicks.
class FakeStatusItem final : public quillon::StatusItem {
public:
    bool install(const std::string&) override { return trayHostPresent; }
    void setAppearance(const quillon::StatusItemAppearance& appearance) override { appearances.push_back(appearance); }

    bool trayHostPresent = true;
    std::vector<quillon::StatusItemAppearance> appearances;
};

}  // namespace quillon::testing
