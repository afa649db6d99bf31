#include "core/text/GlossaryCorrectionEntry.h"

#include "core/base/Unicode.h"
#include "core/text/CorrectionLine.h"
#include "core/text/GlossaryCorrection.h"

namespace quillon {

std::vector<GlossaryCorrectionEntry> GlossaryCorrectionEntry::parse(std::string_view text) {
    std::vector<GlossaryCorrectionEntry> rows;
    for (std::string_view line : splitSettingLines(text)) {
        auto sides = splitCorrectionLine(line);
        if (!sides) continue;
        rows.push_back({Uuid::random(), std::string(unicode::trimmed(sides->first)),
                        std::string(unicode::trimmed(sides->second))});
    }
    if (rows.empty()) rows.push_back({Uuid::random(), {}, {}});
    return rows;
}

std::string GlossaryCorrectionEntry::serialize(const std::vector<GlossaryCorrectionEntry>& rows) {
    std::string text;
    for (const auto& row : rows) {
        const std::string_view source = unicode::trimmed(row.source);
        const std::string_view replacement = unicode::trimmed(row.replacement);
        if (source.empty() || replacement.empty()) continue;
        if (!text.empty()) text.push_back('\n');
        text.append(source).append(" → ").append(replacement);
    }
    return text;
}

}  // namespace quillon
