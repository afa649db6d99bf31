#pragma once

#include <string_view>

#include "core/logging/Logger.h"
#include "core/ports/Pasteboard.h"

namespace quillon {

// Replaces the clipboard's contents with `text`, trimmed. False, with the clipboard untouched, when
// nothing is left after trimming; false and logged when the clipboard refuses it.
bool copyTranscriptToClipboard(Pasteboard& pasteboard, std::string_view text, const Logger& logger);

}  // namespace quillon
