#pragma once

#include <vector>

#include "core/ports/BackgroundJobs.h"

namespace quillon::testing {

// Keeps started jobs until the test runs them, in any order it likes.
class FakeBackgroundJobs final : public BackgroundJobs {
public:
    std::vector<Task> jobs;

    void start(Task job) override { jobs.push_back(std::move(job)); }

    // Runs every waiting job, the newest first: nothing may depend on the order of starts.
    void runAll() {
        while (!jobs.empty()) {
            auto job = std::move(jobs.back());
            jobs.pop_back();
            job();
        }
    }
};

}  // namespace quillon::testing
