#pragma once

#include <functional>

#include "ui/AnchoredPopup.h"

namespace quillon {

class UrlOpener;

// Tells the user what the AI features need when no Codex can be found: how to get it, and a way
// to look again. GUI thread only.
class CodexRequirementsPopover : public AnchoredPopup {
public:
    static constexpr const char* downloadPage = "https://chatgpt.com/download/";

    CodexRequirementsPopover(UrlOpener& urls, QWidget* parent);

    std::function<void()> onCheckAgain;
};

}  // namespace quillon
