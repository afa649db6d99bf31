#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quillon {

// One automatic correction, "source -> replacement" or "source → replacement", both sides
// trimmed and non-empty.
struct GlossaryCorrection {
    std::string source;
    std::string replacement;

    static std::optional<GlossaryCorrection> parse(std::string_view line);
    bool operator==(const GlossaryCorrection&) const = default;
};

// Splits a glossary or corrections setting into its non-empty lines (every line-break character).
std::vector<std::string_view> splitSettingLines(std::string_view text);

}  // namespace quillon
