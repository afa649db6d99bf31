// Speed and accuracy of on-device speech, printed as figures, on Debian's reference recordings
// (package pocketsphinx-testdata) side by side with Debian's pocketsphinx_continuous:
//   word error rate of file transcription and of the streaming session,
//   real-time factor of file transcription (CPU seconds per audio second),
//   finalisation latency of the streaming session, session start-up, and memory of 1 and 10 sessions.
//
//   bench_speech [--show]   (--show prints every hypothesis)
#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <future>
#include <numeric>
#include <regex>
#include <sstream>
#include <thread>

#include "SpeechTestFiles.h"
#include "SpeechWorld.h"
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
using testing::ScratchDirectory;

const std::string dataDirectory = "/usr/share/pocketsphinx/test/data/librivox/";
const std::string modelDirectory = "/usr/share/pocketsphinx/model/en-us/";

struct Recording {
    std::string id;
    std::filesystem::path file;     // as shipped
    std::filesystem::path trimmed;  // trailing silence removed, so its last sample ends the speech
    std::vector<std::string> reference;
    double seconds = 0;
};

std::vector<std::string> words(const std::string& text) {
    std::istringstream in(text);
    std::vector<std::string> out;
    for (std::string word; in >> word;) {
        std::ranges::transform(word, word.begin(), [](unsigned char c) { return std::tolower(c); });
        out.push_back(word);
    }
    return out;
}

std::size_t editDistance(const std::vector<std::string>& a, const std::vector<std::string>& b) {
    std::vector<std::size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), 0);
    for (std::size_t i = 1; i <= a.size(); ++i) {
        std::size_t diagonal = row[0];
        row[0] = i;
        for (std::size_t j = 1; j <= b.size(); ++j) {
            const std::size_t above = row[j];
            row[j] = std::min({row[j] + 1, row[j - 1] + 1, diagonal + (a[i - 1] == b[j - 1] ? 0 : 1)});
            diagonal = above;
        }
    }
    return row[b.size()];
}

double wordErrorRate(const std::vector<Recording>& recordings, const std::vector<std::string>& hypotheses) {
    std::size_t errors = 0;
    std::size_t total = 0;
    for (std::size_t i = 0; i < recordings.size(); ++i) {
        errors += editDistance(recordings[i].reference, words(hypotheses[i]));
        total += recordings[i].reference.size();
    }
    return total ? static_cast<double>(errors) / static_cast<double>(total) : 0.0;
}

double cpuSeconds() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
           static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

// "median M ms, max X ms" of the values, with the given number of decimals.
std::string medianAndMax(std::vector<double> values, int decimals) {
    std::ranges::sort(values);
    const std::size_t mid = values.size() / 2;
    const double median = values.empty() ? 0 : values.size() % 2 ? values[mid] : (values[mid - 1] + values[mid]) / 2;
    char text[96];
    std::snprintf(text, sizeof text, "median %.*f ms, max %.*f ms", decimals, median, decimals,
                  values.empty() ? 0.0 : values.back());
    return text;
}

std::vector<Recording> loadRecordings(const ScratchDirectory& scratch) {
    std::vector<Recording> recordings;
    std::ifstream in(dataDirectory + "transcription");
    static const std::regex line(R"(<s>(.*)</s>\s*\((.*)\))");
    for (std::string text; std::getline(in, text);) {
        std::smatch match;
        if (!std::regex_search(text, match, line)) continue;
        Recording r;
        r.id = match[2];
        r.reference = words(match[1]);
        r.file = dataDirectory + r.id + ".wav";
        r.trimmed = scratch / (r.id + ".trimmed.wav");
        testing::make({"sox", r.file.string(), r.trimmed.string(), "reverse", "silence", "1", "0.05", "1%", "reverse"});
        r.seconds = static_cast<double>(testing::readWavSamples(r.file).size()) / 16000.0;
        recordings.push_back(std::move(r));
    }
    return recordings;
}

struct SessionRun {
    std::mutex mutex;
    std::vector<std::pair<Clock::time_point, std::string>> phrases;
    std::optional<Clock::time_point> ready;
    std::promise<std::expected<std::string, TranscriptionError>> done;

    SpeechSessionHandlers handlers() {
        SpeechSessionHandlers h;
        h.onUpdate = [this](const TranscriptionUpdate&) {
            std::lock_guard lock(mutex);
            if (!ready) ready = Clock::now();
        };
        h.onPhraseFinalized = [this](const std::string& phrase, const std::string&) {
            std::lock_guard lock(mutex);
            phrases.emplace_back(Clock::now(), phrase);
        };
        h.onFailure = [](const std::string& message) { std::fprintf(stderr, "session failed: %s\n", message.c_str()); };
        return h;
    }
    std::string finish(SpeechSession& session) {
        auto result = done.get_future();
        session.finishAndWait([this](auto text) { done.set_value(std::move(text)); });
        auto text = result.get();
        return text ? *text : std::string();
    }
};

