#pragma once

#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "core/base/Uuid.h"

namespace quillon::testing {

// A private temporary directory, removed with everything in it at the end.
class ScratchDirectory {
public:
    ScratchDirectory()
        : path_(std::filesystem::temp_directory_path() / ("quillon-speech-test-" + Uuid::random().toString())) {
        std::filesystem::create_directories(path_);
    }
    ~ScratchDirectory() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    ScratchDirectory(const ScratchDirectory&) = delete;
    ScratchDirectory& operator=(const ScratchDirectory&) = delete;

    const std::filesystem::path& path() const { return path_; }
    std::filesystem::path operator/(const std::string& name) const { return path_ / name; }
    static std::vector<std::string> entriesOf(const std::filesystem::path& folder);  // names inside, sorted

private:
    std::filesystem::path path_;
};

struct ProcessResult {
    int exitCode = -1;
    std::string out;
    std::string err;
    long peakMemoryKB = 0;
};

// Runs `argv` to its end with standard input closed; `environment` entries replace or, with an
// empty value, remove the parent's variables.
ProcessResult runProcess(std::vector<std::string> argv, const std::map<std::string, std::string>& environment = {});

// Runs a tool that makes test media and fails the test when it does not succeed.
void make(const std::vector<std::string>& argv);

// Speech for the tests, made once per process: call.wav ("please call my mother tomorrow
// morning", flite's slt voice, 16 kHz mono with half a second of silence around it), call48.wav
// (the same at 48 kHz), weather.wav ("the weather is nice today", the rms voice), both.wav (the two
// with a pause between), call.m4a, call.mov (a video with the call as its sound), mute.mp4 (a video
// without sound) and silence.wav (3 s).
std::filesystem::path media(const std::string& name);

// The samples of a 16-bit mono WAV file (the data chunk, little-endian).
std::vector<std::int16_t> readWavSamples(const std::filesystem::path& wav);

inline std::string readFile(const std::filesystem::path& file) {
    std::ostringstream text;
    text << std::ifstream(file, std::ios::binary).rdbuf();
    return text.str();
}

// Debian's own decoder, pocketsphinx_continuous with its defaults and the same model, on `wav`:
// the yardstick of the tests and the benchmark.
ProcessResult referenceDecode(const std::filesystem::path& wav);

// Lower-case words of a text; punctuation other than the apostrophe parts words.
std::vector<std::string> words(const std::string& text);

// Word errors of `heard` against `said`: substitutions, insertions and deletions.
std::size_t wordEditDistance(const std::vector<std::string>& said, const std::vector<std::string>& heard);

}  // namespace quillon::testing
