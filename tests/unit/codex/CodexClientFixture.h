#pragma once

#include <gtest/gtest.h>

#include <optional>

#include "core/base/ManualScheduler.h"
#include "core/codex/CodexAppServerClient.h"
#include "fakes/FakeCodexAppServer.h"
#include "fakes/FakeHostEnvironment.h"

namespace quillon::testing {

// Keeps the last result a completion delivered.
template <class T>
struct Outcome {
    std::optional<CodexResult<T>> value;
    CodexCompletion<T> sink() {
        return [this](CodexResult<T> result) { value = std::move(result); };
    }
    bool arrived() const { return value.has_value(); }
    std::string failureText() const { return value && !*value ? (*value).error().description() : "(no failure)"; }
};

// A client on virtual time with a scripted app server behind the fake child.
class CodexClientFixture : public ::testing::Test {
protected:
    CodexClientFixture() {
        host.vars = {{"HOME", ::testing::TempDir() + "quillon-codex-unit-home"}, {"PATH", "/usr/bin:/bin"}};
        host.executables = {"/usr/bin/codex"};
        server.answeringHandshake();
    }

    // A client that has done its handshake.
    std::shared_ptr<CodexAppServerClient> startedClient() {
        auto client = *CodexAppServerClient::make({scheduler, server.factory(), host});
        Outcome<void> started;
        client->start(started.sink());
        scheduler.runUntilIdle();
        EXPECT_TRUE(started.arrived() && started.value->has_value());
        return client;
    }

    ManualScheduler scheduler;
    FakeHostEnvironment host;
    FakeCodexAppServer server;
};

}  // namespace quillon::testing
