#pragma once

#include "core/dictation/DictationHotkey.h"
#include "fakes/CallJournal.h"

namespace quillon::testing {

// A hotkey the test presses by calling its signals.
class FakeDictationHotkey final : public quillon::DictationHotkey {
public:
    void resetToIdle() override { note(journal, "hotkey.resetToIdle"); }

    CallJournal* journal = nullptr;
};

}  // namespace quillon::testing
