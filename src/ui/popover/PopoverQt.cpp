#include "ui/popover/PopoverQt.h"

#include <QCursor>
#include <QDragEnterEvent>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QMimeData>
#include <QPointer>
#include <QScreen>
#include <QUrl>
#include <QVBoxLayout>

#include <algorithm>
#include <filesystem>
#include <vector>

#include "ui/DroppedFiles.h"
#include "ui/popover/PopoverRowButton.h"

namespace quillon {

namespace {

constexpr int popoverWidth = 300;
constexpr int popoverMinimumHeight = 200;
constexpr int gapToIcon = 4;
constexpr int iconSize = 16;

QPixmap iconPixmap(ThemeIcon icon) {
    return themeIcon(icon).pixmap(iconSize, iconSize);
}

QLabel* wrappedLabel(const QString& text, QWidget* parent) {
    auto* label = new QLabel(text, parent);
    label->setWordWrap(true);
    return label;
}

QPushButton* plainButton(const QString& text, QWidget* parent) {
    auto* button = new QPushButton(text, parent);
    button->setFocusPolicy(Qt::StrongFocus);
    return button;
}

}  // namespace

PopoverQt::PopoverQt(Services services)
    : QFrame(nullptr, Qt::Popup | Qt::FramelessWindowHint), services_(std::move(services)) {
    setWindowTitle(QStringLiteral("Quillon"));
    setAccessibleName(QStringLiteral("Quillon"));
    setFrameShape(QFrame::StyledPanel);
    setAcceptDrops(true);
    setFixedWidth(popoverWidth);
    setMinimumHeight(popoverMinimumHeight);
    build();
}

PopoverQt::~PopoverQt() = default;

void PopoverQt::build() {
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(12, 12, 12, 12);
    layout->setSpacing(6);

    // Header: the name and the state's badge.
    auto* header = new QHBoxLayout;
    auto* name = new QLabel(QStringLiteral("Quillon"), this);
    QFont bold = name->font();
    bold.setBold(true);
    name->setFont(bold);
    header->addWidget(name);
    header->addStretch();
    badge_ = new QFrame(this);
    badge_->setObjectName(QStringLiteral("badge"));
    auto* badgeLayout = new QHBoxLayout(badge_);
    badgeLayout->setContentsMargins(8, 2, 8, 2);
    badgeLayout->setSpacing(4);
    badgeIcon_ = new QLabel(badge_);
    badgeTitle_ = new QLabel(badge_);
    badgeLayout->addWidget(badgeIcon_);
    badgeLayout->addWidget(badgeTitle_);
    header->addWidget(badge_);
    layout->addLayout(header);

    // The error, in red on a faint red ground.
    errorRow_ = new QFrame(this);
    errorRow_->setObjectName(QStringLiteral("errorRow"));
    errorRow_->setStyleSheet(
        QStringLiteral("#errorRow { background: rgba(220, 38, 38, 0.10); border-radius: 6px; }"
                       "QLabel { color: #c62828; }"));
    auto* errorLayout = new QHBoxLayout(errorRow_);
    errorLayout->setContentsMargins(8, 6, 8, 6);
    auto* errorIcon = new QLabel(errorRow_);
    errorIcon->setPixmap(iconPixmap(ThemeIcon::warningBadge));
    errorIcon->setAlignment(Qt::AlignTop);
    errorText_ = wrappedLabel({}, errorRow_);
    errorText_->setTextInteractionFlags(Qt::TextSelectableByMouse);
    errorLayout->addWidget(errorIcon);
    errorLayout->addWidget(errorText_, 1);
    layout->addWidget(errorRow_);

    // What is missing, with the way to grant it.
    permissionBlock_ = new QFrame(this);
    auto* permissions = new QVBoxLayout(permissionBlock_);
    permissions->setContentsMargins(0, 4, 0, 4);
    auto* heading = new QLabel(QStringLiteral("Permissions Required"), permissionBlock_);
    heading->setFont(bold);
    permissions->addWidget(heading);
    microphoneButton_ = plainButton(QStringLiteral("Request Microphone Access"), permissionBlock_);
    QObject::connect(microphoneButton_, &QPushButton::clicked, this, [this] { requestMicrophone(); });
    permissions->addWidget(microphoneButton_);
    accessibilityGroup_ = new QWidget(permissionBlock_);
    auto* accessibility = new QVBoxLayout(accessibilityGroup_);
    accessibility->setContentsMargins(0, 0, 0, 0);
    auto* grant = plainButton(QStringLiteral("Grant Accessibility Access"), accessibilityGroup_);
    auto* openSettings = plainButton(QStringLiteral("Open System Settings"), accessibilityGroup_);
    for (auto* button : {grant, openSettings}) {
        QObject::connect(button, &QPushButton::clicked, this, [this] {
            services_.accessibility.openSystemSettings();
            refresh();
        });
    }
    accessibility->addWidget(grant);
    accessibility->addWidget(
        wrappedLabel(QStringLiteral("If the permission dialog doesn't appear:"), accessibilityGroup_));
    accessibility->addWidget(openSettings);
    accessibility->addWidget(
        wrappedLabel(QStringLiteral("Then manually enable Quillon in the list"), accessibilityGroup_));
    permissions->addWidget(accessibilityGroup_);
    layout->addWidget(permissionBlock_);

    liveButton_ = new PopoverRowButton(this);
    liveButton_->setTrailingIcon(themeIcon(ThemeIcon::disclosure));
    QObject::connect(liveButton_, &QPushButton::clicked, this, [this] { pressLiveTranscript(); });
    layout->addWidget(liveButton_);

    copyButton_ = new PopoverRowButton(this);
    copyButton_->setText(QStringLiteral("Copy Last Transcription"));
    copyButton_->setIcon(themeIcon(ThemeIcon::copy));
    QObject::connect(copyButton_, &QPushButton::clicked, this,
                     [this] { services_.controller.copyLastTranscription(); });
    layout->addWidget(copyButton_);

    layout->addStretch();
    auto* footer = new QHBoxLayout;
    settingsButton_ = plainButton(QStringLiteral("Settings"), this);
    settingsButton_->setIcon(themeIcon(ThemeIcon::settings));
    QObject::connect(settingsButton_, &QPushButton::clicked, this, [this] { pressSettings(); });
    quitButton_ = plainButton(QStringLiteral("Quit"), this);
    quitButton_->setIcon(themeIcon(ThemeIcon::quit));
    QObject::connect(quitButton_, &QPushButton::clicked, this, [this] {
        if (services_.quit) services_.quit();
    });
    footer->addWidget(settingsButton_);
    footer->addStretch();
    footer->addWidget(quitButton_);
    layout->addLayout(footer);

    refresh();
}

PopoverQt::StatusPresentation PopoverQt::statusPresentation(const AppState& state) {
    switch (state.kind()) {
        case AppState::Kind::idle:
            return {QStringLiteral("Ready"), ThemeIcon::ready, QColor(0x2e, 0x7d, 0x32)};
        case AppState::Kind::recording:
            return {QStringLiteral("Recording"), ThemeIcon::microphone, QColor(0xc6, 0x28, 0x28)};
        case AppState::Kind::liveTranscribing:
            return {QStringLiteral("Live"), ThemeIcon::liveTranscript, QColor(0xc6, 0x28, 0x28)};
        case AppState::Kind::transcribing:
            return {QStringLiteral("Transcribing"), ThemeIcon::transcribing, QColor(0x15, 0x65, 0xc0)};
        case AppState::Kind::error:
            return {QStringLiteral("Error"), ThemeIcon::warningBadge, QColor(0xc6, 0x28, 0x28)};
    }
    return {QStringLiteral("Ready"), ThemeIcon::ready, QColor(0x2e, 0x7d, 0x32)};
}

bool PopoverQt::isBusyWithRegularRecording(const AppState& state, bool isLiveTranscriptActive) {
    const bool busy =
        state.kind() == AppState::Kind::recording || state.kind() == AppState::Kind::transcribing;
    return busy && !isLiveTranscriptActive;
}

void PopoverQt::refresh() {
    const AppState& state = services_.controller.state();
    const bool liveActive = services_.isLiveTranscriptActive && services_.isLiveTranscriptActive();

    const auto status = statusPresentation(state);
    badgeIcon_->setPixmap(iconPixmap(status.symbol));
    badgeTitle_->setText(status.title);
    badgeTitle_->setStyleSheet(QStringLiteral("color: %1; font-weight: 600;").arg(status.color.name()));
    badge_->setStyleSheet(QStringLiteral("#badge { background: rgba(%1, %2, %3, 0.12); border-radius: 9px; }")
                              .arg(status.color.red())
                              .arg(status.color.green())
                              .arg(status.color.blue()));
    badge_->setAccessibleName(status.title);

    errorRow_->setVisible(state.kind() == AppState::Kind::error);
    errorText_->setText(QString::fromStdString(state.message()));

    const bool microphoneMissing = !services_.microphone.microphonePermissionGranted();
    const bool accessibilityMissing = !services_.accessibility.accessibilityPermissionGranted();
    permissionBlock_->setVisible(microphoneMissing || accessibilityMissing);
    microphoneButton_->setVisible(microphoneMissing);
    accessibilityGroup_->setVisible(accessibilityMissing);

    liveButton_->setVisible(static_cast<bool>(services_.toggleLiveTranscript));
    liveButton_->setText(liveActive ? QStringLiteral("Stop Live Transcript")
                                    : QStringLiteral("Live Transcript"));
    liveButton_->setIcon(themeIcon(liveActive ? ThemeIcon::stop : ThemeIcon::liveTranscript));
    liveButton_->setEnabled(!isBusyWithRegularRecording(state, liveActive));

    const auto& last = services_.controller.lastTranscription();
    copyButton_->setEnabled(last.has_value() && !last->empty());

    settingsButton_->setVisible(static_cast<bool>(services_.openSettings));
    adjustSize();
}

QPoint PopoverQt::placement(const QRect& anchor, const QSize& size, const QRect& screen) {
    const bool below = anchor.center().y() < screen.center().y();
    int x = anchor.x() + (anchor.width() - size.width()) / 2;
    int y = below ? anchor.bottom() + 1 + gapToIcon : anchor.top() - gapToIcon - size.height();
    x = std::clamp(x, screen.left(), std::max(screen.left(), screen.right() + 1 - size.width()));
    y = std::clamp(y, screen.top(), std::max(screen.top(), screen.bottom() + 1 - size.height()));
    return {x, y};
}

void PopoverQt::toggle(const QRect& anchor) {
    if (isVisible()) {
        close();
        return;
    }
    // A click on the tray icon while the popover was open took the focus from it first, which
    // closed it; that click means "close", not "open again".
    if (closedByClickOutside_.isValid() && closedByClickOutside_.elapsed() < reopenGuard.count()) return;
    // The permissions may have changed in the desktop's settings since the last look.
    services_.microphone.checkMicrophonePermission();
    services_.accessibility.checkAccessibilityPermission();
    refresh();

    const QRect icon = anchor.isEmpty() ? QRect(QCursor::pos(), QSize(1, 1)) : anchor;
    QScreen* screen = QGuiApplication::screenAt(icon.center());
    if (screen == nullptr) screen = QGuiApplication::primaryScreen();
    const QRect area = screen != nullptr ? screen->availableGeometry() : QRect(0, 0, 1920, 1080);
    move(placement(icon, sizeHint().expandedTo(minimumSize()), area));
    show();
    raise();
    activateWindow();
    // The keyboard starts on the first button that can be pressed, from the top.
    for (auto* button : findChildren<QAbstractButton*>()) {
        if (button->isVisibleTo(this) && button->isEnabled()) {
            button->setFocus(Qt::PopupFocusReason);
            break;
        }
    }
}

void PopoverQt::pressLiveTranscript() {
    if (services_.toggleLiveTranscript) services_.toggleLiveTranscript();
    close();
}

void PopoverQt::pressSettings() {
    close();
    if (services_.openSettings) services_.openSettings();
}

void PopoverQt::requestMicrophone() {
    // The answer may come later; the popover shows it if it is still open.
    services_.microphone.requestMicrophoneAccess([this, guard = QPointer<PopoverQt>(this)](bool granted) {
        if (guard.isNull()) return;
        if (!granted) services_.microphone.openMicrophoneSettings();
        refresh();
    });
}

bool PopoverQt::event(QEvent* event) {
    // Losing the focus to another window closes it too, as a click outside does.
    if (event->type() == QEvent::WindowDeactivate && isVisible()) {
        closedByClickOutside_.start();
        close();
    }
    return QFrame::event(event);
}

void PopoverQt::keyPressEvent(QKeyEvent* event) {
    switch (event->key()) {
        case Qt::Key_Escape:
            close();
            return;
        case Qt::Key_Down:
            focusNextChild();
            return;
        case Qt::Key_Up:
            focusPreviousChild();
            return;
        case Qt::Key_Return:
        case Qt::Key_Enter:
            if (auto* button = qobject_cast<QAbstractButton*>(focusWidget());
                button != nullptr && button->isEnabled()) {
                button->click();
                return;
            }
            break;
        default:
            break;
    }
    QFrame::keyPressEvent(event);
}

bool PopoverQt::acceptsDrop(const QMimeData* dragged) const {
    return services_.controller.canAcceptDroppedFiles(droppedFiles(dragged));
}

void PopoverQt::dragEnterEvent(QDragEnterEvent* event) {
    if (acceptsDrop(event->mimeData())) {
        event->setDropAction(Qt::CopyAction);
        event->accept();
    } else {
        event->ignore();
    }
}

void PopoverQt::dragMoveEvent(QDragMoveEvent* event) {
    if (acceptsDrop(event->mimeData())) {
        event->setDropAction(Qt::CopyAction);
        event->accept();
    } else {
        event->ignore();
    }
}

void PopoverQt::dropEvent(QDropEvent* event) {
    // Checked again: the state may have changed during the drag.
    if (!acceptsDrop(event->mimeData())) {
        event->ignore();
        return;
    }
    event->setDropAction(Qt::CopyAction);
    event->accept();
    services_.controller.handleDroppedFiles(droppedFiles(event->mimeData()));
    close();
}

}  // namespace quillon
