#pragma once

#include <QProcess>
#include <QRect>
#include <QString>

#include <optional>

namespace quillon::testing {

// Debian's trayer, a small XEmbed system tray, as the tray host of the test's X session. It
// stops when this object goes.
class TrayHost {
public:
    TrayHost();
    ~TrayHost();
    TrayHost(const TrayHost&) = delete;
    TrayHost& operator=(const TrayHost&) = delete;

    // Waits until the tray has claimed the system tray of the screen.
    bool waitUntilReady();

    // Where the icon window of process `pid` sits in the tray, on the screen; absent while the
    // tray holds no icon of that process.
    std::optional<QRect> iconOf(qint64 pid);

    // How many icons of process `pid` the tray holds.
    int iconCountOf(qint64 pid);

    // A visible window of process `pid` outside the tray (a menu it popped up), on the screen.
    std::optional<QRect> popupOf(qint64 pid);

private:
    QProcess process_;
};

// Clicks `button` (1 left, 2 middle, 3 right) at a point of the screen, as the user would.
bool clickAt(QPoint point, int button);

}  // namespace quillon::testing
