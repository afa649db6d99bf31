#include "SpeechTestFiles.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <fstream>
#include <sstream>

#include <gtest/gtest.h>

#include "core/base/Uuid.h"

extern char** environ;

namespace quillon::testing {

ScratchDirectory::ScratchDirectory()
    : path_(std::filesystem::temp_directory_path() / ("quillon-speech-test-" + quillon::Uuid::random().toString())) {
    std::filesystem::create_directories(path_);
}

ScratchDirectory::~ScratchDirectory() {
    std::error_code ignored;
    std::filesystem::permissions(path_, std::filesystem::perms::owner_all, ignored);
    for (const auto& entry : std::filesystem::directory_iterator(path_, ignored)) {
        std::filesystem::permissions(entry.path(), std::filesystem::perms::owner_all, ignored);
    }
    std::filesystem::remove_all(path_, ignored);
}

std::vector<std::string> ScratchDirectory::entries() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(path_)) names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    return names;
}

std::string readFile(const std::filesystem::path& file) {
    std::ifstream in(file, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

ProcessResult runProcess(const std::vector<std::string>& argv, const std::map<std::string, std::string>& environment) {
    ScratchDirectory outputs;
    const auto outPath = outputs / "stdout";
    const auto errPath = outputs / "stderr";

    std::map<std::string, std::string> variables;
    for (char** entry = environ; *entry; ++entry) {
        std::string_view text(*entry);
        const auto equals = text.find('=');
        if (equals != std::string_view::npos) variables[std::string(text.substr(0, equals))] = text.substr(equals + 1);
    }
    for (const auto& [name, value] : environment) {
        if (value.empty()) variables.erase(name);
        else variables[name] = value;
    }
    std::vector<std::string> envText;
    for (const auto& [name, value] : variables) envText.push_back(name + "=" + value);
    std::vector<char*> envp;
    for (auto& text : envText) envp.push_back(text.data());
    envp.push_back(nullptr);
    std::vector<std::string> args = argv;
    std::vector<char*> argp;
    for (auto& arg : args) argp.push_back(arg.data());
    argp.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 1, outPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    posix_spawn_file_actions_addopen(&actions, 2, errPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    pid_t pid = 0;
    const int spawned = posix_spawnp(&pid, argp[0], &actions, nullptr, argp.data(), envp.data());
    posix_spawn_file_actions_destroy(&actions);
    ProcessResult result;
    if (spawned != 0) {
        result.err = std::string("could not start ") + argv[0] + ": " + std::strerror(spawned);
        return result;
    }
    int status = 0;
    rusage usage{};
    while (wait4(pid, &status, 0, &usage) < 0 && errno == EINTR) {
    }
    result.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    result.peakMemoryKB = usage.ru_maxrss;
    result.out = readFile(outPath);
    result.err = readFile(errPath);
    return result;
}

void make(const std::vector<std::string>& argv) {
    const auto result = runProcess(argv);
    ASSERT_EQ(result.exitCode, 0) << argv[0] << " failed: " << result.err;
}

void synthesize(const std::string& text, const std::filesystem::path& wav, const std::string& voice) {
    const auto raw = wav.string() + ".flite.wav";
    make({"flite", "-voice", voice, "-t", text, "-o", raw});
    make({"sox", raw, "-r", "16000", "-c", "1", "-b", "16", wav.string(), "pad", "0.5", "0.8"});
    std::filesystem::remove(raw);
}

std::vector<std::int16_t> readWavSamples(const std::filesystem::path& wav) {
    const std::string bytes = readFile(wav);
    std::vector<std::int16_t> samples;
    // Walk the RIFF chunks to "data".
    std::size_t at = 12;
    while (at + 8 <= bytes.size()) {
        const std::string id = bytes.substr(at, 4);
        std::uint32_t size = 0;
        std::memcpy(&size, bytes.data() + at + 4, 4);
        at += 8;
        if (id == "data") {
            const std::size_t end = std::min(bytes.size(), at + size);
            samples.resize((end - at) / 2);
            std::memcpy(samples.data(), bytes.data() + at, samples.size() * 2);
            break;
        }
        at += size + (size & 1);
    }
    return samples;
}

}  // namespace quillon::testing
