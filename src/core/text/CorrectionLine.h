#pragma once

#include <optional>
#include <string_view>
#include <utility>

namespace quillon {

// The two sides of a correction line, untrimmed: split at "->" if the line has one (a "→" is then
// plain text), otherwise at "→". Absent unless the separator occurs exactly once.
std::optional<std::pair<std::string_view, std::string_view>> splitCorrectionLine(std::string_view line);

}  // namespace quillon
