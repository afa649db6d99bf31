// How fast the client takes the child's output apart: 100,000 small messages through framing and
// dispatch, and one line of 1 MB arriving in pipe-sized reads.
#include <benchmark/benchmark.h>

#include <filesystem>

#include "core/base/ManualScheduler.h"
#include "core/codex/CodexAppServerClient.h"
#include "fakes/FakeCodexAppServer.h"
#include "fakes/FakeHostEnvironment.h"

namespace {

using namespace quillon;

constexpr std::size_t messages = 100000;
constexpr std::size_t pipeRead = 65536;

std::string smallMessages() {
    std::string stream;
    for (std::size_t i = 0; i < messages; ++i) {
        stream += R"({"method":"item/agentMessage/delta","params":{"threadId":"th","turnId":"t","itemId":"m","delta":"word )";
        stream += std::to_string(i);
        stream += "\"}}\n";
    }
    return stream;
}

struct World {
    World() {
        host.vars = {{"HOME", (std::filesystem::temp_directory_path() / "quillon-bench-home").string()},
                     {"PATH", "/usr/bin"}};
        host.executables = {"/usr/bin/codex"};
        server.answeringHandshake();
        client = *CodexAppServerClient::make({scheduler, server.factory(), host});
        client->start([](CodexResult<void>) {});
        scheduler.runUntilIdle();
    }
    void feed(const std::string& stream) {
        for (std::size_t at = 0; at < stream.size(); at += pipeRead) server.emitBytes(stream.substr(at, pipeRead));
        scheduler.runUntilIdle();
    }

    ManualScheduler scheduler;
    testing::FakeHostEnvironment host;
    testing::FakeCodexAppServer server;
    std::shared_ptr<CodexAppServerClient> client;
};

void FramingAndDispatchOfSmallMessages(benchmark::State& state) {
    const std::string stream = smallMessages();
    World world;
    for (auto _ : state) world.feed(stream);
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * messages));
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * stream.size()));
}
BENCHMARK(FramingAndDispatchOfSmallMessages)->Unit(benchmark::kMillisecond);

// A turn whose agent message is 1 MB of text, completed for a caller that waits for it.
void OneMegabyteLine(benchmark::State& state) {
    World world;
    world.server.on("turn/start", [](testing::FakeCodexAppServer& fake, const Json& message) {
        fake.reply(message["id"], Json{{"turn", {{"id", "big"}}}});
    });
    const std::string reply = Json{{"markdown", std::string(1 << 20, 'x')}}.dump();
    const std::string line =
        Json{{"method", "turn/completed"},
             {"params", {{"turn", {{"id", "big"}, {"items", {{{"type", "agentMessage"}, {"text", reply}}}}}}}}}.dump() + "\n";
    std::size_t received = 0;
    for (auto _ : state) {
        state.PauseTiming();
        world.client->updateSummary("th", "d", "", std::nullopt, [&](CodexResult<std::string> result) {
            received = result ? result->size() : 0;
        });
        world.scheduler.runUntilIdle();
        state.ResumeTiming();
        world.feed(line);
    }
    if (received != (1u << 20)) state.SkipWithError("the summary did not come through");
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * line.size()));
}
BENCHMARK(OneMegabyteLine)->Unit(benchmark::kMillisecond);

}  // namespace
