#pragma once

#include <string>
#include <string_view>

#include "core/ports/AnalysisContext.h"

namespace quillon {

// The text rules recognised speech passes through, as the speech paths need them: the clean-up
// and corrections of one recognised string, and the recogniser's hints from the glossary.
// Both read the user's settings at the moment of the call. Safe from any thread.
class TranscriptTextRules {
public:
    virtual ~TranscriptTextRules() = default;
    virtual std::string normalize(std::string_view text) const = 0;
    virtual AnalysisContext analysisContext() const = 0;
};

}  // namespace quillon
