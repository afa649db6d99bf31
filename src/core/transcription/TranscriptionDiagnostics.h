#pragma once

#include <filesystem>
#include <mutex>
#include <string>
#include <string_view>

#include "core/base/Uuid.h"
#include "core/ports/WallClock.h"

namespace quillon {

// A plain text log of file transcriptions, kept apart from the program's log so that the text of
// a run can be read afterwards. Each record is one line:
//   [2026-11-22T04:39:41Z] [6F9619FF-8B86-4011-B42D-00CF4FC964FF] message
// The file grows without limit; the system's clean-up of its temporary directory is its only end.
//
// Threads: append() may be called from several transcriptions at once; mutex_ serialises whole
// records, so lines of concurrent runs never mix. It is held for one record only.
class TranscriptionDiagnostics {
public:
    static constexpr std::string_view fileName = "Quillon-transcription-diagnostics.log";

    // Records go to fileName inside `directory` (the system's temporary directory in production).
    TranscriptionDiagnostics(const std::filesystem::path& directory, const WallClock& clock);

    // Appends one record, creating the file when it is missing. Never throws and never reports:
    // a record that cannot be written is lost, and the transcription goes on.
    void append(const Uuid& runID, std::string_view message) noexcept;

    const std::filesystem::path& filePath() const { return filePath_; }

    // `text` quoted and escaped as a JSON string, so that a path or a transcript with line breaks
    // or quotes keeps its record on one line: "BEGIN file=" + quoted(path).
    static std::string quoted(std::string_view text);

private:
    std::filesystem::path filePath_;
    const WallClock& clock_;
    std::mutex mutex_;
};

}  // namespace quillon
