#pragma once

#include <QFrame>
#include <QString>

class QVBoxLayout;

namespace quillon {

// A titled group of rows in the settings window. Each row has a title, an optional line of detail
// under it, and its control (the accessory) on the right or, for editors, below.
class SettingsSectionQt : public QFrame {
public:
    SettingsSectionQt(const QString& title, const QString& iconName, QWidget* parent = nullptr);

    // The accessory sits beside the title, or under it when `below` (text editors, tables).
    void addRow(const QString& title, const QString& detail, QWidget* accessory, bool below = false);

private:
    QVBoxLayout* rows_;
};

}  // namespace quillon
