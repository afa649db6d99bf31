#pragma once

#include <string>

#include "core/ports/AnalysisContext.h"

namespace quillon {

// The context built from a glossary setting: trimmed non-empty lines, in order, not deduplicated.
AnalysisContext analysisContext(const std::string& glossary);

}  // namespace quillon
