#pragma once

#include <optional>
#include <string>
#include <vector>

namespace quillon {

// The system clipboard (the X11 CLIPBOARD selection on Linux).
// Threads: any; the adapter does the work on the main thread and a caller elsewhere waits for
// it, so the main thread must never wait on a thread that uses the clipboard.
class Pasteboard {
public:
    virtual ~Pasteboard() = default;

    // The plain text on the clipboard, or absent when it holds none.
    virtual std::optional<std::string> string() const = 0;

    // Clears the clipboard and puts `text` on it as plain text. False when that failed.
    virtual bool setString(const std::string& text) = 0;

    virtual void clear() = 0;

    // The formats (MIME types) the clipboard offers now; empty when it holds nothing.
    virtual std::vector<std::string> types() const = 0;

    // Clears the clipboard and offers `types` again, with no data behind them: what is left of
    // a clipboard without text after dictation borrowed it for a paste.
    virtual void declareTypes(const std::vector<std::string>& types) = 0;
};

}  // namespace quillon
