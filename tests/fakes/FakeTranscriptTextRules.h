#pragma once

#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "core/transcription/TranscriptTextRules.h"

namespace quillon::testing {

// Text rules with the clean-up of the real ones (white-space runs become one blank, ends trimmed)
// and plain, case-sensitive replacements in place of the user's corrections.
class FakeTranscriptTextRules final : public TranscriptTextRules {
public:
    std::vector<std::pair<std::string, std::string>> corrections;
    std::vector<std::string> glossary;

    std::string normalize(std::string_view text) const override {
        std::istringstream in{std::string(text)};
        std::string out;
        for (std::string word; in >> word;) out += (out.empty() ? "" : " ") + word;
        for (const auto& [from, to] : corrections) {
            for (auto at = out.find(from); at != std::string::npos; at = out.find(from, at + to.size())) {
                out.replace(at, from.size(), to);
            }
        }
        return out;
    }
    AnalysisContext analysisContext() const override {
        AnalysisContext context;
        if (!glossary.empty()) context.contextualStrings[AnalysisContext::generalTag] = glossary;
        return context;
    }
};

}  // namespace quillon::testing
