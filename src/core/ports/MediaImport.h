#pragma once

#include <cstdint>
#include <expected>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "core/ports/AudioFormat.h"
#include "core/ports/TranscriptionError.h"

namespace quillon {

// A file the audio layer can read, and what to do once it is no longer needed.
struct PreparedAudioInput {
    std::filesystem::path path;
    std::function<void()> cleanup;  // called exactly once; deletes a temporary extraction
};

// Reads a file's audio as a stream of blocks in a requested format, never the whole file at once.
class AudioFileReader {
public:
    virtual ~AudioFileReader() = default;

    // The duration of the audio when the file says so.
    virtual std::optional<double> durationSeconds() const = 0;

    // The next block of samples in the requested format; an empty block at the end.
    virtual std::expected<std::vector<std::int16_t>, TranscriptionError> read() = 0;
};

// Opens media files. Thread-safe: several files may be imported at once.
class MediaImport {
public:
    virtual ~MediaImport() = default;

    // Whether the file's media type is audio or video (by content first, by name where the
    // content says nothing). Touches the file's first bytes only.
    virtual bool isSupportedMedia(const std::filesystem::path& file) const = 0;

    // The file itself when the audio layer reads it directly; otherwise its audio track extracted
    // to a temporary file. A file without audio fails with `noAudioTrack`.
    virtual std::expected<PreparedAudioInput, TranscriptionError> prepareAudioInput(const std::filesystem::path& file) = 0;

    // Opens a prepared file for reading in `format`.
    virtual std::expected<std::unique_ptr<AudioFileReader>, TranscriptionError> openAudioFile(
        const std::filesystem::path& file, AudioFormat format) = 0;
};

}  // namespace quillon
