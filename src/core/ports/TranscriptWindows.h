#pragma once

#include <filesystem>
#include <string>

#include "core/base/Uuid.h"

namespace quillon {

// The windows that show the transcript of one file each. A window may be closed by the user
// before its job ends; results for it are then dropped. Main thread only.
class TranscriptWindows {
public:
    virtual ~TranscriptWindows() = default;

    // Opens a window in progress for `source` and gives the ID of its job.
    virtual Uuid showTranscriptionProgress(const std::filesystem::path& source) = 0;

    // Shows the result in the job's window; false when that window is gone.
    virtual bool showTranscript(const Uuid& job, const std::string& transcript, const std::string& sourceName) = 0;
    virtual bool showFailure(const Uuid& job, const std::string& message, const std::string& sourceName) = 0;
};

}  // namespace quillon
