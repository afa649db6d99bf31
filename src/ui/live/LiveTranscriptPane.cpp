#include "ui/live/LiveTranscriptPane.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QVBoxLayout>

#include "core/live/LiveTranscriptCoordinator.h"
#include "ui/ChromeIconButton.h"
#include "ui/TranscriptCleanupButton.h"
#include "ui/live/ClearTranscriptConfirmation.h"
#include "ui/live/EditableLiveTranscriptView.h"
#include "ui/live/PaneHeader.h"

namespace quillon {

LiveTranscriptPane::LiveTranscriptPane(LiveTranscriptCoordinator& coordinator,
                                       CodexCapabilityModel& capability, Pasteboard& pasteboard,
                                       UrlOpener& urls, QWidget* parent)
    : QFrame(parent),
      coordinator_(coordinator),
      editor_(new EditableLiveTranscriptView),
      placeholder_(new QLabel(editor_->viewport())),
      follow_(new ChromeIconButton(ThemeIcon::followTranscript, 24)),
      cleanup_(new TranscriptCleanupButton(capability, urls)),
      clear_(new ChromeIconButton(ThemeIcon::clearTranscript, 24)),
      copy_(new ChromeIconButton(ThemeIcon::copy, 24)),
      confirmation_(new ClearTranscriptConfirmation(this)) {
    setObjectName(QStringLiteral("transcriptPane"));
    editor_->setAccessibleName(QStringLiteral("Live transcript"));
    follow_->setHelpText(QStringLiteral("Resume following live transcript"));
    clear_->setHelpText(QStringLiteral("Clear transcript"));
    copy_->setHelpText(QStringLiteral("Copy transcript"));
    placeholder_->setForegroundRole(QPalette::PlaceholderText);
    placeholder_->setAlignment(Qt::AlignCenter);
    placeholder_->setAttribute(Qt::WA_TransparentForMouseEvents);
    placeholder_->setWordWrap(true);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(8, 6, 8, 8);
    layout->setSpacing(4);
    layout->addWidget(new PaneHeader(ThemeIcon::transcript, QStringLiteral("Transcript"),
                                     {follow_, cleanup_, clear_, copy_}));
    layout->addWidget(editor_, 1);

    editor_->onEdit = [this](const std::string& text) { coordinator_.editCommittedTranscript(text); };
    editor_->onFollowingChanged = [this](bool) { refresh(); };
    connect(follow_, &ChromeIconButton::clicked, this, [this] {
        editor_->setFollowing(true);
        refresh();
    });
    cleanup_->action = [this] { coordinator_.cleanupTranscript(); };
    connect(clear_, &ChromeIconButton::clicked, this, [this] {
        if (confirmation_->isVisible()) {
            confirmation_->close();
        } else {
            confirmation_->showAt(clear_);
        }
    });
    confirmation_->onClear = [this] { coordinator_.clearTranscript(); };
    connect(copy_, &ChromeIconButton::clicked, this,
            [this, &pasteboard] { coordinator_.model().copyToClipboard(pasteboard); });
    refresh();
}

void LiveTranscriptPane::refresh() {
    const LiveTranscriptModel& model = coordinator_.model();
    editor_->update(model.committedText(), model.provisionalText());
    const bool hasText = !model.committedText().empty() || !model.provisionalText().empty();
    follow_->setVisible(!editor_->isFollowing());
    cleanup_->setState(model.isCleaningTranscript(), hasText);
    clear_->setEnabled(hasText);
    copy_->setEnabled(hasText);

    placeholder_->setVisible(!hasText);
    placeholder_->setText(model.isListening() ? QStringLiteral("Start speaking…")
                                              : QStringLiteral("Your live transcript will appear here."));
    placeholder_->setGeometry(editor_->viewport()->rect().adjusted(12, 12, -12, -12));
}

}  // namespace quillon
