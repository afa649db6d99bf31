#pragma once

#include <memory>

#include "app/HotkeyDictationSignals.h"
#include "core/audio/AudioDeviceManager.h"
#include "core/audio/LevelMeter.h"
#include "core/audio/MicrophonePermission.h"
#include "core/dictation/AudioRecorder.h"
#include "core/dictation/LiveTranscriptActivity.h"
#include "core/dictation/RecordingCoordinator.h"
#include "core/insertion/AccessibilityPermission.h"
#include "core/insertion/BackgroundTextInserter.h"
#include "core/settings/SettingsManager.h"
#include "core/text/TranscriptCorrector.h"
#include "core/transcription/SettingsTextRules.h"
#include "core/transcription/SpeechTranscriptionSessionFactory.h"
#include "core/transcription/SpeechTranscriptionSupport.h"
#include "core/transcription/TranscriptionDiagnostics.h"
#include "core/transcription/TranscriptionService.h"
#include "core/tray/MenuBarController.h"
#include "platform/linux/audio/AudioCapturePulse.h"
#include "platform/linux/base/BackgroundJobsThreads.h"
#include "platform/linux/base/SerialQueue.h"
#include "platform/linux/base/TemporaryFilesPosix.h"
#include "platform/linux/keyboard/PacerThreadSleep.h"
#include "platform/linux/keyboard/SyntheticKeyboardXTest.h"
#include "platform/linux/media/MediaImportFFmpeg.h"
#include "platform/linux/sound/AudioDevicesPulse.h"
#include "platform/linux/sound/MicrophoneAccessPulse.h"
#include "platform/linux/sound/PulseServerConnection.h"
#include "platform/linux/sound/RealFFTAvTx.h"
#include "platform/linux/sound/SoundPlayerPulse.h"
#include "platform/linux/speech/PCMConverterSwresample.h"
#include "platform/linux/speech/SpeechEnginePocketSphinx.h"
#include "ui/RecordingIndicatorQt.h"

namespace quillon {

// Everything dictation needs, built in one place: the microphone recorder, speech recognition,
// text insertion on its own worker, the recording indicator, the sounds and the hotkey's
// signals. The coordinator that ties them together is made once the tray's menu bar controller
// exists (start()). Also owns the file transcription service and the process-wide flag of a
// running live transcript, which the live transcript sets.
//
// Threads: made, started and destroyed on the main thread. The queues are members, so they are
// joined before the objects their tasks use are gone (members die in reverse order).
class DictationServices {
public:
    struct Dependencies {
        Scheduler& main;
        const WallClock& clock;
        SettingsManager& settings;
        Pasteboard& pasteboard;
        Accessibility& accessibility;
        RunningApplications& runningApplications;
        AccessibilityPermission& accessibilityPermission;
        HotkeyManager& hotkeyManager;
        std::shared_ptr<LogService> log;
    };

    explicit DictationServices(Dependencies dependencies);
    ~DictationServices();
    DictationServices(const DictationServices&) = delete;
    DictationServices& operator=(const DictationServices&) = delete;

    // Imported files go through `transcriber` instead of the transcription service itself (the
    // transcript windows show its progress). Before start().
    void setImportedMediaTranscriber(FileTranscriber& transcriber) { importedMedia_ = &transcriber; }

    // Launch: builds the coordinator, which from now on answers the hotkey, and reports dictation's
    // state to `status`.
    void start(MenuBarController& status);
    // After launch has returned: the microphone is asked for and the speech model loaded in the
    // background, so that the first dictation does not wait for it.
    void requestMicrophoneAndPrepareSpeech();

    MicrophonePermission& microphonePermission() { return microphonePermission_; }
    LiveTranscriptActivity& liveTranscriptActivity() { return liveTranscriptActivity_; }
    TranscriptionService& transcriptionService() { return transcriptionService_; }
    TemporaryFiles& temporaryFiles() { return temporaryFiles_; }
    SpeechTranscriptionSupport& speechSupport() { return speechSupport_; }
    PCMConverterFactory& pcmConverters() { return pcmConverters_; }
    PulseServerConnection& soundServer() { return soundServer_; }
    AudioDeviceManager& audioDevices() { return audioDeviceManager_; }
    // Whether dictation's microphone records now; a live transcript does not start meanwhile.
    bool isRecording() const { return recorder_.isRunning(); }
    // Absent before start().
    RecordingCoordinator* coordinator() { return coordinator_.get(); }

private:
    Dependencies dependencies_;

    // Speech: the text rules, the recogniser and two session workers, so that a new dictation does
    // not queue behind the one still finishing.
    TranscriptCorrector corrector_;
    SettingsTextRules textRules_;
    SpeechEnginePocketSphinx speechEngine_;
    SpeechTranscriptionSupport speechSupport_;
    PCMConverterSwresample pcmConverters_;

    // Files.
    TemporaryFilesPosix temporaryFiles_;
    MediaImportFFmpeg mediaImport_;
    TranscriptionDiagnostics diagnostics_;
    BackgroundJobsThreads jobs_;
    TranscriptionService transcriptionService_;

    // Sound: one connection for the sounds, the permission and the device list; the recorder's
    // capture has its own.
    PulseServerConnection soundServer_;
    SoundPlayerPulse soundPlayer_;
    MicrophoneAccessPulse microphoneAccess_;
    MicrophonePermission microphonePermission_;
    AudioDevicesPulse audioDevicesPulse_;
    AudioDeviceManager audioDeviceManager_;
    AudioCapturePulse microphone_;
    RealFFTAvTx fft_;
    LevelMeter levelMeter_;

    // Insertion.
    SyntheticKeyboardXTest keyboard_;
    PacerThreadSleep pacer_;

    RecordingIndicatorQt indicator_;
    HotkeyDictationSignals hotkey_;
    LiveTranscriptActivity liveTranscriptActivity_;

    // The queues, after everything their tasks use.
    SerialQueue speechWorkerA_;
    SerialQueue speechWorkerB_;
    SerialQueue recordingWriter_;
    SerialQueue insertionWorker_;
    SpeechTranscriptionSessionFactory speechSessions_;
    AudioRecorder recorder_;
    BackgroundTextInserter textInserter_;
    FileTranscriber* importedMedia_ = nullptr;
    std::unique_ptr<RecordingCoordinator> coordinator_;
};

}  // namespace quillon
