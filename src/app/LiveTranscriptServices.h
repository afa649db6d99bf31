#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "core/audio/SystemAudioSourceCatalog.h"
#include "core/codex/CodexCapabilityModel.h"
#include "core/codex/TranscriptCleanupService.h"
#include "core/dictation/DictationStatus.h"
#include "core/dictation/LiveTranscriptActivity.h"
#include "core/live/LiveTranscriptCoordinator.h"
#include "core/logging/LogService.h"
#include "core/ports/HostEnvironment.h"
#include "core/ports/KeyValueStore.h"
#include "core/ports/PCMConverter.h"
#include "core/ports/SaveDialog.h"
#include "core/ports/TemporaryFiles.h"
#include "core/ports/UrlOpener.h"
#include "core/ports/WallClock.h"
#include "core/transcription/SpeechTranscriptionSupport.h"

namespace quillon {

// The live transcript's world, built in one place: capture from the microphone and system audio
// (PulseAudio) at 48000 Hz with the mixer on a queue of its own, the audio file recorder on
// another, a speech session factory over the shared recogniser, the user's Codex for the summary
// and the cleanup, and the coordinator over all of them. Members are built in the order below
// and destroyed in reverse, so the coordinator goes before what it uses.
//
// Threads: built and used on the main thread; the queues it owns run the mixer, the file writes,
// speech and the Codex clients.
class LiveTranscriptServices {
public:
    struct Context {
        Scheduler& main;
        KeyValueStore& preferences;
        DictationStatus& status;
        LiveTranscriptActivity& activity;
        const SpeechTranscriptionSupport& speech;
        PCMConverterFactory& converters;
        TemporaryFiles& temporaryFiles;
        UrlOpener& urls;
        const HostEnvironment& host;
        // Where a kept recording is saved: the desktop's file dialog.
        SaveDialog& saveDialog;
        WallClock& clock;
        std::shared_ptr<LogService> log;
        // Whether dictation records now; the two exclude each other.
        std::function<bool()> isDictationRecording;
        // The panel, made on its first showing, over the services' coordinator and source catalog.
        std::function<std::unique_ptr<LiveTranscriptWindow>(LiveTranscriptServices& services)> makeWindow;
        // A Responses-compatible server the Codex child uses instead of OpenAI's (development).
        std::optional<std::string> localModelProvider;
    };

    explicit LiveTranscriptServices(Context context);
    ~LiveTranscriptServices();
    LiveTranscriptServices(const LiveTranscriptServices&) = delete;
    LiveTranscriptServices& operator=(const LiveTranscriptServices&) = delete;

    LiveTranscriptCoordinator& coordinator();
    CodexCapabilityModel& codexCapability();
    const TranscriptCleanupService& cleanup() const;
    // The applications the source menu offers; made on first use, as it asks the sound server
    // every two seconds from then on.
    SystemAudioSourceCatalog& sourceCatalog();

    // Stops a running transcript and its capture, for the end of the program.
    void shutdown();

private:
    // The adapters stay out of this header: PulseAudio's and Qt's names collide.
    struct Parts;
    Context context_;
    std::unique_ptr<Parts> parts_;
};

}  // namespace quillon
