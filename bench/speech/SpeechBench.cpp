// Accuracy and speed of on-device speech, printed as figures, on an evaluation set made from what
// Debian ships (make-evaluation-set: librivox recordings, flite and espeak-ng voices, the same with
// noise and room echo), side by side with Debian's pocketsphinx_continuous at its default settings
// in the same run:
//   per subset, the word error rate of file transcription and of the streaming session, their
//   ratio to the engine's own decoder, and the CPU real-time factor of each;
//   the glossary's effect: its terms with and without it, and a glossary of 200 terms on the rest;
//   the first file on a cold engine, finalisation latency of the streaming session, and memory of
//   1 and 10 sessions.
//
//   bench_speech [--arg NAME VALUE]...
//     --arg tries other decoder settings.
#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <functional>
#include <future>
#include <thread>

#include "EvaluationSet.h"
#include "SpeechTestFiles.h"
#include "SpeechWorld.h"
#include "common/Figures.h"
#include "core/transcription/SpeechTranscriptionSessionFactory.h"
#include "core/transcription/TranscriptionService.h"
#include "fakes/FakeWallClock.h"
#include "platform/linux/base/SerialQueue.h"
#include "platform/linux/base/BackgroundJobsThreads.h"
#include "platform/linux/base/TemporaryFilesPosix.h"
#include "platform/linux/media/MediaImportFFmpeg.h"

