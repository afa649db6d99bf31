#pragma once

#include "core/ports/RecordingIndicator.h"
#include "fakes/CallJournal.h"

namespace quillon::testing {

class FakeRecordingIndicator final : public quillon::RecordingIndicator {
public:
    void setMode(quillon::RecordingIndicatorMode mode) override {
        note(journal, mode == quillon::RecordingIndicatorMode::recording ? "indicator.setMode(recording)"
                                                                         : "indicator.setMode(transcribing)");
    }
    void show() override { note(journal, "indicator.show"); }
    void hide() override { note(journal, "indicator.hide"); }

    CallJournal* journal = nullptr;
};

}  // namespace quillon::testing
