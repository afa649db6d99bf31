#pragma once

#include <algorithm>
#include <string>
#include <vector>

#include "core/ports/TranscriptWindows.h"
#include "fakes/CallJournal.h"

namespace quillon::testing {

// Transcript windows that show what they are given in the journal, as "window<n>.<what>" for the
// n-th job.
class FakeTranscriptWindows final : public quillon::TranscriptWindows {
public:
    quillon::Uuid showTranscriptionProgress(const std::filesystem::path& source) override {
        note(journal, "window" + std::to_string(jobs.size()) + ".progress(" + source.string() + ")");
        return jobs.emplace_back(quillon::Uuid::random());
    }
    bool showTranscript(const quillon::Uuid& job, const std::string& transcript, const std::string& sourceName) override {
        return show(job, "transcript(" + sourceName + ": " + transcript + ")");
    }
    bool showFailure(const quillon::Uuid& job, const std::string& message, const std::string& sourceName) override {
        return show(job, "failure(" + sourceName + ": " + message + ")");
    }

    std::vector<quillon::Uuid> jobs;
    CallJournal* journal = nullptr;

private:
    bool show(const quillon::Uuid& job, const std::string& shown) {
        const auto found = std::ranges::find(jobs, job);
        if (found == jobs.end()) return false;
        note(journal, "window" + std::to_string(found - jobs.begin()) + "." + shown);
        return true;
    }
};

}  // namespace quillon::testing
