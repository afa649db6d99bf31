#include "core/text/CorrectionLine.h"

namespace quillon {

std::optional<std::pair<std::string_view, std::string_view>> splitCorrectionLine(std::string_view line) {
    constexpr std::string_view ascii = "->";
    constexpr std::string_view arrow = "→";
    const std::string_view separator = line.find(ascii) != std::string_view::npos ? ascii : arrow;
    const std::size_t first = line.find(separator);
    if (first == std::string_view::npos) return std::nullopt;
    const std::size_t afterFirst = first + separator.size();
    if (line.find(separator, afterFirst) != std::string_view::npos) return std::nullopt;
    return std::pair{line.substr(0, first), line.substr(afterFirst)};
}

}  // namespace quillon
