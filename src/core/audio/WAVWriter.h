#pragma once

#include <cstddef>
#include <cstdint>
#include <expected>
#include <memory>
#include <span>
#include <string>

#include "core/ports/WritableFile.h"

namespace quillon {

// Writes the dictation recorder's 16 kHz mono 16-bit stream as a canonical 44-byte RIFF WAVE file.
// The header goes out with the first block, sizes zero, and the sizes are patched in by
// finalize(). The format is fixed: only the 16 kHz recorder may write through it.
//
// Threads: write() on the audio thread, finalize() on the main thread once capture has stopped.
class WAVWriter {
public:
    static constexpr std::uint32_t sampleRate = 16000;
    static constexpr std::uint16_t channels = 1;
    static constexpr std::uint16_t bitsPerSample = 16;
    static constexpr std::size_t headerSize = 44;

    explicit WAVWriter(std::unique_ptr<WritableFile> file);

    // Appends one block; a failed write leaves the size the header will carry as it was.
    std::expected<void, std::string> write(std::span<const std::byte> block);

    // Patches the two sizes and closes the file. A writer that never wrote does nothing, and its
    // file stays empty. A file beyond 4 GiB is a fatal error (37 hours of speech in one chunk).
    std::expected<void, std::string> finalize();

    bool isHeaderWritten() const { return isHeaderWritten_; }

private:
    std::expected<void, std::string> writeHeader();

    std::unique_ptr<WritableFile> file_;
    std::uint64_t dataSize_ = 0;
    bool isHeaderWritten_ = false;
};

}  // namespace quillon
