#pragma once

#include <optional>

#include "core/ports/RecordingIndicator.h"
#include "fakes/CallJournal.h"

namespace quillon::testing {

class FakeRecordingIndicator final : public quillon::RecordingIndicator {
public:
    void setMode(quillon::RecordingIndicatorMode value) override {
        mode = value;
        note(journal, value == quillon::RecordingIndicatorMode::recording ? "indicator.setMode(recording)"
                                                                           : "indicator.setMode(transcribing)");
    }
    void show() override {
        visible = true;
        ++showCount;
        note(journal, "indicator.show");
    }
    void hide() override {
        visible = false;
        ++hideCount;
        note(journal, "indicator.hide");
    }

    std::optional<quillon::RecordingIndicatorMode> mode;
    bool visible = false;
    int showCount = 0;
    int hideCount = 0;
    CallJournal* journal = nullptr;
};

}  // namespace quillon::testing
