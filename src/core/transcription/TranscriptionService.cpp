#include "core/transcription/TranscriptionService.h"

#include <algorithm>

#include "core/base/Unicode.h"
#include "core/text/TranscriptJoining.h"

namespace quillon {

TranscriptionService::TranscriptionService(const SpeechTranscriptionSupport& support, MediaImport& media,
                                           TranscriptionDiagnostics& diagnostics, BackgroundJobs& jobs, Logger logger)
    : support_(support), media_(media), diagnostics_(diagnostics), jobs_(jobs), logger_(std::move(logger)) {}

void TranscriptionService::transcribe(const std::filesystem::path& file, Completion completion) {
    transcribe(file, nullptr, std::move(completion));
}

void TranscriptionService::transcribe(const std::filesystem::path& file, Progress progress, Completion completion) {
    jobs_.start([this, file, progress = std::move(progress), completion = std::move(completion)] {
        const Uuid runID = Uuid::random();
        auto result = run(file, runID, progress);
        if (completion) completion(std::move(result));
    });
}

bool TranscriptionService::isSupportedMediaURL(const std::filesystem::path& file) const {
    return media_.isSupportedMedia(file);
}

std::expected<std::string, TranscriptionError> TranscriptionService::run(const std::filesystem::path& file,
                                                                        const Uuid& runID, const Progress& progress) {
    diagnostics_.append(runID, "BEGIN file=" + TranscriptionDiagnostics::quoted(file.string()));

    auto prepared = media_.prepareAudioInput(file);
    if (!prepared) {
        logger_.error("On-device file transcription failed: " + prepared.error().description());
        diagnostics_.append(runID, "END");
        return std::unexpected(prepared.error());
    }

    std::expected<std::string, TranscriptionError> text;
    if (auto reader = media_.openAudioFile(prepared->path); reader) {
        text = analyze(**reader, progress);
    } else {
        text = std::unexpected(reader.error());
    }  // the file is closed before its cleanup
    if (text) {
        diagnostics_.append(runID, "result=" + TranscriptionDiagnostics::quoted(*text));
        logger_.info("On-device file transcription complete (" + std::to_string(unicode::graphemeCount(*text)) +
                     " characters)");
    } else {
        logger_.error("On-device file transcription failed: " + text.error().description());
    }
    if (prepared->cleanup) prepared->cleanup();
    diagnostics_.append(runID, "END");
    return text;
}

std::expected<std::string, TranscriptionError> TranscriptionService::analyze(AudioFileReader& reader,
                                                                            const Progress& progress) {
    auto transcriber = support_.makeTranscriber(TranscriberPreset::transcription);
    if (!transcriber) return std::unexpected(transcriber.error());
    const auto format = (*transcriber)->bestAvailableAudioFormat();
    if (!format) return std::unexpected(TranscriptionError::noCompatibleAudioFormat());
    if (auto set = reader.setOutputFormat(*format); !set) return std::unexpected(set.error());

    auto analyzer = (*transcriber)->makeAnalyzer();
    if (!analyzer) return std::unexpected(TranscriptionError::unavailable());
    if (auto set = analyzer->setContext(support_.analysisContext()); !set) return std::unexpected(set.error());
    if (auto prepared = analyzer->prepareToAnalyze(*format); !prepared) return std::unexpected(prepared.error());

    // Final results only, each trimmed and joined; the clean-up and corrections act on the whole.
    std::string joined;
    const auto collect = [&joined](const SpeechResult& result) {
        if (!result.isFinal) return;
        joined = appendingTranscript(joined, result.text);
    };

    const auto duration = reader.durationSeconds();
    const double framesPerSecond = format->sampleRate * format->channelCount;
    std::size_t samplesRead = 0;
    for (;;) {
        auto block = reader.read();
        if (!block) {
            analyzer->cancelAndFinishNow();
            return std::unexpected(block.error());
        }
        if (block->empty()) break;
        if (auto analyzed = analyzer->analyze(*block, collect); !analyzed) {
            analyzer->cancelAndFinishNow();
            return std::unexpected(analyzed.error());
        }
        samplesRead += block->size();
        if (progress && duration && *duration > 0) {
            progress(std::min(1.0, static_cast<double>(samplesRead) / framesPerSecond / *duration), *duration);
        }
    }

    if (samplesRead > 0) {
        if (auto finished = analyzer->finalizeAndFinish(collect); !finished) {
            analyzer->cancelAndFinishNow();
            return std::unexpected(finished.error());
        }
    } else {
        analyzer->cancelAndFinishNow();
    }
    return support_.normalize(joined);
}

}  // namespace quillon