namespace quillon {
namespace {

using Clock = std::chrono::steady_clock;
using bench::Recording;
using bench::Subset;
using testing::ScratchDirectory;

const std::string modelDirectory = "/usr/share/pocketsphinx/model/en-us/";

double cpuSeconds(int who = RUSAGE_SELF) {
    rusage usage{};
    getrusage(who, &usage);
    return static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
           static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

// The session's text once it has finished, empty if it failed.
std::string finished(SpeechSession& session) {
    const auto text = testing::finish(session);
    return text ? *text : std::string();
}

// Hypotheses of one decoder over a subset, and the CPU seconds it spent on them (of this process,
// or of its children).
struct Pass {
    std::vector<std::string> texts;
    double cpu = 0;
};
Pass pass(const Subset& subset, const std::function<std::string(const std::filesystem::path&)>& decode,
          int who = RUSAGE_SELF) {
    Pass p;
    const double before = cpuSeconds(who);
    for (const auto& r : subset.recordings) p.texts.push_back(decode(r.file));
    p.cpu = cpuSeconds(who) - before;
    return p;
}

// Our word error rate over the engine's own: 1 when both are perfect, 99 when only the engine is.
double ratio(double ours, double reference) {
    return reference > 0 ? ours / reference : ours > 0 ? 99.0 : 1.0;
}

// A made-up glossary of `count` terms, names and phrases no dictionary has, with `first` in front.
std::vector<std::string> madeUpGlossary(std::vector<std::string> first, std::size_t count) {
    const char* starts[] = {"Bra", "Cor", "Dal", "Fen", "Gor", "Hal", "Jor", "Kel", "Lun", "Mor", "Nar", "Pel", "Quor", "Ros", "Sil", "Tam", "Vor", "Wen", "Yar", "Zel"};
    const char* ends[] = {"vath", "drin", "mosk", "tella", "wyn", "basht", "quist", "rello", "zanth", "phor"};
    std::vector<std::string> terms = std::move(first);
    for (std::size_t i = 0; terms.size() < count; ++i) {
        std::string name = std::string(starts[i % 20]) + ends[(i / 20) % 10];
        if (i % 4 == 3) name += std::string(" ") + starts[(i * 7) % 20] + ends[(i * 3) % 10];
        terms.push_back(name);
    }
    return terms;
}

int run(PocketSphinxDecoderPool::Tuning tuning) {
    std::setvbuf(stdout, nullptr, _IOLBF, 0);  // each figure as soon as it is known
    ScratchDirectory scratch;
    const auto set = scratch / "evaluation";
    testing::make({QUILLON_EVALUATION_SET_SCRIPT, set.string()});
    const auto subsets = bench::loadSubsets(set, {"librivox", "flite", "espeak", "noisy-light", "noisy-heavy"});
    const auto glossarySet = bench::loadSubsets(set, {"glossary"}).front();
    double load = 0;
    getloadavg(&load, 1);
    std::printf("Machine: %u hardware threads, load average %.2f at the start\n",
                std::thread::hardware_concurrency(), load);
    std::printf("Model: %s (pocketsphinx-en-us); endpointer silence window %d ms; decoder settings:",
                modelDirectory.c_str(), PocketSphinxDecoderPool::endpointSilenceFrames * 10);
    if (tuning.decoderArguments.empty()) std::printf(" the engine's defaults");
    for (const auto& [name, value] : tuning.decoderArguments) std::printf(" %s %s", name.c_str(), value.c_str());
    std::printf("\n\n");

    // Debian's own decoder, one process per file with the same model and its default settings; its
    // cost of loading the model, measured on a tenth of a second, is taken off its figure.
    const auto engineDecode = [](const std::filesystem::path& file) {
        return testing::referenceDecode(file).out;
    };
    const auto blip = scratch / "blip.wav";
    testing::make({"sox", "-n", "-r", "16000", "-c", "1", "-b", "16", blip.string(), "trim", "0", "0.1"});
    const Recording once{"blip", blip, {}, 0.1};
    const Subset blips{"blip", {once, once, once}};
    const double loadCpu = pass(blips, engineDecode, RUSAGE_CHILDREN).cpu / 3;

    testing::SpeechWorld world(PocketSphinxDecoderPool::ModelPaths::debianEnglish(), "en_US", tuning);
    testing::FakeWallClock clock;
    TemporaryFilesPosix temporaryFiles(scratch.path().string(), scratch.path(), world.log.logger(LogCategory::transcription));
    MediaImportFFmpeg media(temporaryFiles, world.log.logger(LogCategory::transcription));
    TranscriptionDiagnostics diagnostics(temporaryFiles, clock);
    BackgroundJobsThreads fileJobs;
    TranscriptionService service(world.support, media, diagnostics, fileJobs, world.log.logger(LogCategory::transcription));
    SerialQueue sessionWorker("bench-session");
    SpeechTranscriptionSessionFactory factory(world.support, world.converters, {&sessionWorker});
    // Quillon's two paths on one engine: file transcription (accurate preset) and the streaming
    // session (progressive preset), fed as fast as it takes the audio, in blocks of 100 ms.
    const auto transcribe = [&](const std::filesystem::path& file) {
        std::promise<std::string> done;
        auto result = done.get_future();
        service.transcribe(file, [&](auto text) { done.set_value(text ? *text : std::string()); });
        return result.get();
    };
    const auto stream = [&](const std::filesystem::path& file) {
        testing::Transcript transcript;
        auto session = factory.makeSession(transcript.handlers());
        const auto samples = testing::readWavSamples(file);
        testing::feed(*session, samples, 0, samples.size(), 16000.0);
        return finished(*session);
    };

    const auto coldStart = Clock::now();
    transcribe(subsets.front().recordings.front().file);
    const double coldSeconds = std::chrono::duration<double>(Clock::now() - coldStart).count();
    world.engine.warmUp(TranscriberPreset::progressiveTranscription);
    while (world.engine.pool().idleCount(TranscriberPreset::progressiveTranscription) == 0) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }

    std::printf(
        "Word error rate (ratio to pocketsphinx_continuous) and CPU s per audio s; continuous's model load\n"
        "of %.2f s CPU per file is taken off its figure.\n",
        loadCpu);
    std::printf("%-12s %6s | %7s %14s %14s | %6s %6s %6s\n", "subset", "audio", "engine", "file", "streaming",
                "engine", "file", "stream");
    std::vector<std::vector<std::string>> fileTexts;
    double worstRatio = 0;
    for (const auto& subset : subsets) {
        const Pass reference = pass(subset, engineDecode, RUSAGE_CHILDREN);
        const Pass file = pass(subset, transcribe);
        const Pass streaming = pass(subset, stream);
        const double ref = bench::wordErrors(subset.recordings, reference.texts).rate();
        const double ours = bench::wordErrors(subset.recordings, file.texts).rate();
        const double streamed = bench::wordErrors(subset.recordings, streaming.texts).rate();
        worstRatio = std::max({worstRatio, ratio(ours, ref), ratio(streamed, ref)});
        const double seconds = subset.seconds();
        const double engineCpu =
            std::max(0.0, reference.cpu - loadCpu * static_cast<double>(subset.recordings.size()));
        std::printf("%-12s %5.0fs | %6.1f%% %6.1f%% (%.2f) %6.1f%% (%.2f) | %6.3f %6.3f %6.3f\n",
                    subset.name.c_str(), seconds, 100 * ref, 100 * ours, ratio(ours, ref), 100 * streamed,
                    ratio(streamed, ref), engineCpu / seconds, file.cpu / seconds, streaming.cpu / seconds);
        fileTexts.push_back(file.texts);
    }
    std::printf("Worst ratio to the engine's own decoder over the subsets: %.2f\n", worstRatio);

    // The glossary: its own sentences without and with their terms, then a glossary of 200 terms
    // (those and made-up names) over the clean subsets, against their figures above.
    std::vector<std::string> terms;
    std::ifstream termsFile(set / "glossary-terms.txt");
    for (std::string line; std::getline(termsFile, line);) terms.push_back(line);
    const auto setGlossary = [&](const std::vector<std::string>& glossary) {
        std::string text;
        for (const auto& term : glossary) text += term + "\n";
        world.setGlossary(text);
    };
    const Pass withoutGlossary = pass(glossarySet, transcribe);
    setGlossary(terms);
    const auto changed = Clock::now();
    transcribe(glossarySet.recordings.front().file);
    const double firstAfterChange = std::chrono::duration<double>(Clock::now() - changed).count();
    const Pass withGlossary = pass(glossarySet, transcribe);
    const Pass streamedWithGlossary = pass(glossarySet, stream);
    std::printf("\nGlossary of %zu terms, sentences that use them (%zu files, %.0f s): word error rate %.1f%% without it, "
                "%.1f%% with it (file), %.1f%% (streaming)\n",
                terms.size(), glossarySet.recordings.size(), glossarySet.seconds(),
                100 * bench::wordErrors(glossarySet.recordings, withoutGlossary.texts).rate(),
                100 * bench::wordErrors(glossarySet.recordings, withGlossary.texts).rate(),
                100 * bench::wordErrors(glossarySet.recordings, streamedWithGlossary.texts).rate());
    std::size_t found = 0;
    for (const auto& text : withGlossary.texts) {
        found += std::ranges::any_of(terms, [&](const auto& term) { return text.find(term) != std::string::npos; });
    }
    std::printf(
        "  files whose text has a term exactly as written: %zu of %zu; first file after the change: %.2f s "
        "wall\n",
        found, glossarySet.recordings.size(), firstAfterChange);
    const auto large = madeUpGlossary(terms, 200);
    setGlossary(large);
    std::printf("Glossary of %zu terms, file transcription of the clean subsets, word error rate without -> with:\n", large.size());
    bench::ErrorCount before, after;
    for (std::size_t s = 0; s < 3; ++s) {
        const Pass with = pass(subsets[s], transcribe);
        const auto without = bench::wordErrors(subsets[s].recordings, fileTexts[s]);
        const auto withTerms = bench::wordErrors(subsets[s].recordings, with.texts);
        before += without;
        after += withTerms;
        std::printf("  %-10s %5.1f%% -> %5.1f%% (%+.1f points), %.3f CPU s per audio s\n", subsets[s].name.c_str(),
                    100 * without.rate(), 100 * withTerms.rate(), 100 * (withTerms.rate() - without.rate()),
                    with.cpu / subsets[s].seconds());
    }
    std::printf("  %-10s %5.1f%% -> %5.1f%% (%+.1f points)\n", "together", 100 * before.rate(), 100 * after.rate(),
                100 * (after.rate() - before.rate()));
    world.setGlossary("");

    std::printf("\nFirst file on a cold engine: %.2f s wall (model load included)\n", coldSeconds);

    {
        // Finalisation latency, on the librivox subset. Each recording, its trailing silence cut off so that its last sample
        // ends the speech, then silence, goes to a session in 10 ms blocks; after each block the
        // bench waits until the session's worker has analysed it. The latency of a final result is
        // the audio fed after the last speech sample until it arrived, less the silence window,
        // plus the time the worker took for that block. It does not depend on how busy the
        // machine is, unlike feeding at the pace of a clock.
        std::vector<double> endpointMs;
        const auto settle = [&sessionWorker] {
            std::promise<void> done;
            auto settled = done.get_future();
            sessionWorker.post([&done] { done.set_value(); });
            settled.wait();
        };
        for (const auto& r : subsets.front().recordings) {
            testing::Transcript run;
            auto session = factory.makeSession(run.handlers());
            const auto trimmed = scratch / (r.id + ".trimmed.wav");
            testing::make({"sox", r.file.string(), trimmed.string(), "reverse", "silence", "1", "0.05", "1%", "reverse"});
            auto samples = testing::readWavSamples(trimmed);
            const std::size_t speechEnd = samples.size();
            samples.resize(samples.size() + 24000, 0);
            std::size_t phrasesBefore = 0;
            for (std::size_t at = 0; at < samples.size(); at += 160) {
                const std::size_t count = std::min<std::size_t>(160, samples.size() - at);
                const auto started = Clock::now();
                session->appendPCM16(std::as_bytes(std::span(samples).subspan(at, count)), 16000.0);
                settle();
                std::lock_guard lock(run.mutex);
                if (at + count > speechEnd && run.phrases.size() > phrasesBefore) {
                    const double pastEnd = static_cast<double>(at + count - speechEnd) / 16.0;
                    const double work = std::chrono::duration<double, std::milli>(Clock::now() - started).count();
                    endpointMs.push_back(pastEnd - PocketSphinxDecoderPool::endpointSilenceFrames * 10.0 + work);
                    break;
                }
                phrasesBefore = run.phrases.size();
            }
            finished(*session);
        }
        std::printf("Finalisation latency beyond the %d ms silence window, per utterance: %s\n",
                    PocketSphinxDecoderPool::endpointSilenceFrames * 10, bench::spread(endpointMs).c_str());
    }

    // Memory: each count in a fresh process, so that nothing above leaks into the figure.
    std::printf("\nPeak resident memory of a process with sessions alive at once (each prepared, fed, finished):\n");
    for (const char* count : {"0", "1", "10"}) {
        // By its path: the child is started through env(1), for which /proc/self/exe is env.
        const auto self = std::filesystem::read_symlink("/proc/self/exe").string();
        const auto result = testing::runProcess({self, "--memory-sessions", count});
        std::printf("  %2s sessions: %s", count, result.out.c_str());
    }
    return 0;
}

// Child mode: `count` sessions alive at once on a fresh engine; prints the peak resident memory.
int measureSessions(std::size_t count) {
    testing::SpeechWorld world;
    std::vector<std::unique_ptr<SerialQueue>> workers;
    std::vector<Scheduler*> pointers;
    for (std::size_t i = 0; i < std::max<std::size_t>(count, 1); ++i) {
        workers.push_back(std::make_unique<SerialQueue>("bench-memory"));
        pointers.push_back(workers.back().get());
    }
    SpeechTranscriptionSessionFactory factory(world.support, world.converters, pointers);
    std::vector<std::unique_ptr<testing::Transcript>> runs;
    std::vector<std::shared_ptr<SpeechSession>> sessions;
    const auto samples = testing::readWavSamples("/usr/share/pocketsphinx/test/data/librivox/sense_and_sensibility_01_austen_64kb-0880.wav");
    for (std::size_t i = 0; i < count; ++i) {
        runs.push_back(std::make_unique<testing::Transcript>());
        sessions.push_back(factory.makeSession(runs.back()->handlers()));
        sessions.back()->appendPCM16(std::as_bytes(std::span(samples)), 16000.0);
    }
    for (const auto& session : sessions) finished(*session);
    // The peak of this process's own memory: ru_maxrss would carry the parent's peak across exec.
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with("VmHWM:")) std::printf("%.0f MB\n", std::stod(line.substr(6)) / 1024);
    }
    return 0;
}

}  // namespace
}  // namespace quillon

int main(int argc, char** argv) {
    if (argc == 3 && std::string(argv[1]) == "--memory-sessions") {
        return quillon::measureSessions(static_cast<std::size_t>(std::stoul(argv[2])));
    }
    quillon::PocketSphinxDecoderPool::Tuning tuning;
    for (int i = 1; i < argc; i += 3) {
        if (std::string(argv[i]) != "--arg" || i + 2 >= argc) {
            std::fprintf(stderr, "usage: bench_speech [--arg NAME VALUE]...\n");
            return 2;
        }
        tuning.decoderArguments.emplace_back(argv[i + 1], argv[i + 2]);
    }
    return quillon::run(std::move(tuning));
}
