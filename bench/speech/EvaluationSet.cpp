#include "EvaluationSet.h"

#include <algorithm>
#include <fstream>

#include "SpeechTestFiles.h"

namespace quillon::bench {

double Subset::seconds() const {
    double total = 0;
    for (const auto& r : recordings) total += r.seconds;
    return total;
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
            r.reference = testing::words(line.substr(bar + 1));
            r.file = directory / name / (r.id + ".wav");
            r.seconds = static_cast<double>(testing::readWavSamples(r.file).size()) / 16000.0;
            subset.recordings.push_back(std::move(r));
        }
        subsets.push_back(std::move(subset));
    }
    return subsets;
}

ErrorCount wordErrors(const std::vector<Recording>& recordings, const std::vector<std::string>& hypotheses) {
    ErrorCount count;
    for (std::size_t i = 0; i < recordings.size() && i < hypotheses.size(); ++i) {
        count += {testing::wordEditDistance(recordings[i].reference, testing::words(hypotheses[i])),
                  recordings[i].reference.size()};
    }
    return count;
}

}  // namespace quillon::bench
