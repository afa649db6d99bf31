#pragma once

#include <QWidget>

#include "core/hotkey/HotkeyCapture.h"

class QKeyEvent;
class QLabel;
class QPushButton;

namespace quillon {

// The recording shortcut's control: shows the hotkey; pressed, it captures the keys pressed next
// (the keyboard is grabbed meanwhile, so that keys other programs or Quillon's own hotkey hold
// arrive here too) until "Apply" or "Cancel". GUI thread only.
class ShortcutCaptureControlQt : public QWidget {
public:
    explicit ShortcutCaptureControlQt(HotkeyCapture& capture, QWidget* parent = nullptr);
    ~ShortcutCaptureControlQt() override;

    // Ends a capture in progress as "Cancel" does.
    void cancel();

    // A Qt key event in the hotkey logic's terms: the evdev code and the modifier flags after it.
    static KeyEvent keyEventFrom(const QKeyEvent& event, bool pressed);

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void keyReleaseEvent(QKeyEvent* event) override;
    bool event(QEvent* event) override;

private:
    void refresh();

    HotkeyCapture& capture_;
    QPushButton* shortcut_;
    QPushButton* apply_;
    QPushButton* cancel_;
    QLabel* error_;
};

}  // namespace quillon
