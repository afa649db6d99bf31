#pragma once

#include <vector>

#include "core/ports/KeyboardMapping.h"

namespace quillon::testing {

// A keyboard mapping in memory that counts writes and Caps Lock clears and can refuse writes.
class FakeKeyboardMapping final : public quillon::KeyboardMapping {
public:
    std::vector<quillon::KeyMappingEntry> currentMappings() override { return entries; }
    bool setMappings(const std::vector<quillon::KeyMappingEntry>& newEntries) override {
        if (refuseWrites) return false;
        entries = newEntries;
        ++writes;
        return true;
    }
    void clearCapsLockState() override { ++capsLockClears; }

    std::vector<quillon::KeyMappingEntry> entries;
    bool refuseWrites = false;
    int writes = 0;
    int capsLockClears = 0;
};

}  // namespace quillon::testing
