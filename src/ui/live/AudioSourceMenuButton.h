#pragma once

#include <functional>

#include "core/audio/LiveAudioConfiguration.h"
#include "ui/ChromeIconButton.h"

class QMenu;

namespace quillon {

class SystemAudioSourceCatalog;

// The live transcript's source menu: the microphone, all system audio or one application, alone or
// mixed with the microphone. The applications come from the catalog, looked up again whenever the
// button comes on screen; the menu is built afresh each time it opens. GUI thread only.
class AudioSourceMenuButton : public ChromeIconButton {
public:
    explicit AudioSourceMenuButton(SystemAudioSourceCatalog& catalog, QWidget* parent = nullptr);

    void setState(const LiveAudioConfiguration& configuration, bool isChanging);
    // The menu as it would open now.
    QMenu* buildMenu();

    std::function<void(const LiveAudioConfiguration&)> onSelect;

protected:
    void showEvent(QShowEvent* event) override;

private:
    void addSystemAudioChoices(QMenu* menu, LiveAudioMode mode);
    void addChoice(QMenu* menu, const QString& text, const QIcon& icon,
                   const LiveAudioConfiguration& configuration);

    SystemAudioSourceCatalog& catalog_;
    LiveAudioConfiguration configuration_;
    QMenu* menu_ = nullptr;
};

}  // namespace quillon
