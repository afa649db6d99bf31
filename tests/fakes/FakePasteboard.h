#pragma once

#include "core/ports/Pasteboard.h"

namespace quillon::testing {

class FakePasteboard final : public quillon::Pasteboard {
public:
    std::optional<std::string> string() const override { return text; }
    bool setString(const std::string& value) override {
        if (failWrites) return false;
        offeredTypes.clear();
        text = value;
        ++writes;
        return true;
    }
    void clear() override {
        text.reset();
        offeredTypes.clear();
    }
    std::vector<std::string> types() const override {
        if (!offeredTypes.empty()) return offeredTypes;
        return text ? std::vector<std::string>{"text/plain"} : std::vector<std::string>{};
    }
    void declareTypes(const std::vector<std::string>& types) override {
        text.reset();
        offeredTypes = types;
    }

    std::optional<std::string> text;
    std::vector<std::string> offeredTypes;  // what the clipboard offers besides text
    bool failWrites = false;
    int writes = 0;
};

}  // namespace quillon::testing
