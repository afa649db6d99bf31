#include "core/base/Uuid.h"

#include <random>

namespace quillon {

namespace {

std::mt19937_64& generator() {
    thread_local std::mt19937_64 engine([] {
        std::random_device device;
        std::seed_seq seed{device(), device(), device(), device(), device(), device(), device(), device()};
        return std::mt19937_64(seed);
    }());
    return engine;
}

}  // namespace

Uuid Uuid::random() {
    Uuid uuid;
    auto& engine = generator();
    for (std::size_t i = 0; i < 16; i += 8) {
        std::uint64_t value = engine();
        for (std::size_t j = 0; j < 8; ++j) uuid.bytes_[i + j] = static_cast<std::uint8_t>(value >> (8 * j));
    }
    uuid.bytes_[6] = static_cast<std::uint8_t>((uuid.bytes_[6] & 0x0F) | 0x40);
    uuid.bytes_[8] = static_cast<std::uint8_t>((uuid.bytes_[8] & 0x3F) | 0x80);
    return uuid;
}

std::string Uuid::toString() const {
    static constexpr char digits[] = "0123456789ABCDEF";
    std::string text;
    text.reserve(36);
    for (std::size_t i = 0; i < bytes_.size(); ++i) {
        if (i == 4 || i == 6 || i == 8 || i == 10) text.push_back('-');
        text.push_back(digits[bytes_[i] >> 4]);
        text.push_back(digits[bytes_[i] & 0x0F]);
    }
    return text;
}

}  // namespace quillon

std::size_t std::hash<quillon::Uuid>::operator()(const quillon::Uuid& uuid) const noexcept {
    std::size_t value = 0;
    for (auto byte : uuid.bytes()) value = value * 131 + byte;
    return value;
}
