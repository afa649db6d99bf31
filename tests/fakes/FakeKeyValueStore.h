#pragma once

#include <map>
#include <mutex>
#include <string>

#include "core/ports/KeyValueStore.h"

namespace quillon::testing {

// An in-memory preference store that counts writes, so tests can prove defaults are never written.
class FakeKeyValueStore final : public quillon::KeyValueStore {
public:
    std::optional<Value> value(std::string_view key) const override {
        std::lock_guard lock(mutex_);
        auto found = values_.find(std::string(key));
        if (found == values_.end()) return std::nullopt;
        return found->second;
    }
    void setValue(std::string_view key, const Value& value) override {
        std::lock_guard lock(mutex_);
        values_[std::string(key)] = value;
        ++writes_;
    }
    // Seeds a stored value without counting it as a write of the program.
    void seed(std::string_view key, const Value& value) {
        std::lock_guard lock(mutex_);
        values_[std::string(key)] = value;
    }
    int writes() const {
        std::lock_guard lock(mutex_);
        return writes_;
    }

private:
    mutable std::mutex mutex_;
    std::map<std::string, Value, std::less<>> values_;
    int writes_ = 0;
};

}  // namespace quillon::testing
