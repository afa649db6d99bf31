#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "core/base/Uuid.h"

namespace quillon {

// A row of the corrections editor; either side may be empty while the user types.
struct GlossaryCorrectionEntry {
    Uuid id;
    std::string source;
    std::string replacement;

    // Never empty: with no correction lines, one blank row to type in.
    static std::vector<GlossaryCorrectionEntry> parse(std::string_view text);

    // The setting's text for `rows`: complete rows only, as "source → replacement", one a line.
    static std::string serialize(const std::vector<GlossaryCorrectionEntry>& rows);
};

}  // namespace quillon
