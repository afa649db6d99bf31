#include "app/DictationServices.h"

#include <QCoreApplication>

#include <cstdlib>
#include <string_view>

#include "core/ports/AnalysisContext.h"
#include "platform/linux/speech/SystemLocale.h"

namespace quillon {

namespace {

// Installed next to the program, or in the source tree of a build that was not installed.
std::vector<std::filesystem::path> soundDirectories() {
    const std::filesystem::path program = QCoreApplication::applicationDirPath().toStdString();
    return {program / "../share/quillon/sounds", QUILLON_SOUNDS_DIR};
}

}  // namespace

DictationServices::DictationServices(Dependencies dependencies)
    : dependencies_(dependencies),
      corrector_(dependencies.settings, Logger(dependencies.log, LogCategory::transcription)),
      textRules_(corrector_, dependencies.settings),
      speechEngine_(PocketSphinxDecoderPool::ModelPaths::debianEnglish(),
                    Logger(dependencies.log, LogCategory::transcription)),
      speechSupport_(speechEngine_, textRules_, currentLocaleIdentifier,
                     Logger(dependencies.log, LogCategory::transcription)),
      temporaryFiles_(Logger(dependencies.log, LogCategory::transcription)),
      mediaImport_(temporaryFiles_, Logger(dependencies.log, LogCategory::transcription)),
      diagnostics_(temporaryFiles_, dependencies.clock),
      transcriptionService_(speechSupport_, mediaImport_, diagnostics_, jobs_,
                            Logger(dependencies.log, LogCategory::transcription)),
      soundServer_("Quillon", Logger(dependencies.log, LogCategory::audio)),
      soundPlayer_(soundServer_, soundDirectories(), Logger(dependencies.log, LogCategory::audio)),
      microphoneAccess_(soundServer_),
      microphonePermission_(microphoneAccess_, dependencies.main, Logger(dependencies.log, LogCategory::app)),
      audioDevicesPulse_(soundServer_),
      audioDeviceManager_(audioDevicesPulse_, dependencies.main,
                          Logger(dependencies.log, LogCategory::audio)),
      fft_(LevelMeter::fftSize),
      levelMeter_(fft_, dependencies.main, dependencies.clock),
      indicator_([this] { return levelMeter_.smoothedLevels(); }),
      hotkey_(dependencies.hotkeyManager),
      speechWorkerA_("com.lanternmoth.Quillon.dictation.speech.a"),
      speechWorkerB_("com.lanternmoth.Quillon.dictation.speech.b"),
      recordingWriter_("com.lanternmoth.Quillon.dictation.recording"),
      insertionWorker_("com.lanternmoth.Quillon.insertion"),
      speechSessions_(speechSupport_, pcmConverters_, {&speechWorkerA_, &speechWorkerB_}),
      recorder_({dependencies.main, recordingWriter_, microphone_, temporaryFiles_, levelMeter_,
                 audioDeviceManager_, dependencies.settings},
                Logger(dependencies.log, LogCategory::audio)),
      textInserter_(dependencies.accessibility, keyboard_, dependencies.pasteboard,
                    dependencies.runningApplications, pacer_, dependencies.main, insertionWorker_,
                    dependencies.settings, Logger(dependencies.log, LogCategory::insertion)) {
    // Each start asks again whether the desktop's accessibility is on: the user may just have
    // switched it on (or off), and the tray's permission state follows.
    textInserter_.onAccessibilityChecked = [&permission = dependencies.accessibilityPermission](
                                               bool granted) { permission.accessibilityChecked(granted); };
}

DictationServices::~DictationServices() {
    // The coordinator goes first: nothing may start a recording on what follows it out.
    coordinator_.reset();
}

void DictationServices::start(MenuBarController& status) {
    coordinator_ = std::make_unique<RecordingCoordinator>(
        RecordingCoordinator::Collaborators{
            dependencies_.main, recorder_, hotkey_, textInserter_, speechSessions_,
            importedMedia_ ? *importedMedia_ : transcriptionService_, indicator_, soundPlayer_,
            dependencies_.pasteboard, status, dependencies_.settings, liveTranscriptActivity_},
        Logger(dependencies_.log, LogCategory::transcription));
    status.isSupportedMedia = [this](const std::filesystem::path& file) {
        return transcriptionService_.isSupportedMediaURL(file);
    };
    status.onTranscribeFile = [this](const std::filesystem::path& file) {
        coordinator_->transcribeImportedMedia(file);
    };
}

void DictationServices::requestMicrophoneAndPrepareSpeech() {
    microphonePermission_.requestMicrophoneAccess();
    // QUILLON_SPEECH_AT_LAUNCH=0 leaves the model unread until the first dictation, which then
    // waits for it: what the benchmarks use to weigh the model's memory against that wait.
    if (const char* atLaunch = std::getenv("QUILLON_SPEECH_AT_LAUNCH");
        atLaunch != nullptr && std::string_view(atLaunch) == "0") {
        Logger(dependencies_.log, LogCategory::transcription)
            .info("Speech recognition is prepared at the first dictation (QUILLON_SPEECH_AT_LAUNCH=0)");
        return;
    }
    std::vector<std::string> terms;
    const AnalysisContext context = speechSupport_.analysisContext();
    if (auto general = context.contextualStrings.find(AnalysisContext::generalTag);
        general != context.contextualStrings.end()) {
        terms = general->second;
    }
    speechEngine_.warmUp(TranscriberPreset::progressiveTranscription, terms);
}

}  // namespace quillon
