#include "ui/live/LiveTranscriptPanelQt.h"

#include <QCloseEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QScreen>
#include <QVBoxLayout>

#include <cmath>

#include "core/codex/CodexCapabilityModel.h"
#include "core/live/LiveTranscriptCoordinator.h"
#include "core/ports/KeyValueStore.h"
#include "ui/live/LiveSummarySidebar.h"
#include "ui/live/LiveTranscriptPane.h"
#include "ui/live/LiveTranscriptTitlebar.h"
#include "ui/live/SummaryDivider.h"
#include "ui/live/SummarySidebarGeometry.h"

namespace quillon {

namespace {

using Geometry = SummarySidebarGeometry;

QString fromUtf8(const std::string& text) {
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

}  // namespace

LiveTranscriptPanelQt::LiveTranscriptPanelQt(LiveTranscriptCoordinator& coordinator,
                                             SystemAudioSourceCatalog& catalog,
                                             CodexCapabilityModel& capability, Services services,
                                             QWidget* parent)
    : QWidget(parent, Qt::Tool | Qt::WindowStaysOnTopHint),
      coordinator_(coordinator),
      capability_(capability),
      services_(std::move(services)),
      titlebar_(new LiveTranscriptTitlebar(coordinator, catalog, capability)),
      panes_(new QWidget),
      transcript_(new LiveTranscriptPane(coordinator, capability, services_.pasteboard, services_.urls)),
      divider_(new SummaryDivider),
      summary_(new LiveSummarySidebar(coordinator, capability, services_.pasteboard, services_.urls)),
      bannerBar_(new QWidget),
      bannerText_(new QLabel),
      soundSettings_(new QPushButton(QStringLiteral("Open System Settings"))) {
    setWindowTitle(QStringLiteral("Live Transcript"));
    setAccessibleName(QStringLiteral("Live Transcript"));
    setAttribute(Qt::WA_ShowWithoutActivating);
    setMinimumSize(static_cast<int>(Geometry::collapsedMinimumWindowWidth),
                   static_cast<int>(Geometry::minimumWindowHeight));
    resize(500, 350);
    // Rounded boxes with a faint fill and outline, in the palette's own text colour.
    setStyleSheet(
        QStringLiteral("#transcriptPane, #summaryPane { background: rgba(127,127,127,0.07);"
                       " border: 1px solid rgba(127,127,127,0.22); border-radius: 8px; }"));

    auto* panes = new QHBoxLayout(panes_);
    panes->setContentsMargins(0, 0, 0, 0);
    panes->setSpacing(static_cast<int>(Geometry::paneSpacing));
    panes->addWidget(transcript_, 1);
    panes->addWidget(divider_);
    panes->addWidget(summary_);

    bannerText_->setWordWrap(true);
    bannerText_->setAccessibleName(QStringLiteral("Error"));
    QPalette red = bannerText_->palette();
    red.setColor(QPalette::WindowText, QColor(0xc6, 0x28, 0x28));
    bannerText_->setPalette(red);
    QFont caption = bannerText_->font();
    caption.setPointSizeF(caption.pointSizeF() * 0.9);
    bannerText_->setFont(caption);
    auto* banner = new QHBoxLayout(bannerBar_);
    banner->setContentsMargins(2, 0, 0, 0);
    banner->addWidget(bannerText_, 1);
    banner->addWidget(soundSettings_);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(titlebar_);
    auto* body = new QVBoxLayout;
    body->setContentsMargins(12, 0, 12, 12);
    body->setSpacing(8);
    body->addWidget(panes_, 1);
    body->addWidget(bannerBar_);
    layout->addLayout(body, 1);

    connect(soundSettings_, &QPushButton::clicked, this, [this] {
        if (services_.openSoundSettings) services_.openSoundSettings();
    });
    divider_->onDrag = [this](int translation) { dragDivider(translation); };
    divider_->onDragEnd = [this] { resizeStartWidth_.reset(); };

    // The model and the capability have one observer each; an earlier one is kept and called first.
    LiveTranscriptModel& model = coordinator_.model();
    previousModelObserver_ = std::move(model.onChange);
    model.onChange = [this] {
        if (previousModelObserver_) previousModelObserver_();
        scheduleRefresh();
    };
    model.onSummaryVisibilityChanged = [this](bool visible) { setSummarySidebarVisible(visible); };
    previousCapabilityObserver_ = std::move(capability_.onChange);
    capability_.onChange = [this] {
        if (previousCapabilityObserver_) previousCapabilityObserver_();
        scheduleRefresh();
    };
    refresh();
}

LiveTranscriptPanelQt::~LiveTranscriptPanelQt() {
    LiveTranscriptModel& model = coordinator_.model();
    model.onChange = std::move(previousModelObserver_);
    model.onSummaryVisibilityChanged = nullptr;
    capability_.onChange = std::move(previousCapabilityObserver_);
}

void LiveTranscriptPanelQt::show() {
    if (!placed_) {
        placed_ = true;
        if (const QScreen* screen = this->screen()) {
            const QRect area = screen->availableGeometry();
            move(area.center() - QPoint(width() / 2, height() / 2));
        }
    }
    QWidget::show();
    raise();
}

void LiveTranscriptPanelQt::closeEvent(QCloseEvent* event) {
    // Kept for the next showing; the coordinator ends the run.
    event->accept();
    if (onClose_) onClose_();
}

void LiveTranscriptPanelQt::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    layoutSidebar();
}

void LiveTranscriptPanelQt::scheduleRefresh() {
    if (refreshPending_) return;
    refreshPending_ = true;
    QMetaObject::invokeMethod(
        this,
        [this] {
            refreshPending_ = false;
            refresh();
        },
        Qt::QueuedConnection);
}

void LiveTranscriptPanelQt::refresh() {
    const LiveTranscriptModel& model = coordinator_.model();
    titlebar_->refresh();
    transcript_->refresh();
    const bool summaryVisible = model.isSummaryVisible();
    divider_->setVisible(summaryVisible);
    summary_->setVisible(summaryVisible);
    if (summaryVisible) summary_->refresh();
    layoutSidebar();

    const auto& message = model.errorMessage() ? model.errorMessage() : model.cleanupErrorMessage();
    bannerBar_->setVisible(message.has_value());
    bannerText_->setText(message ? fromUtf8(*message) : QString());
    soundSettings_->setVisible(model.errorMessage() &&
                               model.audioConfiguration().mode != LiveAudioMode::microphone);
}

double LiveTranscriptPanelQt::storedSidebarWidth() const {
    const auto value = services_.preferences.value(sidebarWidthKey);
    if (const auto* number = value ? std::get_if<double>(&*value) : nullptr) return *number;
    if (const auto* whole = value ? std::get_if<std::int64_t>(&*value) : nullptr)
        return static_cast<double>(*whole);
    return Geometry::defaultWidth;
}

int LiveTranscriptPanelQt::summarySidebarWidth() const {
    return static_cast<int>(std::lround(Geometry::shownWidth(storedSidebarWidth(), panes_->width())));
}

void LiveTranscriptPanelQt::layoutSidebar() {
    if (summary_->isVisibleTo(this)) summary_->setFixedWidth(summarySidebarWidth());
}

void LiveTranscriptPanelQt::dragDivider(int translation) {
    // Dragging left widens the sidebar; the new width is stored at once.
    if (!resizeStartWidth_) resizeStartWidth_ = summarySidebarWidth();
    const double width = Geometry::shownWidth(*resizeStartWidth_ - translation, panes_->width());
    services_.preferences.setValue(sidebarWidthKey, width);
    layoutSidebar();
}

void LiveTranscriptPanelQt::setSummarySidebarVisible(bool visible) {
    QRect frame = geometry();
    int targetWidth = static_cast<int>(collapsedWidth_);
    if (visible) {
        collapsedWidth_ = frame.width();
        targetWidth = static_cast<int>(Geometry::expandedWindowWidth(collapsedWidth_));
        if (const QScreen* screen = this->screen(); screen && isVisible()) {
            const QRect area = screen->availableGeometry();
            frame.moveLeft(Geometry::shiftedLeft(frame.left(), frame.width(), targetWidth - frame.width(),
                                                 area.left(), area.right() + 1));
        }
    }
    setMinimumWidth(static_cast<int>(visible ? Geometry::expandedMinimumWindowWidth
                                             : Geometry::collapsedMinimumWindowWidth));
    frame.setWidth(targetWidth);
    setGeometry(frame);
    refresh();
}

}  // namespace quillon
