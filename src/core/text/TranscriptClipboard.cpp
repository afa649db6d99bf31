#include "core/text/TranscriptClipboard.h"

#include <string>

#include "core/base/Unicode.h"

namespace quillon {

bool copyTranscriptToClipboard(Pasteboard& pasteboard, std::string_view text, const Logger& logger) {
    const std::string trimmed(unicode::trimmed(text));
    if (trimmed.empty()) return false;
    pasteboard.clear();
    if (!pasteboard.setString(trimmed)) {
        logger.error("Could not put the transcription on the clipboard");
        return false;
    }
    logger.info("Copied transcription to clipboard");
    return true;
}

}  // namespace quillon
