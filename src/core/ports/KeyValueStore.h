#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace quillon {

// The user's persistent preferences (QSettings on Linux). Reads are safe from any thread; a key
// that was never written reads as absent, and nothing is written unless set() is called.
class KeyValueStore {
public:
    using Value = std::variant<bool, std::int64_t, double, std::string>;

    virtual ~KeyValueStore() = default;
    virtual std::optional<Value> value(std::string_view key) const = 0;
    virtual void setValue(std::string_view key, const Value& value) = 0;
};

}  // namespace quillon
