// How fast the client cuts the child's output into lines: 100,000 small messages in pipe-sized reads.
#include <benchmark/benchmark.h>

#include "core/codex/JsonLineBuffer.h"

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

void FramingOfSmallMessages(benchmark::State& state) {
    const std::string stream = smallMessages();
    JsonLineBuffer buffer;
    std::size_t lines = 0;
    for (auto _ : state) {
        for (std::size_t at = 0; at < stream.size(); at += pipeRead) {
            buffer.append(std::string_view(stream).substr(at, pipeRead), [&](std::string_view) { ++lines; });
        }
    }
    benchmark::DoNotOptimize(lines);
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * messages));
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * stream.size()));
}
BENCHMARK(FramingOfSmallMessages)->Unit(benchmark::kMillisecond);

}  // namespace
