#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <future>
#include <map>
#include <string>
#include <vector>

#include "core/codex/CodexAppServerClient.h"
#include "platform/linux/base/SerialQueue.h"
#include "platform/linux/process/ChildProcessPosix.h"
#include "platform/linux/process/HostEnvironmentPosix.h"

namespace quillon::testing {

// The real environment with chosen variables, where only executables below the given folders
// count, so a Codex installed on the machine never stands in for the one under test.
class IsolatedHost final : public HostEnvironment {
public:
    std::map<std::string, std::string> variables() const override { return vars; }
    bool isExecutableFile(const std::string& path) const override {
        for (const auto& folder : allowed) {
            if (path.starts_with(folder)) return HostEnvironmentPosix().isExecutableFile(path);
        }
        return false;
    }

    std::map<std::string, std::string> vars;
    std::vector<std::string> allowed;
};

// A fresh folder for one test, removed afterwards, under `base` (the temporary folder by default).
struct TestFolder {
    explicit TestFolder(std::filesystem::path base = ::testing::TempDir()) {
        const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
        path = base /
               (std::string("quillon-codex-") + info->test_suite_name() + "-" + info->name());
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
        std::filesystem::create_directories(path);
    }
    // A child that is still shutting down may write while the folder goes; what it leaves is
    // removed by the next run.
    ~TestFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
    std::filesystem::path path;
};

// Calls `operation` with a completion and waits for it (the event, not a clock; the limit only
// keeps a broken build from hanging).
template <class T, class Operation>
CodexResult<T> await(Operation operation, std::chrono::seconds limit = std::chrono::seconds(120)) {
    auto promise = std::make_shared<std::promise<CodexResult<T>>>();
    auto future = promise->get_future();
    operation([promise](CodexResult<T> result) { promise->set_value(std::move(result)); });
    if (future.wait_for(limit) != std::future_status::ready) {
        ADD_FAILURE() << "no answer within " << limit.count() << " s";
        return std::unexpected(CodexFailure::system("no answer"));
    }
    return future.get();
}

// Waits until everything posted to `queue` so far has run.
inline void drain(Scheduler& queue) {
    std::promise<void> done;
    queue.post([&] { done.set_value(); });
    done.get_future().wait();
}

inline std::string failureText(const auto& result) { return result ? "(success)" : result.error().description(); }

}  // namespace quillon::testing
