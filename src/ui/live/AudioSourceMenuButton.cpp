#include "ui/live/AudioSourceMenuButton.h"

#include <QMenu>

#include "core/audio/SystemAudioSourceCatalog.h"

namespace quillon {

namespace {

QString fromUtf8(const std::string& text) {
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

ThemeIcon iconFor(LiveAudioMode mode) {
    switch (mode) {
        case LiveAudioMode::microphone:
            return ThemeIcon::microphone;
        case LiveAudioMode::systemAudio:
            return ThemeIcon::systemAudio;
        case LiveAudioMode::microphoneAndSystemAudio:
            return ThemeIcon::microphoneAndSystemAudio;
    }
    return ThemeIcon::microphone;
}

// The same choice: an application keeps its tick when its shown name changes.
bool sameSource(const LiveAudioConfiguration& a, const LiveAudioConfiguration& b) {
    return a.mode == b.mode && (a.mode == LiveAudioMode::microphone ||
                                a.systemAudioBundleIdentifier == b.systemAudioBundleIdentifier);
}

}  // namespace

AudioSourceMenuButton::AudioSourceMenuButton(SystemAudioSourceCatalog& catalog, QWidget* parent)
    : ChromeIconButton(ThemeIcon::microphone, 28, parent), catalog_(catalog) {
    setAccessibleLabel(QStringLiteral("Audio source"));
    // The menu lists what plays at the moment it opens, not at the last periodic look.
    connect(this, &ChromeIconButton::clicked, this, [this] {
        catalog_.refresh();
        buildMenu()->popup(mapToGlobal(QPoint(0, height())));
    });
    setState(configuration_, false);
}

void AudioSourceMenuButton::setState(const LiveAudioConfiguration& configuration, bool isChanging) {
    configuration_ = configuration;
    const QString name = fromUtf8(configuration.displayName());
    setIcon(iconFor(configuration.mode));
    setHelpText(isChanging ? QStringLiteral("Changing audio source…")
                           : QStringLiteral("Audio source: ") + name);
    setAccessibleValue(name);
    setEnabled(!isChanging);
}

void AudioSourceMenuButton::showEvent(QShowEvent* event) {
    ChromeIconButton::showEvent(event);
    catalog_.refresh();
}

QMenu* AudioSourceMenuButton::buildMenu() {
    delete menu_;
    menu_ = new QMenu(this);
    menu_->setAccessibleName(QStringLiteral("Audio source"));
    addChoice(menu_, QStringLiteral("Microphone"), QIcon(), LiveAudioConfiguration{});
    QMenu* system = menu_->addMenu(themeIcon(ThemeIcon::systemAudio), QStringLiteral("System Audio"));
    addSystemAudioChoices(system, LiveAudioMode::systemAudio);
    QMenu* both = menu_->addMenu(themeIcon(ThemeIcon::microphoneAndSystemAudio),
                                 QStringLiteral("Microphone + System Audio"));
    addSystemAudioChoices(both, LiveAudioMode::microphoneAndSystemAudio);
    return menu_;
}

void AudioSourceMenuButton::addSystemAudioChoices(QMenu* menu, LiveAudioMode mode) {
    addChoice(menu, QStringLiteral("All System Audio"), themeIcon(ThemeIcon::systemAudio),
              LiveAudioConfiguration{mode, std::nullopt, {}});
    if (catalog_.applications().empty()) return;
    menu->addSeparator();
    for (const auto& application : catalog_.applications()) {
        addChoice(menu, fromUtf8(application.name), QIcon::fromTheme(fromUtf8(application.iconName)),
                  LiveAudioConfiguration{mode, application.bundleIdentifier, application.name});
    }
}

void AudioSourceMenuButton::addChoice(QMenu* menu, const QString& text, const QIcon& icon,
                                      const LiveAudioConfiguration& configuration) {
    QAction* action = menu->addAction(icon, text);
    action->setCheckable(true);
    action->setChecked(sameSource(configuration, configuration_));
    connect(action, &QAction::triggered, this, [this, configuration] {
        if (onSelect) onSelect(configuration);
    });
}

}  // namespace quillon
