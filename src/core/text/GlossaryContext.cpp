#include "core/text/GlossaryContext.h"

#include "core/base/Unicode.h"
#include "core/text/GlossaryCorrection.h"

namespace quillon {

AnalysisContext analysisContext(const std::string& glossary) {
    AnalysisContext context;
    std::vector<std::string> terms;
    for (std::string_view line : splitSettingLines(glossary)) {
        const std::string_view term = unicode::trimmed(line);
        if (!term.empty()) terms.emplace_back(term);
    }
    if (!terms.empty()) context.contextualStrings[AnalysisContext::generalTag] = std::move(terms);
    return context;
}

}  // namespace quillon
