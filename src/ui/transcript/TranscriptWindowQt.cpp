#include "ui/transcript/TranscriptWindowQt.h"

#include <QCloseEvent>
#include <QDragEnterEvent>
#include <QDropEvent>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QIcon>
#include <QKeySequence>
#include <QLabel>
#include <QMimeData>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QScreen>
#include <QShortcut>
#include <QStackedWidget>
#include <QToolButton>
#include <QUrl>
#include <QVBoxLayout>

#include "core/base/Unicode.h"
#include "ui/DroppedFiles.h"

namespace quillon {

namespace {

enum Page { progressPage, failurePage, transcriptPage };

QLabel* boldLabel(const QString& text) {
    auto* label = new QLabel(text);
    QFont font = label->font();
    font.setBold(true);
    label->setFont(font);
    return label;
}

QLabel* secondaryLabel(const QString& text = {}) {
    auto* label = new QLabel(text);
    label->setWordWrap(true);
    label->setForegroundRole(QPalette::PlaceholderText);
    return label;
}

}  // namespace

TranscriptWindowQt::TranscriptWindowQt(std::unique_ptr<TranscriptWindowModel> model)
    : QWidget(nullptr, Qt::Window | Qt::WindowStaysOnTopHint), model_(std::move(model)) {
    setWindowTitle(QStringLiteral("Transcription"));
    setObjectName(QStringLiteral("QuillonTranscript"));
    setFixedSize(560, 430);
    setAcceptDrops(true);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(20, 16, 20, 20);
    layout->setSpacing(16);
    layout->addWidget(makeHeader());
    pages_ = new QStackedWidget;
    pages_->addWidget(makeProgressPage());
    pages_->addWidget(makeFailurePage());
    pages_->addWidget(makeTranscriptPage());
    layout->addWidget(pages_, 1);

    auto* copyShortcut = new QShortcut(QKeySequence(QStringLiteral("Ctrl+Shift+C")), this);
    connect(copyShortcut, &QShortcut::activated, this, [this] {
        if (model_->canCopy()) model_->copyToClipboard();
    });
    model_->onChange = [this] { refresh(); };
    refresh();
}

TranscriptWindowQt::~TranscriptWindowQt() {
    model_->onChange = nullptr;
}

QWidget* TranscriptWindowQt::makeHeader() {
    auto* header = new QFrame;
    header->setFrameShape(QFrame::StyledPanel);
    auto* row = new QHBoxLayout(header);
    row->setSpacing(12);
    auto* tile = new QLabel;
    tile->setFixedSize(42, 42);
    tile->setAlignment(Qt::AlignCenter);
    tile->setPixmap(
        QIcon::fromTheme(QStringLiteral("audio-x-generic"), QIcon(QStringLiteral(":/icons/quillon.svg")))
            .pixmap(24, 24));
    tile->setStyleSheet(QStringLiteral("background: rgba(53, 132, 228, 0.14); border-radius: 9px;"));
    row->addWidget(tile, 0, Qt::AlignTop);

    auto* lines = new QVBoxLayout;
    lines->setSpacing(4);
    title_ = boldLabel({});
    source_ = new QLabel;
    source_->setTextInteractionFlags(Qt::TextSelectableByMouse);
    subtitle_ = secondaryLabel();
    lines->addWidget(title_);
    lines->addWidget(source_);
    lines->addWidget(subtitle_);
    row->addLayout(lines, 1);

    auto* actions = new QVBoxLayout;
    hint_ = secondaryLabel();
    hint_->setAlignment(Qt::AlignRight);
    copy_ = new QPushButton(QStringLiteral("Copy to Clipboard"));
    copy_->setDefault(true);
    copy_->setToolTip(QStringLiteral("Copy to Clipboard (Ctrl+Shift+C)"));
    connect(copy_, &QPushButton::clicked, this, [this] { model_->copyToClipboard(); });
    actions->addWidget(hint_);
    actions->addWidget(copy_, 0, Qt::AlignRight);
    row->addLayout(actions);
    return header;
}

QWidget* TranscriptWindowQt::makeProgressPage() {
    auto* page = new QFrame;
    page->setFrameShape(QFrame::StyledPanel);
    auto* column = new QVBoxLayout(page);
    column->addStretch(1);
    progress_ = new QProgressBar;
    progress_->setAccessibleName(QStringLiteral("Transcription progress"));
    progress_->setMaximumWidth(330);
    progress_->setTextVisible(false);
    column->addWidget(progress_, 0, Qt::AlignHCenter);
    column->addSpacing(14);
    column->addWidget(boldLabel(QStringLiteral("Transcribing…")), 0, Qt::AlignHCenter);
    auto* detail = secondaryLabel(
        QStringLiteral("Transcription runs on device and will appear when the transcript is ready."));
    detail->setMaximumWidth(330);
    detail->setAlignment(Qt::AlignCenter);
    column->addWidget(detail, 0, Qt::AlignHCenter);
    column->addStretch(1);
    return page;
}

QWidget* TranscriptWindowQt::makeFailurePage() {
    auto* page = new QFrame;
    page->setFrameShape(QFrame::StyledPanel);
    auto* column = new QVBoxLayout(page);
    column->addStretch(1);
    auto* icon = new QLabel;
    icon->setPixmap(QIcon::fromTheme(QStringLiteral("dialog-warning")).pixmap(32, 32));
    column->addWidget(icon, 0, Qt::AlignHCenter);
    column->addWidget(boldLabel(QStringLiteral("Transcription Failed")), 0, Qt::AlignHCenter);
    failure_ = secondaryLabel();
    failure_->setMaximumWidth(360);
    failure_->setAlignment(Qt::AlignCenter);
    failure_->setTextInteractionFlags(Qt::TextSelectableByMouse);
    column->addWidget(failure_, 0, Qt::AlignHCenter);
    column->addStretch(1);
    return page;
}

QWidget* TranscriptWindowQt::makeTranscriptPage() {
    auto* page = new QFrame;
    page->setFrameShape(QFrame::StyledPanel);
    auto* column = new QVBoxLayout(page);
    auto* head = new QHBoxLayout;
    head->addWidget(boldLabel(QStringLiteral("Transcript")));
    count_ = secondaryLabel();
    head->addWidget(count_);
    head->addStretch(1);
    cleaning_ = new QProgressBar;
    cleaning_->setRange(0, 0);
    cleaning_->setFixedSize(28, 24);
    cleaning_->setTextVisible(false);
    cleaning_->setAccessibleName(QStringLiteral("Cleaning up transcript with AI…"));
    cleaning_->setToolTip(QStringLiteral("Cleaning up transcript with AI…"));
    head->addWidget(cleaning_);
    cleanup_ = new QToolButton;
    cleanup_->setIcon(QIcon::fromTheme(QStringLiteral("tools-check-spelling")));
    cleanup_->setText(QStringLiteral("AI Cleanup"));
    cleanup_->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    cleanup_->setAccessibleName(QStringLiteral("Clean up transcript with AI"));
    cleanup_->setToolTip(QStringLiteral("Clean up transcript with AI"));
    connect(cleanup_, &QToolButton::clicked, this,
            [this] { model_->cleanupTranscript(additionalContext ? additionalContext() : std::string()); });
    head->addWidget(cleanup_);
    column->addLayout(head);
    text_ = new QPlainTextEdit;
    text_->setReadOnly(true);
    text_->setAccessibleName(QStringLiteral("Transcript"));
    column->addWidget(text_, 1);
    return page;
}

void TranscriptWindowQt::refresh() {
    const auto& model = *model_;
    const QString name = QString::fromStdString(model.sourceName());
    setWindowTitle(name.isEmpty() ? QStringLiteral("Transcription") : name);
    source_->setText(name.isEmpty() ? QStringLiteral("Transcription") : name);
    switch (model.state()) {
        case TranscriptWindowModel::State::transcribing:
            title_->setText(QStringLiteral("Transcribing Imported File"));
            subtitle_->setText(QStringLiteral("Preparing your transcript in the background."));
            pages_->setCurrentIndex(progressPage);
            // A bar that fills once the decoder says how far it is; a busy bar until then.
            if (const auto fraction = model.progress()) {
                progress_->setRange(0, 1000);
                progress_->setValue(static_cast<int>(*fraction * 1000.0));
            } else {
                progress_->setRange(0, 0);
            }
            break;
        case TranscriptWindowModel::State::complete:
            title_->setText(QStringLiteral("Imported File"));
            subtitle_->setText(model.isCleaningTranscript()
                                   ? QStringLiteral("Cleaning transcript with AI…")
                                   : QStringLiteral("Transcript ready to review and copy."));
            pages_->setCurrentIndex(transcriptPage);
            break;
        case TranscriptWindowModel::State::failed:
            title_->setText(QStringLiteral("Imported File"));
            subtitle_->setText(QStringLiteral("This file could not be transcribed."));
            failure_->setText(QString::fromStdString(model.failureMessage()));
            pages_->setCurrentIndex(failurePage);
            break;
    }
    const QString transcript = QString::fromStdString(model.transcript());
    if (text_->toPlainText() != transcript) text_->setPlainText(transcript);
    count_->setText(QString::number(unicode::graphemeCount(model.transcript())) + QStringLiteral(" chars"));
    cleanup_->setVisible(!model.isCleaningTranscript());
    cleanup_->setEnabled(!unicode::trimmed(model.transcript()).empty());
    cleaning_->setVisible(model.isCleaningTranscript());

    const auto& error = model.cleanupErrorMessage();
    hint_->setText(error ? QString::fromStdString(*error) : QStringLiteral("Ctrl+Shift+C"));
    hint_->setStyleSheet(error ? QStringLiteral("color: #c0392b;") : QString());
    hint_->setWordWrap(error.has_value());
    hint_->setMaximumWidth(220);
    copy_->setEnabled(model.canCopy());
}

void TranscriptWindowQt::present(bool centre) {
    if (centre) {
        if (QScreen* screen = QGuiApplication::primaryScreen()) {
            move(screen->availableGeometry().center() - QPoint(width() / 2, height() / 2));
        }
    }
    show();
    raise();
    activateWindow();
}

void TranscriptWindowQt::closeEvent(QCloseEvent* event) {
    model_->cancelCleanup();
    QWidget::closeEvent(event);
    if (auto close = std::exchange(onClose, nullptr)) close();
}

void TranscriptWindowQt::dragEnterEvent(QDragEnterEvent* event) {
    if (!droppedFiles(event->mimeData()).empty()) event->acceptProposedAction();
}

void TranscriptWindowQt::dropEvent(QDropEvent* event) {
    const auto files = droppedFiles(event->mimeData());
    if (files.empty() || !onFilesDropped) return;
    event->acceptProposedAction();
    onFilesDropped(files);
}

}  // namespace quillon
