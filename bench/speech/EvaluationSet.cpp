#include "EvaluationSet.h"

#include <algorithm>
#include <cctype>
#include <fstream>
#include <numeric>

#include "SpeechTestFiles.h"

namespace quillon::bench {

double Subset::seconds() const {
    double total = 0;
    for (const auto& r : recordings) total += r.seconds;
    return total;
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

std::vector<Subset> loadSubsets(const std::filesystem::path& directory, const std::vector<std::string>& names) {
    std::vector<Subset> subsets;
    for (const auto& name : names) {
        Subset subset{name, {}};
        std::ifstream in(directory / (name + ".txt"));
        for (std::string line; std::getline(in, line);) {
            const auto bar = line.find('|');
            if (bar == std::string::npos) continue;
            Recording r;
            r.id = line.substr(0, bar);
            r.reference = words(line.substr(bar + 1));
            r.file = directory / name / (r.id + ".wav");
            r.seconds = static_cast<double>(testing::readWavSamples(r.file).size()) / 16000.0;
            subset.recordings.push_back(std::move(r));
        }
        subsets.push_back(std::move(subset));
    }
    return subsets;
}

namespace {

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

}  // namespace

ErrorCount wordErrors(const std::vector<Recording>& recordings, const std::vector<std::string>& hypotheses) {
    ErrorCount count;
    for (std::size_t i = 0; i < recordings.size() && i < hypotheses.size(); ++i) {
        count.errors += editDistance(recordings[i].reference, words(hypotheses[i]));
        count.words += recordings[i].reference.size();
    }
    return count;
}

}  // namespace quillon::bench
