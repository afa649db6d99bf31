#pragma once

#include <atomic>
#include <memory>

#include "core/ports/MicrophoneAccess.h"
#include "platform/linux/desktop/UrlOpenerXdg.h"
#include "platform/linux/sound/PulseServerConnection.h"

namespace quillon {

// Microphone permission on a desktop without a permission portal; see SOUND.md beside this file.
// Granted when the sound server answers and has at least one microphone (a source that is not a
// monitor); denied when it cannot be reached or has none; undetermined until it was asked.
// Lock rules: the state is one atomic, written on the loop's thread, read anywhere.
class MicrophoneAccessPulse final : public MicrophoneAccess {
public:
    explicit MicrophoneAccessPulse(PulseServerConnection& connection);

    // A denial because the server could not be reached starts a new attempt, so that the next
    // check sees a server that has started since.
    RecordPermission recordPermission() const override;
    void requestRecordPermission(std::function<void(bool granted)> completion) override;
    std::expected<void, std::string> openSettings() override;

private:
    PulseServerConnection& connection_;
    UrlOpenerXdg soundSettings_{"pavucontrol"};
    UrlOpenerXdg desktopSettings_{"xdg-open"};
    std::shared_ptr<std::atomic<RecordPermission>> permission_ =
        std::make_shared<std::atomic<RecordPermission>>(RecordPermission::undetermined);
};

}  // namespace quillon
