#pragma once

#include <string>
#include <string_view>

namespace quillon {

// Carries the user's edits of the live transcript over to the recogniser's next committed text.
//
// `oldSource` is what the recogniser last reported, `displayed` is what the user sees (the same
// text with the user's edits), and `newSource` is the recogniser's new report. Their difference is
// one edited region, from the first changed character to the last. When the recogniser kept
// everything up to the end of that region, the result is the new report with the region replaced
// by the user's version; otherwise the recogniser rewrote text under the edit, there is no safe
// place for it, and the new report wins. Characters are grapheme clusters; the work is linear in
// the bytes compared, so a long transcript with an edit near its end costs little.
std::string mergingUserEdits(std::string_view oldSource, std::string_view displayed,
                             std::string_view newSource);

}  // namespace quillon
