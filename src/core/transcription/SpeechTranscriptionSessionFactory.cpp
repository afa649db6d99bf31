#include "core/transcription/SpeechTranscriptionSessionFactory.h"

#include <stdexcept>

#include "core/transcription/SpeechTranscriptionSession.h"

namespace quillon {

SpeechTranscriptionSessionFactory::SpeechTranscriptionSessionFactory(const SpeechTranscriptionSupport& support,
                                                                     PCMConverterFactory& converters,
                                                                     std::vector<Scheduler*> workers)
    : support_(support), converters_(converters), workers_(std::move(workers)) {
    if (workers_.empty()) throw std::invalid_argument("SpeechTranscriptionSessionFactory needs a worker");
}

std::shared_ptr<SpeechSession> SpeechTranscriptionSessionFactory::makeSession(SpeechSessionHandlers handlers) {
    Scheduler& worker = *workers_[next_.fetch_add(1) % workers_.size()];
    return SpeechTranscriptionSession::start(support_, converters_, worker, std::move(handlers));
}

}  // namespace quillon
