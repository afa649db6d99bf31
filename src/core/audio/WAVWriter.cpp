#include "core/audio/WAVWriter.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>

namespace quillon {

namespace {

template <std::size_t N>
void putText(std::array<std::byte, N>& out, std::size_t at, const char (&text)[5]) {
    std::memcpy(out.data() + at, text, 4);
}

template <std::size_t N>
void putLittleEndian(std::array<std::byte, N>& out, std::size_t at, std::uint32_t value, std::size_t width) {
    for (std::size_t i = 0; i < width; ++i) out[at + i] = static_cast<std::byte>((value >> (8 * i)) & 0xFF);
}

std::array<std::byte, 4> littleEndian32(std::uint32_t value) {
    std::array<std::byte, 4> out{};
    putLittleEndian(out, 0, value, 4);
    return out;
}

}  // namespace

WAVWriter::WAVWriter(std::unique_ptr<WritableFile> file) : file_(std::move(file)) {}

std::expected<void, std::string> WAVWriter::writeHeader() {
    if (isHeaderWritten_) return {};
    std::array<std::byte, headerSize> header{};
    putText(header, 0, "RIFF");
    putLittleEndian(header, 4, 0, 4);
    putText(header, 8, "WAVE");
    putText(header, 12, "fmt ");
    putLittleEndian(header, 16, 16, 4);
    putLittleEndian(header, 20, 1, 2);  // PCM
    putLittleEndian(header, 22, channels, 2);
    putLittleEndian(header, 24, sampleRate, 4);
    putLittleEndian(header, 28, sampleRate * channels * bitsPerSample / 8, 4);
    putLittleEndian(header, 32, channels * bitsPerSample / 8, 2);
    putLittleEndian(header, 34, bitsPerSample, 2);
    putText(header, 36, "data");
    putLittleEndian(header, 40, 0, 4);
    auto written = file_->write(header);
    if (!written) return written;
    isHeaderWritten_ = true;
    return {};
}

std::expected<void, std::string> WAVWriter::write(std::span<const std::byte> block) {
    if (auto header = writeHeader(); !header) return header;
    if (auto written = file_->write(block); !written) return written;
    dataSize_ += block.size();
    return {};
}

std::expected<void, std::string> WAVWriter::finalize() {
    if (!isHeaderWritten_) return {};
    const std::uint64_t riffSize = dataSize_ + 36;
    if (riffSize > std::numeric_limits<std::uint32_t>::max()) {
        std::fputs("WAV chunk too large for its header\n", stderr);
        std::abort();
    }
    if (auto moved = file_->seek(4); !moved) return moved;
    if (auto written = file_->write(littleEndian32(static_cast<std::uint32_t>(riffSize))); !written) return written;
    if (auto moved = file_->seek(40); !moved) return moved;
    if (auto written = file_->write(littleEndian32(static_cast<std::uint32_t>(dataSize_))); !written) return written;
    return file_->close();
}

}  // namespace quillon
