#pragma once

#include <functional>
#include <string>

#include "ui/AnchoredPopup.h"

class QPlainTextEdit;
class QPushButton;

namespace quillon {

// Background for the summariser and the cleanup: names, terms, what the talk is about. The draft
// starts as the current context; "Apply" hands it on, "Cancel" and Escape drop it. GUI thread only.
class SummaryContextEditor : public AnchoredPopup {
public:
    explicit SummaryContextEditor(QWidget* parent);

    // Opens under `anchor` with `context` as the draft.
    void present(QWidget* anchor, const std::string& context);

    std::function<void(const std::string&)> onApply;

private:
    QPlainTextEdit* draft_;
    QPushButton* clear_;
};

}  // namespace quillon
