#pragma once

#include "core/ports/Pasteboard.h"

class QClipboard;

namespace quillon {

// The X11 CLIPBOARD selection through QClipboard. Needs a QGuiApplication. Callable from any
// thread: QClipboard lives on the GUI thread, so a call from another thread (insertion's worker)
// runs there and waits for it; the GUI thread must therefore never wait on such a caller.
// The text stays on the clipboard while this process owns the selection, that is until another
// program copies something or this process exits (unless a clipboard manager takes it over).
class PasteboardQt final : public Pasteboard {
public:
    PasteboardQt();

    std::optional<std::string> string() const override;
    bool setString(const std::string& text) override;
    void clear() override;
    std::vector<std::string> types() const override;
    void declareTypes(const std::vector<std::string>& types) override;

private:
    QClipboard* clipboard_;
};

}  // namespace quillon
