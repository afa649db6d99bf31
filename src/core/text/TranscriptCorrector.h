#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <string_view>

#include "core/logging/Logger.h"
#include "core/settings/SettingsManager.h"

namespace quillon {

// Applies the user's corrections to recognised text. The setting is read at every call, so an
// edit applies to the very next result; compiled rules are cached by the setting's text.
// Safe from any thread.
class TranscriptCorrector {
public:
    TranscriptCorrector(const SettingsManager& settings, Logger logger);
    ~TranscriptCorrector();

    // Each correction in order, on the output of the previous one: case-insensitive, whole
    // words only (no letter or digit on either side), the replacement used as a "$n" template.
    std::string applyingCorrections(std::string_view text) const;

    // White-space runs become one blank, the ends are trimmed, then the corrections apply.
    std::string normalize(std::string_view text) const;

private:
    struct CompiledRules;
    std::shared_ptr<const CompiledRules> rules(const std::string& setting) const;

    const SettingsManager& settings_;
    Logger logger_;
    mutable std::mutex mutex_;
    mutable std::shared_ptr<const CompiledRules> cached_;
};

}  // namespace quillon
