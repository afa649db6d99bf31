#pragma once

#include <vector>

#include "core/transcription/FileTranscriber.h"

namespace quillon::testing {

// Keeps each request until the test answers it, as the transcriber's thread would.
class FakeFileTranscriber final : public quillon::FileTranscriber {
public:
    struct Request {
        std::filesystem::path file;
        Completion completion;
    };

    void transcribe(const std::filesystem::path& file, Completion completion) override {
        requests.push_back({file, std::move(completion)});
    }

    void complete(std::size_t index, std::expected<std::string, quillon::TranscriptionError> result) {
        auto completion = std::move(requests.at(index).completion);
        requests.at(index).completion = nullptr;
        if (completion) completion(std::move(result));
    }

    std::vector<Request> requests;
};

}  // namespace quillon::testing
