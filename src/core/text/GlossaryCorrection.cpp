#include "core/text/GlossaryCorrection.h"

#include "core/base/Unicode.h"
#include "core/text/CorrectionLine.h"

namespace quillon {

namespace {

// The length in bytes of the line break starting at `index`, or 0: U+000A to U+000D, U+0085,
// U+2028 and U+2029. CR LF counts as two breaks with nothing between, which comes to the same.
std::size_t lineBreakLength(std::string_view text, std::size_t index) {
    const auto byte = static_cast<unsigned char>(text[index]);
    if (byte >= 0x0A && byte <= 0x0D) return 1;
    if (byte == 0xC2 && index + 1 < text.size() && static_cast<unsigned char>(text[index + 1]) == 0x85) return 2;
    if (byte == 0xE2 && index + 2 < text.size() && static_cast<unsigned char>(text[index + 1]) == 0x80) {
        const auto last = static_cast<unsigned char>(text[index + 2]);
        if (last == 0xA8 || last == 0xA9) return 3;
    }
    return 0;
}

}  // namespace

std::vector<std::string_view> splitSettingLines(std::string_view text) {
    std::vector<std::string_view> lines;
    std::size_t lineStart = 0;
    for (std::size_t i = 0; i < text.size();) {
        const std::size_t breakLength = lineBreakLength(text, i);
        if (breakLength == 0) {
            ++i;
            continue;
        }
        if (i > lineStart) lines.push_back(text.substr(lineStart, i - lineStart));
        i += breakLength;
        lineStart = i;
    }
    if (lineStart < text.size()) lines.push_back(text.substr(lineStart));
    return lines;
}

std::optional<GlossaryCorrection> GlossaryCorrection::parse(std::string_view line) {
    auto sides = splitCorrectionLine(line);
    if (!sides) return std::nullopt;
    const std::string_view source = unicode::trimmed(sides->first);
    const std::string_view replacement = unicode::trimmed(sides->second);
    if (source.empty() || replacement.empty()) return std::nullopt;
    return GlossaryCorrection{std::string(source), std::string(replacement)};
}

}  // namespace quillon
