#pragma once

#include <map>
#include <mutex>
#include <string>

#include "core/ports/KeyValueStore.h"

namespace quillon::testing {

// An in-memory preference store.
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
    }
    // A value stored before the program starts.
    void seed(std::string_view key, const Value& value) { setValue(key, value); }

private:
    mutable std::mutex mutex_;
    std::map<std::string, Value, std::less<>> values_;
};

}  // namespace quillon::testing
