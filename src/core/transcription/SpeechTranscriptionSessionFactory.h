#pragma once

#include <atomic>
#include <vector>

#include "core/base/Scheduler.h"
#include "core/ports/PCMConverter.h"
#include "core/transcription/SpeechSessionFactory.h"
#include "core/transcription/SpeechTranscriptionSupport.h"

namespace quillon {

// Makes SpeechTranscriptionSessions. Sessions take the workers in turn, so that a new dictation
// does not queue behind the one still finishing its last phrase. The workers and everything
// passed in must outlive every session made here.
class SpeechTranscriptionSessionFactory final : public SpeechSessionFactory {
public:
    SpeechTranscriptionSessionFactory(const SpeechTranscriptionSupport& support, PCMConverterFactory& converters,
                                      std::vector<Scheduler*> workers);

    std::shared_ptr<SpeechSession> makeSession(SpeechSessionHandlers handlers) override;

private:
    const SpeechTranscriptionSupport& support_;
    PCMConverterFactory& converters_;
    std::vector<Scheduler*> workers_;
    std::atomic<std::size_t> next_{0};
};

}  // namespace quillon
