#include "ui/TranscriptCleanupButton.h"

#include <QProgressBar>
#include <QStackedLayout>
#include <QVBoxLayout>

#include "core/codex/CodexCapabilityModel.h"
#include "ui/ChromeIconButton.h"
#include "ui/CodexRequirementsPopover.h"

namespace quillon {

TranscriptCleanupButton::TranscriptCleanupButton(CodexCapabilityModel& capability, UrlOpener& urls,
                                                 QWidget* parent)
    : QWidget(parent),
      capability_(capability),
      button_(new ChromeIconButton(ThemeIcon::aiSparkles, 24)),
      busy_(new QProgressBar),
      requirements_(new CodexRequirementsPopover(urls, this)) {
    busy_->setRange(0, 0);
    busy_->setTextVisible(false);
    busy_->setFixedSize(ChromeIconButton::width, 6);
    busy_->setToolTip(QStringLiteral("Cleaning up transcript with AI…"));
    busy_->setAccessibleName(QStringLiteral("Cleaning up transcript with AI…"));
    auto* busyFrame = new QWidget;
    auto* busyLayout = new QVBoxLayout(busyFrame);
    busyLayout->setContentsMargins(0, 9, 0, 9);
    busyLayout->addWidget(busy_);

    auto* stack = new QStackedLayout(this);
    stack->setContentsMargins(0, 0, 0, 0);
    stack->addWidget(button_);
    stack->addWidget(busyFrame);
    setFixedSize(ChromeIconButton::width, 24);

    connect(button_, &ChromeIconButton::clicked, this, [this] { pressed(); });
    requirements_->onCheckAgain = [this] {
        if (capability_.checkAgain()) requirements_->close();
        redraw();
    };
    redraw();
}

void TranscriptCleanupButton::setState(bool isRunning, bool hasTranscript) {
    isRunning_ = isRunning;
    hasTranscript_ = hasTranscript;
    redraw();
}

void TranscriptCleanupButton::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    capability_.refresh();
    redraw();
}

void TranscriptCleanupButton::pressed() {
    const bool available = capability_.pressCleanup();
    redraw();
    if (!available) {
        requirements_->showAt(button_);
        return;
    }
    if (action) action();
}

void TranscriptCleanupButton::redraw() {
    const bool available = capability_.isAvailable();
    static_cast<QStackedLayout*>(layout())->setCurrentIndex(isRunning_ ? 1 : 0);
    button_->setEnabled(hasTranscript_);
    button_->setHelpText(available ? QStringLiteral("Clean up transcript with AI")
                                   : QStringLiteral("AI cleanup requires ChatGPT or Codex"));
    button_->setForeground(available ? std::nullopt
                                     : std::optional<QColor>(palette().color(QPalette::PlaceholderText)));
    button_->setBadge(!available && hasTranscript_);
}

}  // namespace quillon
