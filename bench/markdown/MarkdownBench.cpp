// Drawing a long running summary: 20 kB of Markdown with headings, lists, task lists, a table,
// code and links, rendered into a fresh document, as the sidebar does on every summary update.
#include <benchmark/benchmark.h>

#include <QApplication>
#include <QTextDocument>

#include <cstdlib>
#include <string>

#include "ui/markdown/MarkdownDocumentBuilder.h"
#include "ui/markdown/MarkdownImageCache.h"

namespace quillon {
namespace {

std::string summaryOf(std::size_t bytes) {
    std::string section =
        "## Decisions\n\nThe team agreed to **ship the beta** on *Friday* after the `release` branch is cut; "
        "see "
        "[the plan](https://example.com/plan).\n\n"
        "- Alice owns the installer\n- Bob checks ~~the old~~ the new crash reports\n  - nightly builds "
        "first\n\n"
        "### Action items\n\n- [ ] write release notes\n- [x] freeze strings\n\n"
        "| Owner | Task | Due |\n|:--|:--|--:|\n| Alice | installer | Thu |\n| Bob | crashes | Fri |\n\n"
        "> Keep the scope small; anything new waits for the next cycle.\n\n"
        "```\nmake release VERSION=1.2\n```\n\n---\n\n";
    std::string markdown = "# Meeting summary\n\n";
    while (markdown.size() < bytes) markdown += section;
    return markdown;
}

void renderSummary(benchmark::State& state) {
    const std::string markdown = summaryOf(static_cast<std::size_t>(state.range(0)));
    const MarkdownTheme theme = MarkdownTheme::fromApplication();
    MarkdownImageCache images;
    for (auto _ : state) {
        QTextDocument document;
        MarkdownDocumentBuilder(theme, images).render(markdown, document);
        benchmark::DoNotOptimize(document.blockCount());
    }
    state.SetLabel(std::to_string(markdown.size()) + " bytes");
}
BENCHMARK(renderSummary)->Arg(20'000)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace quillon

int main(int argc, char** argv) {
    setenv("QT_QPA_PLATFORM", "offscreen", 0);
    QApplication application(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
