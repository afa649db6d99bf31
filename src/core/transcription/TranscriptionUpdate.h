#pragma once

#include <string>

namespace quillon {

// Progress of one speech session: committed text only grows at its end; provisional text is
// the latest volatile hypothesis after it, replaced wholesale.
struct TranscriptionUpdate {
    std::string committedText;
    std::string provisionalText;
    bool isProcessing = true;

    bool operator==(const TranscriptionUpdate&) const = default;
};

}  // namespace quillon
