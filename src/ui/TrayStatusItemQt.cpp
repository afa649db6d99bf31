#include "ui/TrayStatusItemQt.h"

#include <cmath>

namespace quillon {

namespace {
// Twenty frames a second: smooth at tray sizes, and gentle on a StatusNotifierItem host, which
// receives each frame over D-Bus.
constexpr std::chrono::milliseconds pulseFrameInterval{50};

// The opacity of the pulse `elapsed` after it began: a triangle wave from 1 down to the lowest
// opacity and back up, one way in each half period.
double pulseOpacity(std::chrono::milliseconds elapsed) {
    constexpr auto halfPeriod = TrayStatusItemQt::pulseHalfPeriod;
    const double phase = static_cast<double>((elapsed % (2 * halfPeriod)).count()) / static_cast<double>(halfPeriod.count());
    const double towardLowest = phase <= 1.0 ? phase : 2.0 - phase;
    return 1.0 - (1.0 - TrayStatusItemQt::pulseLowestOpacity) * towardLowest;
}
}  // namespace

TrayStatusItemQt::TrayStatusItemQt(Logger logger)
    : logger_(std::move(logger)),
      copyAction_(menu_.addAction(QStringLiteral("Copy Last Transcription"))),
      transcribeFileAction_(menu_.addAction(QStringLiteral("Transcribe File…"))),
      settingsAction_(menu_.addAction(QStringLiteral("Settings…"))),
      quitAction_(nullptr) {
    menu_.addSeparator();
    quitAction_ = menu_.addAction(QStringLiteral("Quit"));
    // Callbacks are read when the user acts, so the owner may set them after install().
    QObject::connect(copyAction_, &QAction::triggered, &trayIcon_, [this] {
        if (onCopyLastTranscription) onCopyLastTranscription();
    });
    QObject::connect(transcribeFileAction_, &QAction::triggered, &trayIcon_, [this] {
        if (onTranscribeFile) onTranscribeFile();
    });
    QObject::connect(settingsAction_, &QAction::triggered, &trayIcon_, [this] {
        if (onOpenSettings) onOpenSettings();
    });
    QObject::connect(quitAction_, &QAction::triggered, &trayIcon_, [this] {
        if (onQuit) onQuit();
    });
    QObject::connect(&trayIcon_, &QSystemTrayIcon::activated, &trayIcon_,
                     [this](QSystemTrayIcon::ActivationReason reason) {
                         if (reason == QSystemTrayIcon::Trigger && onActivate) onActivate();
                         if (reason == QSystemTrayIcon::MiddleClick && onCopyLastTranscription) {
                             onCopyLastTranscription();
                         }
                     });
    pulseTimer_.setInterval(pulseFrameInterval);
    QObject::connect(&pulseTimer_, &QTimer::timeout, &trayIcon_, [this] { pulseTick(); });
}

bool TrayStatusItemQt::install(const std::string& toolTip) {
    toolTip_ = toolTip;
    trayIcon_.setContextMenu(&menu_);
    showIcon(1.0);
    updateToolTip();
    const bool available = QSystemTrayIcon::isSystemTrayAvailable();
    // Shown even without a tray host: Qt puts the icon in a tray that starts later.
    trayIcon_.show();
    if (!available) logger_.info("The icon will appear when a system tray starts");
    return available;
}

void TrayStatusItemQt::setAppearance(const StatusItemAppearance& appearance) {
    const bool iconChanged = appearance.icon != appearance_.icon;
    appearance_ = appearance;
    updateToolTip();
    if (appearance.pulses) {
        if (!pulseTimer_.isActive() || iconChanged) {
            pulseClock_.start();
            pulseTimer_.start();
        }
    } else {
        pulseTimer_.stop();
    }
    showIcon(1.0);
}

void TrayStatusItemQt::pulseTick() {
    showIcon(pulseOpacity(std::chrono::milliseconds(pulseClock_.elapsed())));
}

void TrayStatusItemQt::showIcon(double opacity) {
    const double stepped = std::round(opacity / StatusIconRenderer::opacityStep) * StatusIconRenderer::opacityStep;
    if (shownIcon_ == appearance_.icon && std::abs(stepped - opacity_) < 1e-9) return;
    opacity_ = stepped;
    shownIcon_ = appearance_.icon;
    trayIcon_.setIcon(renderer_.icon(appearance_.icon, stepped));
}

void TrayStatusItemQt::updateToolTip() {
    // "Quillon\n<hint>" becomes "Quillon: Recording\n<hint>" while something runs.
    const QString full = QString::fromStdString(toolTip_);
    const qsizetype lineEnd = full.indexOf(u'\n');
    const QString head = lineEnd < 0 ? full : full.left(lineEnd);
    const QString rest = lineEnd < 0 ? QString() : full.mid(lineEnd);
    const QString description = QString::fromStdString(appearance_.accessibilityDescription);
    if (description.isEmpty() || description == head) {
        trayIcon_.setToolTip(full);
    } else {
        trayIcon_.setToolTip(head + QStringLiteral(": ") + description + rest);
    }
}

}  // namespace quillon
