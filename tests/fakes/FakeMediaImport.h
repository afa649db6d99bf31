#pragma once

#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "core/ports/MediaImport.h"

namespace quillon::testing {

// Media files that exist only in the test: each path plays as blocks of samples, can be marked
// as needing extraction (its cleanup is counted), or fails at a chosen step.
class FakeMediaImport final : public quillon::MediaImport {
public:
    struct File {
        bool supported = true;
        bool needsExtraction = false;
        std::optional<quillon::TranscriptionError> prepareError;
        std::optional<quillon::TranscriptionError> openError;
        std::vector<std::vector<std::int16_t>> blocks;
        std::optional<std::size_t> failReadAtBlock;
        std::optional<double> durationSeconds;
    };

    void add(const std::filesystem::path& path, File file);

    int cleanups() const;
    std::vector<quillon::AudioFormat> openedFormats() const;
    std::vector<std::filesystem::path> openedPaths() const;

    bool isSupportedMedia(const std::filesystem::path& file) const override;
    std::expected<quillon::PreparedAudioInput, quillon::TranscriptionError> prepareAudioInput(
        const std::filesystem::path& file) override;
    std::expected<std::unique_ptr<quillon::AudioFileReader>, quillon::TranscriptionError> openAudioFile(
        const std::filesystem::path& file, quillon::AudioFormat format) override;

private:
    mutable std::mutex mutex_;
    std::map<std::filesystem::path, File> files_;
    int cleanups_ = 0;
    std::vector<quillon::AudioFormat> openedFormats_;
    std::vector<std::filesystem::path> openedPaths_;
};

}  // namespace quillon::testing
