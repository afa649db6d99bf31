#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace quillon {

// Splits a byte stream into newline-terminated lines. Bytes after the last newline wait for the
// next chunk; a carriage return is left in the line. The waiting part has no upper limit: a line is
// as long as the child makes it. Each chunk is scanned once, so a long line that arrives in many
// chunks costs time in proportion to its length.
class JsonLineBuffer {
public:
    // Appends `bytes` and calls `onLine(std::string_view line)` for each complete line, in order,
    // without its newline. The view is valid during the call only.
    template <class OnLine>
    void append(std::string_view bytes, OnLine&& onLine) {
        if (bytes.empty()) return;
        buffer_.append(bytes);
        std::size_t start = 0;
        std::size_t searchFrom = scanned_;
        for (;;) {
            const std::size_t newline = buffer_.find('\n', searchFrom);
            if (newline == std::string::npos) break;
            onLine(std::string_view(buffer_).substr(start, newline - start));
            start = newline + 1;
            searchFrom = start;
        }
        if (start > 0) buffer_.erase(0, start);
        scanned_ = buffer_.size();
    }

    void clear() {
        buffer_.clear();
        scanned_ = 0;
    }

    // Bytes waiting for their newline.
    std::size_t pendingSize() const { return buffer_.size(); }

private:
    std::string buffer_;
    std::size_t scanned_ = 0;  // bytes known to hold no newline
};

}  // namespace quillon
