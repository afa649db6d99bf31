#include "ui/settings/ShortcutCaptureControlQt.h"

#include <QEvent>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

namespace quillon {

namespace {

constexpr int evdevF18 = 188;

// The modifier a modifier key sets, or 0 for other keys.
int modifierOfKey(int key) {
    switch (key) {
        case Qt::Key_Control:
            return modifier::control;
        case Qt::Key_Shift:
            return modifier::shift;
        case Qt::Key_Alt:
        case Qt::Key_AltGr:
            return modifier::alt;
        case Qt::Key_Meta:
        case Qt::Key_Super_L:
        case Qt::Key_Super_R:
            return modifier::super;
        default:
            return 0;
    }
}

}  // namespace

ShortcutCaptureControlQt::ShortcutCaptureControlQt(HotkeyCapture& capture, QWidget* parent)
    : QWidget(parent),
      capture_(capture),
      shortcut_(new QPushButton),
      apply_(new QPushButton(QStringLiteral("Apply"))),
      cancel_(new QPushButton(QStringLiteral("Cancel"))),
      error_(new QLabel) {
    setFocusPolicy(Qt::StrongFocus);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    auto* row = new QHBoxLayout;
    shortcut_->setToolTip(QStringLiteral("Press to record a new shortcut"));
    shortcut_->setMinimumWidth(160);
    row->addWidget(shortcut_, 1);
    row->addWidget(apply_);
    row->addWidget(cancel_);
    layout->addLayout(row);
    error_->setWordWrap(true);
    error_->setStyleSheet(QStringLiteral("color: #c0392b;"));
    layout->addWidget(error_);

    connect(shortcut_, &QPushButton::clicked, this, [this] {
        if (capture_.isCapturing()) return;
        capture_.startCapturing();
    });
    connect(apply_, &QPushButton::clicked, this, [this] { capture_.applyCapturedHotkey(); });
    connect(cancel_, &QPushButton::clicked, this, [this] { capture_.cancelCapturing(); });
    capture_.onChange = [this] { refresh(); };
    refresh();
}

ShortcutCaptureControlQt::~ShortcutCaptureControlQt() {
    capture_.onChange = nullptr;
    capture_.cancelCapturing();
}

void ShortcutCaptureControlQt::cancel() {
    capture_.cancelCapturing();
}

void ShortcutCaptureControlQt::refresh() {
    const bool capturing = capture_.isCapturing();
    const QString shown = QString::fromStdString(capture_.displayText());
    shortcut_->setText(shown);
    shortcut_->setAccessibleName(QStringLiteral("Recording shortcut: ") + shown);
    shortcut_->setCheckable(capturing);
    shortcut_->setChecked(capturing);
    apply_->setVisible(capturing);
    cancel_->setVisible(capturing);
    apply_->setEnabled(capturing && capture_.hasCapturedHotkey());
    const auto& message = capture_.hotkeyErrorMessage();
    error_->setText(message ? QString::fromStdString(*message) : QString());
    error_->setVisible(message.has_value());
    // The keyboard is ours only while capturing: keys that Quillon's own hotkey or another
    // program grabs arrive here, and the focused application gets none of them.
    if (capturing && keyboardGrabber() != this) {
        setFocus(Qt::OtherFocusReason);
        grabKeyboard();
    } else if (!capturing && keyboardGrabber() == this) {
        releaseKeyboard();
    }
}

KeyEvent ShortcutCaptureControlQt::keyEventFrom(const QKeyEvent& event, bool pressed) {
    int flags = 0;
    const Qt::KeyboardModifiers held = event.modifiers();
    if (held & Qt::ControlModifier) flags |= modifier::control;
    if (held & Qt::AltModifier) flags |= modifier::alt;
    if (held & Qt::ShiftModifier) flags |= modifier::shift;
    if (held & Qt::MetaModifier) flags |= modifier::super;
    // The X server reports the state before the event: a modifier key's own bit is set or
    // cleared here.
    if (const int own = modifierOfKey(event.key())) {
        flags = pressed ? (flags | own) : (flags & ~own);
        return {KeyEventType::flagsChanged, static_cast<int>(event.nativeScanCode()) - 8, flags};
    }
    if (event.key() == Qt::Key_CapsLock) return {KeyEventType::flagsChanged, 58, flags};
    // Caps Lock remapped to F18 keeps its own keycode.
    const int code = event.key() == Qt::Key_F18   ? evdevF18
                     : event.nativeScanCode() > 8 ? static_cast<int>(event.nativeScanCode()) - 8
                                                  : 0;
    return {pressed ? KeyEventType::keyDown : KeyEventType::keyUp, code, flags};
}

void ShortcutCaptureControlQt::keyPressEvent(QKeyEvent* event) {
    if (!capture_.isCapturing()) return QWidget::keyPressEvent(event);
    if (!event->isAutoRepeat()) capture_.handleKeyEvent(keyEventFrom(*event, true));
    event->accept();
}

void ShortcutCaptureControlQt::keyReleaseEvent(QKeyEvent* event) {
    if (!capture_.isCapturing()) return QWidget::keyReleaseEvent(event);
    if (!event->isAutoRepeat()) capture_.handleKeyEvent(keyEventFrom(*event, false));
    event->accept();
}

// Tab and the window's shortcuts would otherwise never reach the key handlers during a capture.
bool ShortcutCaptureControlQt::event(QEvent* event) {
    if (capture_.isCapturing() && event->type() == QEvent::ShortcutOverride) {
        event->accept();
        return true;
    }
    if (capture_.isCapturing() && event->type() == QEvent::KeyPress) {
        keyPressEvent(static_cast<QKeyEvent*>(event));
        return true;
    }
    return QWidget::event(event);
}

}  // namespace quillon
