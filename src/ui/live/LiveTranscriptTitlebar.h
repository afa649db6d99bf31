#pragma once

#include <QWidget>

namespace quillon {

class AudioSourceMenuButton;
class ChromeIconButton;
class CodexCapabilityModel;
class LiveTranscriptCoordinator;
class SystemAudioSourceCatalog;

// The top row of the live transcript window: its title, then the source menu, start and pause,
// the audio recording and the summary's switch. GUI thread only.
class LiveTranscriptTitlebar : public QWidget {
public:
    static constexpr int height = 38;

    LiveTranscriptTitlebar(LiveTranscriptCoordinator& coordinator, SystemAudioSourceCatalog& catalog,
                           CodexCapabilityModel& capability, QWidget* parent = nullptr);

    // Redraws the controls from the model and the capability.
    void refresh();

    AudioSourceMenuButton* sourceButton() const { return source_; }
    ChromeIconButton* recordingButton() const { return recording_; }
    ChromeIconButton* audioRecordingButton() const { return audioRecording_; }
    ChromeIconButton* summaryButton() const { return summary_; }

protected:
    void showEvent(QShowEvent* event) override;

private:
    LiveTranscriptCoordinator& coordinator_;
    CodexCapabilityModel& capability_;
    AudioSourceMenuButton* source_;
    ChromeIconButton* recording_;
    ChromeIconButton* audioRecording_;
    ChromeIconButton* summary_;
};

}  // namespace quillon
