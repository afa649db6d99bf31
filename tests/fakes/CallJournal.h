#pragma once

#include <string>
#include <vector>

namespace quillon::testing {

// One ordered record of the calls that several fakes received, so a test can check the order of
// steps across collaborators. Each fake writes to it only when given one.
struct CallJournal {
    std::vector<std::string> calls;

    void record(std::string call) { calls.push_back(std::move(call)); }
    void clear() { calls.clear(); }
};

inline void note(CallJournal* journal, std::string call) {
    if (journal) journal->record(std::move(call));
}

}  // namespace quillon::testing
