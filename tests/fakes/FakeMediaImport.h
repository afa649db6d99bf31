#pragma once

#include <map>
#include <optional>
#include <vector>

#include "core/ports/MediaImport.h"

namespace quillon::testing {

// Media files that exist only in the test: each path plays as blocks of samples, can be marked as
// needing extraction (the extracted copy is "<path>.m4a", its cleanups counted), or fails at a step.
class FakeMediaImport final : public MediaImport {
public:
    struct File {
        std::vector<std::vector<std::int16_t>> blocks;
        bool needsExtraction = false;
        std::optional<TranscriptionError> prepareError;
        std::optional<std::size_t> failReadAtBlock;
    };
    std::map<std::filesystem::path, File> files;
    std::vector<std::filesystem::path> opened;
    std::vector<AudioFormat> openedFormats;
    int cleanups = 0;

    bool isSupportedMedia(const std::filesystem::path& file) const override { return files.contains(file); }
    std::expected<PreparedAudioInput, TranscriptionError> prepareAudioInput(const std::filesystem::path& file) override {
        const auto found = files.find(file);
        if (found == files.end()) return std::unexpected(TranscriptionError::audioLoadFailed());
        if (found->second.prepareError) return std::unexpected(*found->second.prepareError);
        if (!found->second.needsExtraction) return PreparedAudioInput{file, [] {}};
        files[file.string() + ".m4a"] = found->second;
        return PreparedAudioInput{file.string() + ".m4a", [this] { ++cleanups; }};
    }
    std::expected<std::unique_ptr<AudioFileReader>, TranscriptionError> openAudioFile(
        const std::filesystem::path& file) override {
        opened.push_back(file);
        const auto found = files.find(file);
        if (found == files.end()) return std::unexpected(TranscriptionError::audioLoadFailed());
        return std::make_unique<Reader>(found->second, openedFormats);
    }

private:
    struct Reader final : AudioFileReader {
        Reader(File f, std::vector<AudioFormat>& sink) : file(std::move(f)), formats(sink) {}
        std::optional<double> durationSeconds() const override { return std::nullopt; }
        std::expected<void, TranscriptionError> setOutputFormat(AudioFormat format) override {
            formats.push_back(format);
            return {};
        }
        std::expected<std::vector<std::int16_t>, TranscriptionError> read() override {
            if (file.failReadAtBlock == next) return std::unexpected(TranscriptionError::audioLoadFailed());
            return next < file.blocks.size() ? file.blocks[next++] : std::vector<std::int16_t>{};
        }
        File file;
        std::vector<AudioFormat>& formats;
        std::size_t next = 0;
    };
};

}  // namespace quillon::testing
