#pragma once

#include "core/ports/AudioFileWriter.h"

namespace quillon {

// AAC files through FFmpeg: the native "aac" encoder at 96 kbit/s in an MPEG-4 audio container
// (the "ipod" muxer, .m4a), from 48000 Hz mono 16-bit samples. The file is created 0600 without
// following a link; destroying the writer encodes the last partial frame and writes the index, so
// the file's duration is that of the samples written, also when the stream ended abruptly.
//
// Threads: a writer belongs to one thread at a time (the recorder's queue).
class AudioFileWriterFFmpeg final : public AudioFileWriterFactory {
public:
    std::expected<std::unique_ptr<AudioFileWriter>, std::string> open(const std::filesystem::path& path) override;
};

}  // namespace quillon
