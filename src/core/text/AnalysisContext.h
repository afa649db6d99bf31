#pragma once

#include <map>
#include <string>
#include <vector>

namespace quillon {

// Hints for the recogniser: contextual strings by tag; "general" holds the glossary's terms.
struct AnalysisContext {
    static constexpr const char* generalTag = "general";
    std::map<std::string, std::vector<std::string>> contextualStrings;
};

// The context built from a glossary setting: trimmed non-empty lines, in order, not deduplicated.
AnalysisContext analysisContext(const std::string& glossary);

}  // namespace quillon
