#pragma once

#include <expected>
#include <functional>
#include <string>

namespace quillon {

enum class RecordPermission { undetermined, denied, granted };

// Whether the program may record the microphone, asking for it, and the desktop's page to grant it.
class MicrophoneAccess {
public:
    virtual ~MicrophoneAccess() = default;

    // What is known now; never waits.
    virtual RecordPermission recordPermission() const = 0;

    // Asks for access; the completion runs once, on any thread, with the answer.
    virtual void requestRecordPermission(std::function<void(bool granted)> completion) = 0;

    // Opens the desktop's sound input settings; the error says why it could not.
    virtual std::expected<void, std::string> openSettings() = 0;
};

}  // namespace quillon
