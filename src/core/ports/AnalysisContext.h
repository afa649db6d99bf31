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

}  // namespace quillon
