#include "ui/live/LiveTranscriptTitlebar.h"

#include <QHBoxLayout>
#include <QLabel>

#include "core/codex/CodexCapabilityModel.h"
#include "core/live/LiveTranscriptCoordinator.h"
#include "ui/live/AudioSourceMenuButton.h"

namespace quillon {

namespace {

QColor withAlpha(QColor color, qreal alpha) {
    color.setAlphaF(static_cast<float>(alpha));
    return color;
}

}  // namespace

LiveTranscriptTitlebar::LiveTranscriptTitlebar(LiveTranscriptCoordinator& coordinator,
                                               SystemAudioSourceCatalog& catalog,
                                               CodexCapabilityModel& capability, QWidget* parent)
    : QWidget(parent),
      coordinator_(coordinator),
      capability_(capability),
      source_(new AudioSourceMenuButton(catalog)),
      recording_(new ChromeIconButton(ThemeIcon::startTranscription)),
      audioRecording_(new ChromeIconButton(ThemeIcon::recordAudio)),
      summary_(new ChromeIconButton(ThemeIcon::summarySidebar)) {
    setFixedHeight(height);
    auto* title = new QLabel(QStringLiteral("Live Transcript"));
    QFont headline = title->font();
    headline.setBold(true);
    title->setFont(headline);
    title->setForegroundRole(QPalette::PlaceholderText);
    summary_->setAccessibleLabel(QStringLiteral("Running summary"));
    summary_->setCheckable(true);

    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(12, 0, 8, 0);
    layout->setSpacing(6);
    layout->addWidget(title);
    layout->addStretch(1);
    for (QWidget* control : {static_cast<QWidget*>(source_), static_cast<QWidget*>(recording_),
                             static_cast<QWidget*>(audioRecording_), static_cast<QWidget*>(summary_)}) {
        layout->addWidget(control);
    }

    source_->onSelect = [this](const LiveAudioConfiguration& configuration) {
        coordinator_.setAudioConfiguration(configuration);
    };
    connect(recording_, &ChromeIconButton::clicked, this, [this] {
        if (coordinator_.model().isListening()) {
            coordinator_.stop();
        } else {
            coordinator_.start();
        }
    });
    connect(audioRecording_, &ChromeIconButton::clicked, this, [this] {
        if (coordinator_.model().isRecordingAudio()) {
            coordinator_.finishAudioRecordingAndPromptForSave(true);
        } else {
            coordinator_.startAudioRecording();
        }
    });
    // Followed by its check state, not by clicks: a screen reader's toggle action changes the state
    // without a click. refresh() sets the state the model already has, which changes nothing here.
    connect(summary_, &ChromeIconButton::toggled, this, [this](bool shown) {
        if (shown != coordinator_.model().isSummaryVisible()) coordinator_.toggleSummary();
    });
    refresh();
}

void LiveTranscriptTitlebar::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    capability_.refresh();
    refresh();
}

void LiveTranscriptTitlebar::refresh() {
    const LiveTranscriptModel& model = coordinator_.model();
    const QColor primary = palette().color(QPalette::WindowText);
    const QColor secondary = palette().color(QPalette::PlaceholderText);
    const QColor accent = palette().color(QPalette::Highlight);
    const QColor red(0xe5, 0x39, 0x35);

    source_->setState(model.audioConfiguration(), model.isChangingAudioSource());

    const bool listening = model.isListening();
    recording_->setIcon(listening ? ThemeIcon::pauseTranscription : ThemeIcon::startTranscription);
    recording_->setHelpText(listening ? QStringLiteral("Pause transcription")
                                      : QStringLiteral("Start transcription"));
    recording_->setAccessibleValue(listening ? QStringLiteral("Listening") : QStringLiteral("Paused"));
    recording_->setBackground(listening ? std::optional<QColor>(withAlpha(accent, 0.16)) : std::nullopt);
    recording_->setLiveDot(listening);

    const bool finishing = model.isFinishingAudioRecording();
    const bool recordingAudio = model.isRecordingAudio();
    audioRecording_->setIcon(finishing ? ThemeIcon::finishingAudio : ThemeIcon::recordAudio);
    audioRecording_->setHelpText(finishing        ? QStringLiteral("Finishing audio recording…")
                                 : recordingAudio ? QStringLiteral("Stop and save audio recording")
                                                  : QStringLiteral("Record audio"));
    audioRecording_->setForeground(finishing ? secondary : recordingAudio ? red : primary);
    audioRecording_->setEnabled(!finishing && (recordingAudio || listening));
    audioRecording_->setAccessibleValue(recordingAudio ? QStringLiteral("Recording")
                                                       : QStringLiteral("Not recording"));

    const bool visible = model.isSummaryVisible();
    const bool available = capability_.isAvailable();
    summary_->setHelpText(visible     ? QStringLiteral("Hide running summary")
                          : available ? QStringLiteral("Show running AI summary")
                                      : QStringLiteral("Show running AI summary — Codex setup required"));
    summary_->setForeground(visible ? accent : available ? primary : secondary);
    summary_->setChecked(visible);
    summary_->setAccessibleValue(visible ? QStringLiteral("Shown") : QStringLiteral("Hidden"));
    summary_->setBadge(!visible && !available);
}

}  // namespace quillon
