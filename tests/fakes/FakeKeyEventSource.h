#pragma once

#include <optional>
#include <string>

#include "core/ports/KeyEventSource.h"

namespace quillon::testing {

// A keyboard the test types on: press() delivers one event and returns the hotkey's answer.
class FakeKeyEventSource final : public quillon::KeyEventSource {
public:
    void start(quillon::SwallowedKeys keys) override {
        swallowed = keys;
        ++starts;
    }
    void stop() override { swallowed.reset(); }

    quillon::KeyEventDisposition deliver(quillon::KeyEventType type, int keyCode, int flags) {
        if (!onKeyEvent) return quillon::KeyEventDisposition::pass;
        return onKeyEvent({type, keyCode, flags});
    }
    void fail(const std::string& reason) {
        if (onUnavailable) onUnavailable(reason);
    }

    std::optional<quillon::SwallowedKeys> swallowed;  // absent while stopped
    int starts = 0;
};

}  // namespace quillon::testing
