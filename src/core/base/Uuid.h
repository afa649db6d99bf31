#pragma once

#include <array>
#include <compare>
#include <cstdint>
#include <functional>
#include <string>

namespace quillon {

// A random (version 4) UUID. Its text is the upper-case 8-4-4-4-12 form.
class Uuid {
public:
    Uuid() = default;  // the nil UUID

    static Uuid random();

    std::string toString() const;
    const std::array<std::uint8_t, 16>& bytes() const { return bytes_; }

    auto operator<=>(const Uuid&) const = default;

private:
    std::array<std::uint8_t, 16> bytes_{};
};

}  // namespace quillon

template <>
struct std::hash<quillon::Uuid> {
    std::size_t operator()(const quillon::Uuid& uuid) const noexcept;
};
