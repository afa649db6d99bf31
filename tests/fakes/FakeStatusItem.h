#pragma once

#include <optional>
#include <vector>

#include "core/ports/StatusItem.h"

namespace quillon::testing {

// A tray icon that records what it was told and lets tests click it.
class FakeStatusItem final : public quillon::StatusItem {
public:
    bool install(const std::string& toolTip) override {
        installedToolTip = toolTip;
        return trayHostPresent;
    }
    void setAppearance(const quillon::StatusItemAppearance& appearance) override { appearances.push_back(appearance); }

    void click() { if (onActivate) onActivate(); }
    void chooseCopyLastTranscription() { if (onCopyLastTranscription) onCopyLastTranscription(); }
    void chooseQuit() { if (onQuit) onQuit(); }

    bool trayHostPresent = true;
    std::optional<std::string> installedToolTip;
    std::vector<quillon::StatusItemAppearance> appearances;
};

}  // namespace quillon::testing
