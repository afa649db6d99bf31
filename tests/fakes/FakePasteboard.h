#pragma once

#include "core/ports/Pasteboard.h"

namespace quillon::testing {

class FakePasteboard final : public quillon::Pasteboard {
public:
    std::optional<std::string> string() const override { return text; }
    bool setString(const std::string& value) override {
        if (failWrites) return false;
        text = value;
        ++writes;
        return true;
    }
    void clear() override { text.reset(); }
    std::vector<std::string> types() const override {
        return text ? std::vector<std::string>{"text/plain"} : std::vector<std::string>{};
    }
    void declareTypes(const std::vector<std::string>&) override { text.reset(); }

    std::optional<std::string> text;
    bool failWrites = false;
    int writes = 0;
};

}  // namespace quillon::testing
