#pragma once

#include <string>
#include <vector>

namespace quillon::testing {

// One ordered record of the calls that several fakes received, so a test can check the order of
// steps across collaborators. Each fake writes to it only when given one.
using CallJournal = std::vector<std::string>;

inline void note(CallJournal* journal, std::string call) {
    if (journal) journal->push_back(std::move(call));
}

inline std::string flag(bool value) { return value ? "true" : "false"; }

}  // namespace quillon::testing
