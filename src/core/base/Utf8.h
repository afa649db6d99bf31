#pragma once

#include <cstddef>
#include <string_view>

namespace quillon::unicode {

// Whether `bytes` is well-formed UTF-8: shortest forms only, no surrogates, nothing above U+10FFFF.
inline bool isValidUtf8(std::string_view bytes) {
    std::size_t i = 0;
    const std::size_t n = bytes.size();
    while (i < n) {
        const auto byte = static_cast<unsigned char>(bytes[i]);
        if (byte < 0x80) {
            ++i;
            continue;
        }
        std::size_t length = 0;
        unsigned char low = 0x80;
        unsigned char high = 0xBF;
        if (byte >= 0xC2 && byte <= 0xDF) {
            length = 2;
        } else if (byte >= 0xE0 && byte <= 0xEF) {
            length = 3;
            if (byte == 0xE0) low = 0xA0;
            if (byte == 0xED) high = 0x9F;
        } else if (byte >= 0xF0 && byte <= 0xF4) {
            length = 4;
            if (byte == 0xF0) low = 0x90;
            if (byte == 0xF4) high = 0x8F;
        } else {
            return false;
        }
        if (i + length > n) return false;
        for (std::size_t k = 1; k < length; ++k) {
            const auto next = static_cast<unsigned char>(bytes[i + k]);
            const unsigned char min = k == 1 ? low : 0x80;
            const unsigned char max = k == 1 ? high : 0xBF;
            if (next < min || next > max) return false;
        }
        i += length;
    }
    return true;
}

}  // namespace quillon::unicode

