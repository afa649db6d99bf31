#include "app/TranscribeCommand.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <future>
#include <iostream>
#include <string>
#include <system_error>
#include <vector>

#include "core/logging/LogService.h"
#include "core/logging/Logger.h"
#include "core/settings/SettingsManager.h"
#include "core/text/TranscriptCorrector.h"
#include "core/transcription/SettingsTextRules.h"
#include "core/transcription/SpeechTranscriptionSupport.h"
#include "core/transcription/TranscriptionDiagnostics.h"
#include "core/transcription/TranscriptionService.h"
#include "platform/linux/base/BackgroundJobsThreads.h"
#include "platform/linux/base/SerialQueue.h"
#include "platform/linux/base/StderrLogOutput.h"
#include "platform/linux/base/SystemWallClock.h"
#include "platform/linux/base/TemporaryFilesPosix.h"
#include "platform/linux/media/MediaImportFFmpeg.h"
#include "platform/linux/settings/KeyValueStoreQSettings.h"
#include "platform/linux/settings/LoginItemXdgAutostart.h"
#include "platform/linux/speech/SpeechEnginePocketSphinx.h"
#include "platform/linux/speech/SystemLocale.h"

namespace quillon {

namespace {

constexpr const char* usage =
    "Usage: quillon transcribe [--verbose] FILE...\n"
    "Transcribes audio and video files on this computer and prints each transcript.\n"
    "  --verbose  also show the program's log on standard error\n";

// Files shorter than this finish too soon for progress to help.
constexpr double progressFromSeconds = 30.0;

// The log stays quiet on the command line unless asked for: its lines would bury the progress.
class SilentLogOutput final : public LogOutput {
public:
    bool isEnabled(LogLevel) const override { return false; }
    void write(LogLevel, LogCategory, std::string_view) override {}
};

std::filesystem::path configHome() {
    if (const char* xdg = std::getenv("XDG_CONFIG_HOME"); xdg && *xdg) return xdg;
    if (const char* home = std::getenv("HOME"); home && *home) return std::filesystem::path(home) / ".config";
    return std::filesystem::temp_directory_path();
}

std::filesystem::path executablePath() {
    std::error_code error;
    auto path = std::filesystem::read_symlink("/proc/self/exe", error);
    return error ? std::filesystem::path("quillon") : path;
}

// Shows "Transcribing NAME: 42%" on a terminal, rewriting one line; elsewhere a line each tenth.
class ProgressReporter {
public:
    explicit ProgressReporter(std::string name)
        : name_(std::move(name)), terminal_(::isatty(STDERR_FILENO) == 1) {}

    void update(double fraction, double durationSeconds) {
        if (durationSeconds < progressFromSeconds) return;
        const int percent = static_cast<int>(fraction * 100.0);
        const int step = terminal_ ? 1 : 10;
        if (percent / step == last_ / step) return;
        last_ = percent;
        if (terminal_) {
            std::fprintf(stderr, "\rTranscribing %s: %d%%", name_.c_str(), percent);
        } else {
            std::fprintf(stderr, "Transcribing %s: %d%%\n", name_.c_str(), percent);
        }
        std::fflush(stderr);
        shown_ = true;
    }

    void finish() {
        if (shown_ && terminal_) std::fputs("\n", stderr);
    }

private:
    std::string name_;
    bool terminal_;
    int last_ = -1;
    bool shown_ = false;
};

}  // namespace

int runTranscribeCommand(int argc, char** argv) {
    bool verbose = false;
    std::vector<std::filesystem::path> files;
    bool optionsEnded = false;
    for (int i = 0; i < argc; ++i) {
        const std::string argument = argv[i];
        if (!optionsEnded && argument == "--") {
            optionsEnded = true;
        } else if (!optionsEnded && (argument == "--help" || argument == "-h")) {
            std::fputs(usage, stdout);
            return 0;
        } else if (!optionsEnded && argument == "--verbose") {
            verbose = true;
        } else if (!optionsEnded && argument.size() > 1 && argument.starts_with("-")) {
            std::fprintf(stderr, "quillon transcribe: unknown option %s\n%s", argument.c_str(), usage);
            return 2;
        } else {
            files.emplace_back(argument);
        }
    }
    if (files.empty()) {
        std::fputs(usage, stderr);
        return 2;
    }

    SystemWallClock clock;
    SerialQueue logQueue("com.lanternmoth.Quillon.logging");
    StderrLogOutput stderrOutput(LogLevel::debug);
    SilentLogOutput silentOutput;
    auto log = std::make_shared<LogService>(
        logQueue, verbose ? static_cast<LogOutput&>(stderrOutput) : static_cast<LogOutput&>(silentOutput),
        clock);
    KeyValueStoreQSettings store(configHome(), Logger(log, LogCategory::settings));
    LoginItemXdgAutostart loginItem(configHome(), executablePath());
    SettingsManager settings(store, loginItem, Logger(log, LogCategory::settings));
    TranscriptCorrector corrector(settings, Logger(log, LogCategory::transcription));
    SettingsTextRules rules(corrector, settings);
    // Files go one after another, each on the decoder the last one gave back: no spare is needed.
    SpeechEnginePocketSphinx engine(PocketSphinxDecoderPool::ModelPaths::debianEnglish(),
                                    Logger(log, LogCategory::transcription), false);
    SpeechTranscriptionSupport support(engine, rules, currentLocaleIdentifier,
                                       Logger(log, LogCategory::transcription));
    TemporaryFilesPosix temporaryFiles(Logger(log, LogCategory::transcription));
    MediaImportFFmpeg media(temporaryFiles, Logger(log, LogCategory::transcription));
    TranscriptionDiagnostics diagnostics(temporaryFiles, clock);
    BackgroundJobsThreads jobs;
    TranscriptionService service(support, media, diagnostics, jobs, Logger(log, LogCategory::transcription));

    int status = 0;
    const bool headers = files.size() > 1;
    bool first = true;
    for (const auto& file : files) {
        const std::string name = file.string();
        // What is not a file at all goes to the service, which says why in the system's words.
        std::error_code notAFile;
        if (std::filesystem::is_regular_file(file, notAFile) && !service.isSupportedMediaURL(file)) {
            std::fprintf(stderr, "quillon: %s: Unsupported file type. Drop an audio or video file.\n",
                         name.c_str());
            status = 1;
            continue;
        }

        ProgressReporter progress(file.filename().string());
        std::promise<std::expected<std::string, TranscriptionError>> done;
        auto result = done.get_future();
        service.transcribe(
            file, [&progress](double fraction, double seconds) { progress.update(fraction, seconds); },
            [&done](std::expected<std::string, TranscriptionError> text) {
                done.set_value(std::move(text));
            });
        auto text = result.get();
        progress.finish();

        if (!text) {
            std::fprintf(stderr, "quillon: %s: %s\n", name.c_str(), text.error().description().c_str());
            status = 1;
            continue;
        }
        if (headers) std::printf("%s==> %s <==\n", first ? "" : "\n", name.c_str());
        std::printf("%s\n", text->c_str());
        std::fflush(stdout);
        first = false;
    }
    return status;
}

}  // namespace quillon
