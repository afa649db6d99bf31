#pragma once

#include <map>
#include <optional>
#include <vector>

#include "core/ports/MediaImport.h"

namespace quillon::testing {

// Media files that exist only in the test: each path plays as its blocks of samples.
class FakeMediaImport final : public MediaImport {
public:
    struct File {
        std::vector<std::vector<std::int16_t>> blocks;
    };
    std::map<std::filesystem::path, File> files;
    std::vector<std::filesystem::path> opened;

    bool isSupportedMedia(const std::filesystem::path& file) const override { return files.contains(file); }
    std::expected<PreparedAudioInput, TranscriptionError> prepareAudioInput(const std::filesystem::path& file) override {
        if (!files.contains(file)) return std::unexpected(TranscriptionError::audioLoadFailed());
        return PreparedAudioInput{file, [] {}};
    }
    std::expected<std::unique_ptr<AudioFileReader>, TranscriptionError> openAudioFile(
        const std::filesystem::path& file) override {
        opened.push_back(file);
        const auto found = files.find(file);
        if (found == files.end()) return std::unexpected(TranscriptionError::audioLoadFailed());
        return std::make_unique<Reader>(found->second);
    }

private:
    struct Reader final : AudioFileReader {
        explicit Reader(File f) : file(std::move(f)) {}
        std::optional<double> durationSeconds() const override { return std::nullopt; }
        std::expected<void, TranscriptionError> setOutputFormat(AudioFormat) override { return {}; }
        std::expected<std::vector<std::int16_t>, TranscriptionError> read() override {
            return next < file.blocks.size() ? file.blocks[next++] : std::vector<std::int16_t>{};
        }
        File file;
        std::size_t next = 0;
    };
};

}  // namespace quillon::testing
