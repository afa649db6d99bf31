#pragma once

#include <cstdint>
#include <filesystem>
#include <mutex>
#include <string>
#include <string_view>

#include "core/base/Uuid.h"
#include "core/ports/TemporaryFiles.h"
#include "core/ports/WallClock.h"

namespace quillon {

// A plain text log of file transcriptions, kept apart from the program's log so that the text of
// a run can be read afterwards. It holds transcripts, so it lives among the private temporary
// files, readable by the user alone. Each record is one line:
//   [2026-11-22T04:39:41Z] [6F9619FF-8B86-4011-B42D-00CF4FC964FF] message
// The file is capped: once a record takes it past `capacity` bytes, the oldest records are dropped
// until it is down to three quarters of it.
//
// Threads: append() may be called from several transcriptions at once; mutex_ serialises whole
// records, so lines of concurrent runs never mix. It is held for one record (and a trim) only.
class TranscriptionDiagnostics {
public:
    static constexpr std::string_view fileName = "Quillon-transcription-diagnostics.log";
    static constexpr std::uintmax_t defaultCapacity = 1024 * 1024;

    TranscriptionDiagnostics(TemporaryFiles& files, const WallClock& clock, std::uintmax_t capacity = defaultCapacity);

    // Appends one record, creating the file when it is missing. Never throws and never reports:
    // a record that cannot be written is lost, and the transcription goes on.
    void append(const Uuid& runID, std::string_view message) noexcept;

    std::filesystem::path filePath() const { return files_.directory() / fileName; }

    // `text` quoted and escaped as a JSON string, so that a path or a transcript with line breaks
    // or quotes keeps its record on one line: "BEGIN file=" + quoted(path).
    static std::string quoted(std::string_view text);

private:
    void trim();

    TemporaryFiles& files_;
    const WallClock& clock_;
    std::uintmax_t capacity_;
    std::mutex mutex_;
};

}  // namespace quillon
