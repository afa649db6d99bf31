#pragma once

#include <memory>

#include "core/live/LiveTranscriptWindow.h"
#include "fakes/CallJournal.h"

namespace quillon::testing {

// A window that notes its showings; close() acts as the user closing it.
class FakeLiveTranscriptWindow final : public quillon::LiveTranscriptWindow {
public:
    explicit FakeLiveTranscriptWindow(CallJournal* journal) : journal_(journal) {}

    void show() override { note(journal_, "window.show"); }
    void setOnClose(std::function<void()> handler) override { onClose_ = std::move(handler); }

    void close() {
        if (onClose_) onClose_();
    }

private:
    CallJournal* journal_;
    std::function<void()> onClose_;
};

// Makes the windows and keeps the latest at hand; counts how many were made.
struct FakeLiveTranscriptWindows {
    quillon::LiveTranscriptWindowFactory factory() {
        return [this](quillon::LiveTranscriptModel&) {
            note(journal, "window.make");
            auto window = std::make_unique<FakeLiveTranscriptWindow>(journal);
            latest = window.get();
            return window;
        };
    }

    FakeLiveTranscriptWindow* latest = nullptr;
    CallJournal* journal = nullptr;
};

}  // namespace quillon::testing
