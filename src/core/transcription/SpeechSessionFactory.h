#pragma once

#include <memory>

#include "core/transcription/SpeechSession.h"

namespace quillon {

// Makes streaming sessions; the dictation coordinator and the live transcript each hold one.
class SpeechSessionFactory {
public:
    virtual ~SpeechSessionFactory() = default;
    virtual std::shared_ptr<SpeechSession> makeSession(SpeechSessionHandlers handlers) = 0;
};

}  // namespace quillon
