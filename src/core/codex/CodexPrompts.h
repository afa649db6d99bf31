#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

#include "core/base/Json.h"

namespace quillon {

// Every fixed value that goes to Codex: the model, the restrictions of threads and turns, the
// instructions of the two kinds of thread and the prompts of the two kinds of turn. The model and
// the service names are those of an outside service and may go stale; they live here only.
class CodexPrompts {
public:
    static constexpr std::string_view model = "gpt-5.6-luna";
    static constexpr std::string_view reasoningEffort = "low";
    static constexpr std::string_view approvalPolicy = "never";
    static constexpr std::string_view threadSandbox = "read-only";
    static constexpr std::string_view summaryServiceName = "quillon_live_summary";
    static constexpr std::string_view cleanupServiceName = "quillon_transcript_cleanup";
    static constexpr std::string_view summaryOperation = "updating the summary";
    static constexpr std::string_view cleanupOperation = "cleaning the transcript";
    static constexpr std::string_view summaryField = "markdown";
    static constexpr std::string_view cleanupField = "transcript";

    static constexpr std::chrono::seconds requestTimeout{20};
    static constexpr std::chrono::seconds turnTimeout{90};

    static const std::string& summaryBaseInstructions();
    static const std::string& cleanupBaseInstructions();

    // The prompt of a summary turn. An absent summary says the thread remembers it from its
    // preceding turn; an empty or filled one says the thread is new.
    static std::string summaryPrompt(std::string_view transcriptDelta, std::string_view additionalContext,
                                     const std::optional<std::string>& existingSummary);

    static std::string cleanupPrompt(std::string_view transcript, std::string_view additionalContext);

    // The sandbox policy object of every turn.
    static Json turnSandboxPolicy();

    // The structured output a turn must return: one required string field and nothing else.
    static Json outputSchema(std::string_view field);
};

}  // namespace quillon
