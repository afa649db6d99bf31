#pragma once

#include <QColor>
#include <QElapsedTimer>
#include <QFrame>
#include <QLabel>
#include <QMimeData>
#include <QPushButton>
#include <QRect>

#include <chrono>
#include <functional>

#include "core/audio/MicrophonePermission.h"
#include "core/base/AppState.h"
#include "core/insertion/AccessibilityPermission.h"
#include "core/tray/MenuBarController.h"
#include "ui/ThemeIcons.h"

namespace quillon {

class PopoverRowButton;

// The small panel that opens from the tray icon: the state as a badge, the error, what
// permission is missing, and the live transcript, the last transcription, the settings and Quit.
//
// A frameless Qt::Popup anchored to the tray icon, under it when the icon is in the upper half of
// its screen and over it otherwise. A click outside or Escape closes it; Tab and the arrow keys
// move between its buttons, Space or Return presses one. Each opening checks both permissions
// again and re-reads all state; while open, refresh() redraws it on every change. Audio and video
// files dropped on it are transcribed, by the tray's acceptance rule. Qt leaves popups out of the
// application's accessibility tree, so a screen reader cannot walk to its buttons. GUI thread only.
class PopoverQt final : public QFrame {
public:
    struct Services {
        MenuBarController& controller;
        MicrophonePermission& microphone;
        AccessibilityPermission& accessibility;
        // Whether a live transcript runs, and its start or stop (by whether it runs).
        std::function<bool()> isLiveTranscriptActive;
        std::function<void()> toggleLiveTranscript;
        // The settings window; without it the Settings button is not shown.
        std::function<void()> openSettings;
        std::function<void()> quit;
    };

    struct StatusPresentation {
        QString title;
        ThemeIcon symbol;
        QColor color;
    };

    explicit PopoverQt(Services services);
    ~PopoverQt() override;

    // Opens the popover at `anchor` (the tray icon's rectangle on screen; an empty one stands for
    // the pointer), or closes it when it is open.
    void toggle(const QRect& anchor);
    bool isPopoverShown() const { return isVisible(); }
    // Re-reads every state the popover shows.
    void refresh();

    static StatusPresentation statusPresentation(const AppState& state);
    // Busy with dictation: recording or finishing one, while no live transcript runs.
    static bool isBusyWithRegularRecording(const AppState& state, bool isLiveTranscriptActive);
    // Where the popover's top left corner goes for an icon at `anchor` on a screen whose free area
    // is `screen`: centred on the icon, below it in the upper half, above it in the lower half,
    // and never off the screen.
    static QPoint placement(const QRect& anchor, const QSize& size, const QRect& screen);

protected:
    bool event(QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dragMoveEvent(QDragMoveEvent* event) override;
    void dropEvent(QDropEvent* event) override;

private:
    void build();
    void pressLiveTranscript();
    void pressSettings();
    void requestMicrophone();
    bool acceptsDrop(const QMimeData* dragged) const;

    // How long after a close by a click outside a toggle is taken for that same click.
    static constexpr std::chrono::milliseconds reopenGuard{400};

    Services services_;
    QElapsedTimer closedByClickOutside_;
    QLabel* badgeIcon_ = nullptr;
    QLabel* badgeTitle_ = nullptr;
    QFrame* badge_ = nullptr;
    QFrame* errorRow_ = nullptr;
    QLabel* errorText_ = nullptr;
    QFrame* permissionBlock_ = nullptr;
    QPushButton* microphoneButton_ = nullptr;
    QWidget* accessibilityGroup_ = nullptr;
    PopoverRowButton* liveButton_ = nullptr;
    PopoverRowButton* copyButton_ = nullptr;
    QPushButton* settingsButton_ = nullptr;
    QPushButton* quitButton_ = nullptr;
};

}  // namespace quillon