void append(SpeechSession& session, std::span<const std::int16_t> samples) {
    session.appendPCM16(std::as_bytes(samples), 16000.0);
}

int run(bool show) {
    ScratchDirectory scratch;
    const auto recordings = loadRecordings(scratch);
    double audioSeconds = 0;
    for (const auto& r : recordings) audioSeconds += r.seconds;
    {
        std::ifstream load("/proc/loadavg");
        std::string average;
        load >> average;
        std::printf("Machine: %u hardware threads, load average %s at the start\n", std::thread::hardware_concurrency(),
                    average.c_str());
    }
    std::printf("Recordings: %zu files, %.1f s of speech (Debian pocketsphinx-testdata, librivox)\n", recordings.size(),
                audioSeconds);
    std::printf("Model: %s (pocketsphinx-en-us); endpointer silence window %d ms\n\n", modelDirectory.c_str(),
                PocketSphinxDecoderPool::endpointSilenceFrames * 10);

    // Debian's own decoder, one process per file with the same model, and its cost of loading the
    // model, from a file of a tenth of a second.
    const auto continuous = [](const std::filesystem::path& file, std::string* out) {
        rusage before{}, after{};
        getrusage(RUSAGE_CHILDREN, &before);
        const auto result = testing::runProcess({"pocketsphinx_continuous", "-infile", file.string(), "-hmm",
                                                 modelDirectory + "en-us", "-lm", modelDirectory + "en-us.lm.bin",
                                                 "-dict", modelDirectory + "cmudict-en-us.dict", "-logfn", "/dev/null"});
        getrusage(RUSAGE_CHILDREN, &after);
        if (out) *out = result.out;
        return static_cast<double>(after.ru_utime.tv_sec - before.ru_utime.tv_sec) +
               static_cast<double>(after.ru_utime.tv_usec - before.ru_utime.tv_usec) / 1e6;
    };
    std::vector<std::string> referenceHypotheses;
    double referenceCpu = 0;
    for (const auto& r : recordings) {
        std::string out;
        referenceCpu += continuous(r.file, &out);
        std::string joined;
        for (const auto& word : words(out)) joined += word + " ";
        referenceHypotheses.push_back(joined);
    }
    const auto blip = scratch / "blip.wav";
    testing::make({"sox", "-n", "-r", "16000", "-c", "1", "-b", "16", blip.string(), "trim", "0", "0.1"});
    double loadCpu = 0;
    for (int i = 0; i < 3; ++i) loadCpu += continuous(blip, nullptr) / 3;

    testing::SpeechWorld world;

    // File transcription with the accurate preset, on a warm engine.
    testing::FakeWallClock clock;
    TemporaryFilesPosix temporaryFiles(scratch.path().string(), scratch.path(), world.log.logger(LogCategory::transcription));
    MediaImportFFmpeg media(temporaryFiles, world.log.logger(LogCategory::transcription));
    TranscriptionDiagnostics diagnostics(temporaryFiles, clock);
    BackgroundJobsThreads fileJobs;
    TranscriptionService service(world.support, media, diagnostics, fileJobs, world.log.logger(LogCategory::transcription));
    const auto transcribe = [&](const std::filesystem::path& file) {
        std::promise<std::string> done;
        auto result = done.get_future();
        service.transcribe(file, [&](auto text) { done.set_value(text ? *text : std::string()); });
        return result.get();
    };
    const auto coldStart = Clock::now();
    transcribe(recordings.front().file);
    const double coldSeconds = std::chrono::duration<double>(Clock::now() - coldStart).count();
    std::vector<std::string> fileHypotheses;
    const double cpuBefore = cpuSeconds();
    for (const auto& r : recordings) fileHypotheses.push_back(transcribe(r.file));
    const double fileCpu = cpuSeconds() - cpuBefore;

    // Streaming sessions, fed as fast as they take it, on an engine warmed up as the app does at start.
    world.engine.warmUp(TranscriberPreset::progressiveTranscription);
    while (world.engine.pool().idleCount(TranscriberPreset::progressiveTranscription) == 0) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    SerialQueue sessionWorker("bench-session");
    SpeechTranscriptionSessionFactory factory(world.support, world.converters, {&sessionWorker});
    std::vector<std::string> streamHypotheses;
    std::vector<double> readyMs;
    for (const auto& r : recordings) {
        SessionRun run;
        const auto made = Clock::now();
        auto session = factory.makeSession(run.handlers());
        const auto samples = testing::readWavSamples(r.file);
        for (std::size_t at = 0; at < samples.size(); at += 1600) {
            append(*session, std::span(samples).subspan(at, std::min<std::size_t>(1600, samples.size() - at)));
        }
        streamHypotheses.push_back(run.finish(*session));
        std::lock_guard lock(run.mutex);
        if (run.ready) readyMs.push_back(std::chrono::duration<double, std::milli>(*run.ready - made).count());
    }

    std::printf("%-44s %8s %14s\n", "", "WER", "CPU s / audio s");
    std::printf("%-44s %7.1f%% %14.3f  (%.3f with its model load of %.2f s CPU per file)\n",
                "pocketsphinx_continuous (Debian)", 100 * wordErrorRate(recordings, referenceHypotheses),
                std::max(0.0, referenceCpu - loadCpu * static_cast<double>(recordings.size())) / audioSeconds,
                referenceCpu / audioSeconds, loadCpu);
    std::printf("%-44s %7.1f%% %14.3f\n", "quillon file transcription (transcription)",
                100 * wordErrorRate(recordings, fileHypotheses), fileCpu / audioSeconds);
    std::printf("%-44s %7.1f%%\n", "quillon streaming session (progressive)", 100 * wordErrorRate(recordings, streamHypotheses));
    if (show) {
        for (std::size_t i = 0; i < recordings.size(); ++i) {
            std::printf("%s\n  continuous: %s\n  file:       %s\n  streaming:  %s\n", recordings[i].id.c_str(),
                        referenceHypotheses[i].c_str(), fileHypotheses[i].c_str(), streamHypotheses[i].c_str());
        }
    }
    std::printf("\nFirst file on a cold engine: %.2f s wall (model load included)\n", coldSeconds);
    std::printf("Session ready (first update) on a warm engine: %s over %zu sessions\n", medianAndMax(readyMs, 1).c_str(),
                readyMs.size());

    {
        // Finalisation latency. Each recording, its trailing silence cut off so that its last sample
        // ends the speech, then silence, goes to a session in 10 ms blocks; after each block the
        // bench waits until the session's worker has analysed it. The latency of a final result is
        // the audio fed after the last speech sample until it arrived, less the silence window,
        // plus the time the worker took for that block. It does not depend on how busy the
        // machine is, unlike feeding at the pace of a clock.
        std::vector<double> endpointMs;
        std::vector<double> stopMs;
        const auto settle = [&sessionWorker] {
            std::promise<void> done;
            auto settled = done.get_future();
            sessionWorker.post([&done] { done.set_value(); });
            settled.wait();
        };
        for (const bool stopAtOnce : {false, true}) {
            for (const auto& r : recordings) {
                SessionRun run;
                auto session = factory.makeSession(run.handlers());
                auto samples = testing::readWavSamples(r.trimmed);
                const std::size_t speechEnd = samples.size();
                if (!stopAtOnce) samples.resize(samples.size() + 24000, 0);
                std::size_t phrasesBefore = 0;
                for (std::size_t at = 0; at < samples.size(); at += 160) {
                    const std::size_t count = std::min<std::size_t>(160, samples.size() - at);
                    const auto started = Clock::now();
                    append(*session, std::span(samples).subspan(at, count));
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
                const auto stopped = Clock::now();
                run.finish(*session);
                if (stopAtOnce) stopMs.push_back(std::chrono::duration<double, std::milli>(Clock::now() - stopped).count());
            }
        }
        std::printf("Finalisation latency beyond the %d ms silence window: %s (%zu utterances)\n",
                    PocketSphinxDecoderPool::endpointSilenceFrames * 10, medianAndMax(endpointMs, 0).c_str(),
                    endpointMs.size());
        std::printf("Stop to final text (finishAndWait right after the last sample): %s\n", medianAndMax(stopMs, 0).c_str());
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
    std::vector<std::unique_ptr<SessionRun>> runs;
    std::vector<std::shared_ptr<SpeechSession>> sessions;
    const auto samples = testing::readWavSamples(dataDirectory + "sense_and_sensibility_01_austen_64kb-0880.wav");
    for (std::size_t i = 0; i < count; ++i) {
        runs.push_back(std::make_unique<SessionRun>());
        sessions.push_back(factory.makeSession(runs.back()->handlers()));
        append(*sessions.back(), samples);
    }
    for (std::size_t i = 0; i < count; ++i) runs[i]->finish(*sessions[i]);
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    std::printf("%.0f MB\n", static_cast<double>(usage.ru_maxrss) / 1024);
    return 0;
}

}  // namespace
}  // namespace quillon

int main(int argc, char** argv) {
    if (argc == 3 && std::string(argv[1]) == "--memory-sessions") {
        return quillon::measureSessions(static_cast<std::size_t>(std::stoul(argv[2])));
    }
    const bool show = argc > 1 && std::string(argv[1]) == "--show";
    return quillon::run(show);
}
