#include "SpeechTestFiles.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <algorithm>
#include <cctype>
#include <numeric>
#include <cstring>
#include <fstream>
#include <sstream>

#include <gtest/gtest.h>

extern char** environ;

namespace quillon::testing {

std::vector<std::string> ScratchDirectory::entriesOf(const std::filesystem::path& folder) {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) names.push_back(entry.path().filename());
    std::ranges::sort(names);
    return names;
}

ProcessResult runProcess(std::vector<std::string> argv, const std::map<std::string, std::string>& environment) {
    // env(1) sets and removes the variables, so the child gets them before it runs anything.
    std::vector<std::string> command{"env"};
    for (const auto& [name, value] : environment) {
        if (value.empty()) command.insert(command.end(), {"-u", name});
    }
    for (const auto& [name, value] : environment) {
        if (!value.empty()) command.push_back(name + "=" + value);
    }
    command.insert(command.end(), argv.begin(), argv.end());
    std::vector<char*> args;
    for (auto& arg : command) args.push_back(arg.data());
    args.push_back(nullptr);

    ScratchDirectory outputs;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 1, (outputs / "out").c_str(), O_WRONLY | O_CREAT, 0600);
    posix_spawn_file_actions_addopen(&actions, 2, (outputs / "err").c_str(), O_WRONLY | O_CREAT, 0600);
    pid_t pid = 0;
    const int spawned = posix_spawnp(&pid, "env", &actions, nullptr, args.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    ProcessResult result;
    if (spawned != 0) {
        result.err = std::string("could not start env: ") + std::strerror(spawned);
        return result;
    }
    int status = 0;
    rusage usage{};
    while (wait4(pid, &status, 0, &usage) < 0 && errno == EINTR) {
    }
    result.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    result.peakMemoryKB = usage.ru_maxrss;
    result.out = readFile(outputs / "out");
    result.err = readFile(outputs / "err");
    return result;
}

void make(const std::vector<std::string>& argv) {
    const auto result = runProcess(argv);
    ASSERT_EQ(result.exitCode, 0) << argv[0] << " failed: " << result.err;
}

std::filesystem::path media(const std::string& name) {
    static const ScratchDirectory directory;
    static const bool made = [] {
        const auto at = [](const char* file) { return (directory / file).string(); };
        for (const auto& [text, voice, file] : {std::tuple{"please call my mother tomorrow morning", "slt", "call"},
                                                std::tuple{"the weather is nice today", "rms", "weather"}}) {
            make({"flite", "-voice", voice, "-t", text, "-o", at(file) + ".flite.wav"});
            make({"sox", at(file) + ".flite.wav", "-r", "16000", "-c", "1", "-b", "16", at(file) + ".wav", "pad", "0.5",
                  "0.8"});
        }
        make({"sox", at("call.wav"), "-r", "48000", at("call48.wav")});
        make({"sox", at("call.wav"), at("weather.wav"), at("both.wav"), "pad", "0", "1.5"});
        make({"sox", "-n", "-r", "16000", "-c", "1", "-b", "16", at("silence.wav"), "trim", "0", "3"});
        make({"ffmpeg", "-v", "error", "-i", at("call.wav"), "-c:a", "aac", at("call.m4a")});
        const std::vector<std::string> video{"ffmpeg", "-v", "error", "-f", "lavfi", "-i", "testsrc=size=160x120:rate=10"};
        auto withSound = video;
        withSound.insert(withSound.end(), {"-i", at("call.wav"), "-shortest", "-c:v", "mpeg4", "-c:a", "pcm_s16le", at("call.mov")});
        make(withSound);
        auto mute = video;
        mute.insert(mute.end(), {"-t", "1", "-c:v", "mpeg4", at("mute.mp4")});
        make(mute);
        return true;
    }();
    (void)made;
    return directory / name;
}

std::vector<std::int16_t> readWavSamples(const std::filesystem::path& wav) {
    const std::string bytes = readFile(wav);
    std::vector<std::int16_t> samples;
    for (std::size_t at = 12; at + 8 <= bytes.size();) {  // the RIFF chunks, up to "data"
        std::uint32_t size = 0;
        std::memcpy(&size, bytes.data() + at + 4, 4);
        at += 8;
        if (bytes.compare(at - 8, 4, "data") == 0) {
            samples.resize((std::min<std::size_t>(bytes.size(), at + size) - at) / 2);
            std::memcpy(samples.data(), bytes.data() + at, samples.size() * 2);
            break;
        }
        at += size + (size & 1);
    }
    return samples;
}

ProcessResult referenceDecode(const std::filesystem::path& wav) {
    const std::string model = "/usr/share/pocketsphinx/model/en-us/";
    return runProcess({"pocketsphinx_continuous", "-infile", wav.string(), "-hmm", model + "en-us", "-lm",
                       model + "en-us.lm.bin", "-dict", model + "cmudict-en-us.dict", "-logfn", "/dev/null"});
}

std::vector<std::string> words(const std::string& text) {
    std::vector<std::string> out;
    std::string word;
    for (const char c : text + ' ') {
        const auto u = static_cast<unsigned char>(c);
        if (std::isalnum(u) || c == '\'' || u >= 0x80) {
            word += static_cast<char>(std::tolower(u));
        } else if (!word.empty()) {
            out.push_back(std::move(word));
            word.clear();
        }
    }
    return out;
}

std::size_t wordEditDistance(const std::vector<std::string>& a, const std::vector<std::string>& b) {
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

}  // namespace quillon::testing
