// Fuzzes what the Codex child can say to the client: the framing of its standard output into lines
// and the handling of each line, with requests and turns waiting, then a time-out round and the
// child's end. Bytes 0x01 in the input cut it into separate reads.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "core/base/ManualScheduler.h"
#include "core/codex/CodexAppServerClient.h"
#include "fakes/FakeCodexAppServer.h"
#include "fakes/FakeHostEnvironment.h"

namespace {

using namespace quillon;

// Every completion must run at most once.
template <class T>
CodexCompletion<T> once(int& calls) {
    return [&calls](CodexResult<T>) {
        if (++calls > 1) std::abort();
    };
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    ManualScheduler scheduler;
    testing::FakeHostEnvironment host;
    host.vars = {{"HOME", "/nonexistent"}, {"PATH", "/usr/bin"}};
    host.executables = {"/usr/bin/codex"};
    testing::FakeCodexAppServer server;
    server.answeringHandshake();
    server.on("turn/start", [](testing::FakeCodexAppServer& fake, const Json& message) {
        // Both turns get the same id: a child that does so must not leave anybody waiting.
        fake.reply(message["id"], Json{{"turn", {{"id", "t"}}}});
    });

    auto client = *CodexAppServerClient::make({scheduler, server.factory(), host});
    int started = 0, account = 0, summary = 0, cleaned = 0, login = 0;
    client->start(once<void>(started));
    scheduler.runUntilIdle();
    client->accountType(false, once<std::optional<std::string>>(account));
    client->updateSummary("thread", "delta", "", std::nullopt, once<std::string>(summary));
    client->cleanTranscript("thread", "text", "", once<std::string>(cleaned));
    client->beginChatGPTLogin(once<std::string>(login));
    scheduler.runUntilIdle();

    std::string_view input(reinterpret_cast<const char*>(data), size);
    while (!input.empty()) {
        const auto cut = input.find('\x01');
        server.emitBytes(std::string(input.substr(0, cut)));
        scheduler.runUntilIdle();
        if (cut == std::string_view::npos) break;
        input.remove_prefix(cut + 1);
    }
    server.emitError(std::string(reinterpret_cast<const char*>(data), size));
    scheduler.advance(std::chrono::seconds(200));
    server.exit();
    scheduler.runUntilIdle();
    if (account != 1 || summary != 1 || cleaned != 1 || login != 1) std::abort();  // nobody is left waiting
    return 0;
}
