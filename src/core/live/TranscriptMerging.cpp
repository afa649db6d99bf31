#include "core/live/TranscriptMerging.h"

#include "core/base/Unicode.h"

namespace quillon {

std::string mergingUserEdits(std::string_view oldSource, std::string_view displayed,
                             std::string_view newSource) {
    if (oldSource == displayed) return std::string(newSource);

    // All offsets are bytes on grapheme boundaries, which compare the way character counts do.
    const std::size_t prefix = unicode::commonPrefixLength(oldSource, displayed);
    const std::size_t suffix = unicode::commonSuffixLength(oldSource, displayed, prefix);
    const std::size_t editEnd = oldSource.size() - suffix;
    const std::size_t kept = unicode::commonPrefixLength(oldSource, newSource);
    if (kept < editEnd) return std::string(newSource);

    std::string merged;
    merged.reserve(newSource.size() + displayed.size());
    merged.append(newSource.substr(0, prefix));
    merged.append(displayed.substr(prefix, displayed.size() - suffix - prefix));
    merged.append(newSource.substr(editEnd));
    return merged;
}

}  // namespace quillon
