#pragma once

#include <cstdint>
#include <expected>
#include <filesystem>
#include <memory>
#include <span>
#include <string>

namespace quillon {

// An AAC file being written from 48000 Hz mono 16-bit samples. Closing happens on destruction,
// which finishes the file so that it is valid however much was written.
class AudioFileWriter {
public:
    virtual ~AudioFileWriter() = default;
    // The error is the reason in words.
    virtual std::expected<void, std::string> write(std::span<const std::int16_t> samples) = 0;
};

class AudioFileWriterFactory {
public:
    virtual ~AudioFileWriterFactory() = default;
    // Creates the file at `path` (0600, never following a link). The error is the reason in words.
    virtual std::expected<std::unique_ptr<AudioFileWriter>, std::string> open(const std::filesystem::path& path) = 0;
};

}  // namespace quillon
