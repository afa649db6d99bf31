#pragma once

#include <filesystem>
#include <initializer_list>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace quillon::testing {

// A private temporary directory for one test, removed with everything in it at the end.
class ScratchDirectory {
public:
    ScratchDirectory();
    ~ScratchDirectory();
    ScratchDirectory(const ScratchDirectory&) = delete;
    ScratchDirectory& operator=(const ScratchDirectory&) = delete;

    const std::filesystem::path& path() const { return path_; }
    std::filesystem::path operator/(const std::string& name) const { return path_ / name; }
    // Names of the entries directly inside, sorted.
    std::vector<std::string> entries() const;

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
ProcessResult runProcess(const std::vector<std::string>& argv,
                         const std::map<std::string, std::string>& environment = {});

// Runs a tool that makes test media and fails the test when it does not succeed.
void make(const std::vector<std::string>& argv);

// Spoken `text` as a 16 kHz mono WAV, from flite's 16 kHz US English voice, with half a second of
// silence around it so that the recogniser's endpointer hears the speech begin and end.
void synthesize(const std::string& text, const std::filesystem::path& wav, const std::string& voice = "slt");

// The samples of a 16-bit mono WAV file (the data chunk, little-endian).
std::vector<std::int16_t> readWavSamples(const std::filesystem::path& wav);

// The file's contents.
std::string readFile(const std::filesystem::path& file);

}  // namespace quillon::testing
