#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace quillon::bench {

struct Recording {
    std::string id;
    std::filesystem::path file;
    std::vector<std::string> reference;  // lower-case words
    double seconds = 0;
};

struct Subset {
    std::string name;
    std::vector<Recording> recordings;
    double seconds() const;
};

// The evaluation set that make-evaluation-set writes into `directory`, in the order of `names`.
std::vector<Subset> loadSubsets(const std::filesystem::path& directory, const std::vector<std::string>& names);

// Word errors (substitutions, insertions, deletions) of each hypothesis against its reference,
// over all of them, and the number of reference words.
struct ErrorCount {
    std::size_t errors = 0;
    std::size_t words = 0;
    double rate() const { return words ? static_cast<double>(errors) / static_cast<double>(words) : 0.0; }
    ErrorCount& operator+=(const ErrorCount& other) {
        errors += other.errors;
        words += other.words;
        return *this;
    }
};
ErrorCount wordErrors(const std::vector<Recording>& recordings, const std::vector<std::string>& hypotheses);

}  // namespace quillon::bench
