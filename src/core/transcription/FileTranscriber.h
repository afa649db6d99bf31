#pragma once

#include <expected>
#include <filesystem>
#include <functional>
#include <string>

#include "core/ports/TranscriptionError.h"

namespace quillon {

// Transcribes one audio or video file off the calling thread. The completion runs on the
// transcriber's thread with the corrected transcript (possibly empty) or the error.
class FileTranscriber {
public:
    using Completion = std::function<void(std::expected<std::string, TranscriptionError>)>;

    virtual ~FileTranscriber() = default;
    virtual void transcribe(const std::filesystem::path& file, Completion completion) = 0;
};

}  // namespace quillon
