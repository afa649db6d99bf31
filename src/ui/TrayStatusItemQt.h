#pragma once

#include <QAction>
#include <QElapsedTimer>
#include <QMenu>
#include <QSystemTrayIcon>
#include <QTimer>

#include <chrono>
#include <functional>
#include <optional>

#include "core/logging/Logger.h"
#include "core/ports/StatusItem.h"
#include "ui/StatusIconRenderer.h"

namespace quillon {

// The status item as a tray icon (StatusNotifierItem where the desktop offers it, XEmbed
// otherwise). A click activates, a middle click copies the last transcription, and the context
// menu offers "Copy Last Transcription", "Transcribe File…", "Settings…" and "Quit". While the state pulses, the icon fades from
// full to half opacity and back, half a second each way. GUI thread only.
class TrayStatusItemQt final : public StatusItem {
public:
    static constexpr std::chrono::milliseconds pulseHalfPeriod{500};
    static constexpr double pulseLowestOpacity = 0.5;

    explicit TrayStatusItemQt(Logger logger);

    bool install(const std::string& toolTip) override;
    void setAppearance(const StatusItemAppearance& appearance) override;

    // What the icon shows now, for those who look at it from inside the program (tests).
    const StatusItemAppearance& appearance() const { return appearance_; }
    bool isPulsing() const { return pulseTimer_.isActive(); }
    double opacity() const { return opacity_; }
    QSystemTrayIcon& trayIcon() { return trayIcon_; }
    QAction& copyLastTranscriptionAction() { return *copyAction_; }
    QAction& quitAction() { return *quitAction_; }

    // The menu's commands that open Quillon's windows.
    std::function<void()> onTranscribeFile;
    std::function<void()> onOpenSettings;

private:
    void showIcon(double opacity);
    void updateToolTip();
    void pulseTick();

    Logger logger_;
    StatusIconRenderer renderer_;
    QMenu menu_;
    QAction* copyAction_;
    QAction* transcribeFileAction_;
    QAction* settingsAction_;
    QAction* quitAction_;
    QSystemTrayIcon trayIcon_;
    QTimer pulseTimer_;
    QElapsedTimer pulseClock_;
    std::string toolTip_;
    StatusItemAppearance appearance_;
    std::optional<StatusIcon> shownIcon_;  // what the tray shows now, at opacity_
    double opacity_ = 1.0;
};

}  // namespace quillon
