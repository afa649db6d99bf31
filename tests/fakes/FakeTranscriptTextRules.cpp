#include "fakes/FakeTranscriptTextRules.h"

#include <cctype>

namespace quillon::testing {

void FakeTranscriptTextRules::setCorrections(std::vector<std::pair<std::string, std::string>> corrections) {
    std::lock_guard lock(mutex_);
    corrections_ = std::move(corrections);
}

void FakeTranscriptTextRules::setGlossary(std::vector<std::string> terms) {
    std::lock_guard lock(mutex_);
    glossary_ = std::move(terms);
}

std::string FakeTranscriptTextRules::normalize(std::string_view text) const {
    std::string collapsed;
    bool pendingBlank = false;
    for (const char c : text) {
        if (std::isspace(static_cast<unsigned char>(c))) {
            pendingBlank = !collapsed.empty();
            continue;
        }
        if (pendingBlank) collapsed += ' ';
        pendingBlank = false;
        collapsed += c;
    }
    std::lock_guard lock(mutex_);
    for (const auto& [source, replacement] : corrections_) {
        for (auto at = collapsed.find(source); at != std::string::npos;
             at = collapsed.find(source, at + replacement.size())) {
            collapsed.replace(at, source.size(), replacement);
        }
    }
    return collapsed;
}

quillon::AnalysisContext FakeTranscriptTextRules::analysisContext() const {
    std::lock_guard lock(mutex_);
    quillon::AnalysisContext context;
    if (!glossary_.empty()) context.contextualStrings[quillon::AnalysisContext::generalTag] = glossary_;
    return context;
}

}  // namespace quillon::testing
