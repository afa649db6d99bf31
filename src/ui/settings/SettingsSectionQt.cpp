#include "ui/settings/SettingsSectionQt.h"

#include <QHBoxLayout>
#include <QIcon>
#include <QLabel>
#include <QVBoxLayout>

namespace quillon {

SettingsSectionQt::SettingsSectionQt(const QString& title, const QString& iconName, QWidget* parent)
    : QFrame(parent), rows_(new QVBoxLayout) {
    setFrameShape(QFrame::StyledPanel);
    setAccessibleName(title);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(16, 12, 16, 14);
    layout->setSpacing(10);

    auto* header = new QHBoxLayout;
    auto* icon = new QLabel;
    icon->setPixmap(QIcon::fromTheme(iconName).pixmap(18, 18));
    header->addWidget(icon);
    auto* heading = new QLabel(title);
    QFont font = heading->font();
    font.setBold(true);
    font.setPointSizeF(font.pointSizeF() * 1.1);
    heading->setFont(font);
    header->addWidget(heading, 1);
    layout->addLayout(header);

    rows_->setSpacing(14);
    layout->addLayout(rows_);
}

void SettingsSectionQt::addRow(const QString& title, const QString& detail, QWidget* accessory, bool below) {
    auto* text = new QVBoxLayout;
    text->setSpacing(2);
    auto* heading = new QLabel(title);
    text->addWidget(heading);
    if (!detail.isEmpty()) {
        auto* detailLabel = new QLabel(detail);
        detailLabel->setWordWrap(true);
        detailLabel->setForegroundRole(QPalette::PlaceholderText);
        text->addWidget(detailLabel);
    }
    // The row's title names its control for a screen reader.
    if (accessory->accessibleName().isEmpty()) accessory->setAccessibleName(title);
    if (!detail.isEmpty() && accessory->accessibleDescription().isEmpty())
        accessory->setAccessibleDescription(detail);
    heading->setBuddy(accessory);

    if (below) {
        auto* column = new QVBoxLayout;
        column->setSpacing(6);
        column->addLayout(text);
        column->addWidget(accessory);
        rows_->addLayout(column);
        return;
    }
    auto* row = new QHBoxLayout;
    row->addLayout(text, 1);
    row->addWidget(accessory, 0, Qt::AlignVCenter);
    rows_->addLayout(row);
}

}  // namespace quillon
