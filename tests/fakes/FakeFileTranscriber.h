#pragma once

#include <vector>

#include "core/transcription/FileTranscriber.h"

namespace quillon::testing {

// Keeps each request's completion until the test calls it, as the transcriber's thread would.
class FakeFileTranscriber final : public quillon::FileTranscriber {
public:
    void transcribe(const std::filesystem::path&, Completion completion) override {
        completions.push_back(std::move(completion));
    }

    std::vector<Completion> completions;
};

}  // namespace quillon::testing
