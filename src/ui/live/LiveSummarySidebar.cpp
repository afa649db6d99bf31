#include "ui/live/LiveSummarySidebar.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QStackedWidget>
#include <QVBoxLayout>

#include "core/codex/CodexCapabilityModel.h"
#include "core/live/LiveTranscriptCoordinator.h"
#include "core/ports/UrlOpener.h"
#include "ui/ChromeIconButton.h"
#include "ui/CodexRequirementsPopover.h"
#include "ui/live/PaneHeader.h"
#include "ui/live/SummaryContextEditor.h"
#include "ui/markdown/RichMarkdownView.h"

namespace quillon {

LiveSummarySidebar::LiveSummarySidebar(LiveTranscriptCoordinator& coordinator,
                                       CodexCapabilityModel& capability, Pasteboard& pasteboard,
                                       UrlOpener& urls, QWidget* parent)
    : QFrame(parent),
      coordinator_(coordinator),
      capability_(capability),
      busy_(new QProgressBar),
      context_(new ChromeIconButton(ThemeIcon::addContext, 24)),
      update_(new ChromeIconButton(ThemeIcon::refresh, 24)),
      copy_(new ChromeIconButton(ThemeIcon::copy, 24)),
      body_(new QStackedWidget),
      message_(new QLabel),
      connectButton_(new QPushButton(QStringLiteral("Connect ChatGPT"))),
      tryAgain_(new QPushButton(QStringLiteral("Try Again"))),
      download_(new QPushButton(QStringLiteral("Get ChatGPT for Mac"))),
      markdown_(new RichMarkdownView),
      contextEditor_(new SummaryContextEditor(this)) {
    setObjectName(QStringLiteral("summaryPane"));
    busy_->setRange(0, 0);
    busy_->setTextVisible(false);
    busy_->setFixedSize(24, 6);
    busy_->setAccessibleName(QStringLiteral("Updating summary"));
    update_->setHelpText(QStringLiteral("Update now"));
    copy_->setHelpText(QStringLiteral("Copy Markdown"));
    markdown_->setAccessibleName(QStringLiteral("Summary"));
    markdown_->setFrameShape(QFrame::NoFrame);

    message_->setWordWrap(true);
    message_->setAlignment(Qt::AlignCenter);
    message_->setTextInteractionFlags(Qt::TextSelectableByMouse);
    auto* messagePage = new QWidget;
    auto* messageLayout = new QVBoxLayout(messagePage);
    messageLayout->addStretch(1);
    messageLayout->addWidget(message_);
    for (QPushButton* button : {connectButton_, tryAgain_, download_})
        messageLayout->addWidget(button, 0, Qt::AlignCenter);
    messageLayout->addStretch(1);
    body_->addWidget(messagePage);
    body_->addWidget(markdown_);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(8, 6, 8, 8);
    layout->setSpacing(4);
    layout->addWidget(
        new PaneHeader(ThemeIcon::aiSparkles, QStringLiteral("Summary"), {busy_, context_, update_, copy_}));
    layout->addWidget(body_, 1);

    LiveSummaryCoordinator& summary = coordinator_.summaryCoordinator();
    connect(context_, &ChromeIconButton::clicked, this, [this] {
        if (contextEditor_->isVisible()) {
            contextEditor_->close();
        } else {
            contextEditor_->present(context_, coordinator_.model().summaryContext());
        }
    });
    contextEditor_->onApply = [this](const std::string& text) {
        coordinator_.model().setSummaryContext(text);
        coordinator_.summaryCoordinator().contextDidChange();
    };
    connect(update_, &ChromeIconButton::clicked, this, [&summary] { summary.refresh(); });
    connect(copy_, &ChromeIconButton::clicked, this,
            [this, &pasteboard] { coordinator_.model().copySummaryToClipboard(pasteboard); });
    connect(connectButton_, &QPushButton::clicked, this, [&summary] { summary.connectChatGPT(); });
    connect(tryAgain_, &QPushButton::clicked, this, [this, &summary] {
        capability_.refresh();
        summary.shutdownClient();
        summary.prepare();
    });
    connect(download_, &QPushButton::clicked, this,
            [&urls] { (void)urls.open(CodexRequirementsPopover::downloadPage); });
    refresh();
}

void LiveSummarySidebar::showMessage(const QString& text, bool connect, bool tryAgain) {
    message_->setText(text);
    connectButton_->setVisible(connect);
    tryAgain_->setVisible(tryAgain);
    download_->setVisible(tryAgain && !capability_.isAvailable());
    body_->setCurrentIndex(0);
}

QString LiveSummarySidebar::bodyText() const {
    return body_->currentIndex() == 0 ? message_->text() : QString();
}

void LiveSummarySidebar::refresh() {
    const LiveTranscriptModel& model = coordinator_.model();
    using Kind = LiveSummaryState::Kind;
    const Kind kind = model.summaryState().kind();

    busy_->setVisible(kind == Kind::updating || kind == Kind::checking);
    context_->setHelpText(model.summaryContext().empty() ? QStringLiteral("Add context for the summariser")
                                                         : QStringLiteral("Edit summariser context"));
    update_->setEnabled(!model.committedText().empty() && (kind == Kind::ready || kind == Kind::failed));
    copy_->setEnabled(!model.summaryMarkdown().empty());

    switch (kind) {
        case Kind::checking:
            showMessage(QStringLiteral("Checking Codex…"), false, false);
            return;
        case Kind::signingIn:
            showMessage(QStringLiteral("Finish signing in in your browser…"), false, false);
            return;
        case Kind::signedOut:
            showMessage(
                QStringLiteral("Connect your ChatGPT account to create a running summary with Codex."), true,
                false);
            return;
        case Kind::unavailable:
        case Kind::failed: {
            const std::string& text = model.summaryState().message();
            showMessage(QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size())), false, true);
            return;
        }
        case Kind::idle:
        case Kind::ready:
        case Kind::updating:
            break;
    }
    if (!model.summaryMarkdown().empty()) {
        markdown_->setMarkdown(model.summaryMarkdown());
        body_->setCurrentIndex(1);
        return;
    }
    showMessage(model.committedText().empty()
                    ? QStringLiteral("The running summary will appear here.")
                    : QStringLiteral("The first summary will appear after the next update."),
                false, false);
}

}  // namespace quillon
