#include "platform/linux/settings/LoginItemXdgAutostart.h"

#include <QDir>
#include <QFile>
#include <QSaveFile>
#include <QString>

namespace quillon {

namespace {

std::string utf8(const QString& text) { return text.toUtf8().toStdString(); }

QString qPath(const std::filesystem::path& path) { return QString::fromStdString(path.string()); }

// The value of `key` in the [Desktop Entry] group of a desktop file, if it is there.
std::optional<QString> desktopEntryValue(const QByteArray& content, QStringView key) {
    bool inMainGroup = false;
    for (const QString& rawLine : QString::fromUtf8(content).split(u'\n')) {
        const QString line = rawLine.trimmed();
        if (line.startsWith(u'[')) {
            inMainGroup = line == QStringLiteral("[Desktop Entry]");
            continue;
        }
        if (!inMainGroup || line.startsWith(u'#')) continue;
        const qsizetype equals = line.indexOf(u'=');
        if (equals < 0 || QStringView(line).left(equals).trimmed() != key) continue;
        return line.mid(equals + 1).trimmed();
    }
    return std::nullopt;
}

}  // namespace

LoginItemXdgAutostart::LoginItemXdgAutostart(const std::filesystem::path& configHome, std::filesystem::path executable)
    : entryPath_(configHome / "autostart" / "quillon.desktop"), executable_(std::move(executable)) {}

bool LoginItemXdgAutostart::isEnabled() const {
    QFile file(qPath(entryPath_));
    if (!file.open(QIODevice::ReadOnly)) return false;
    const QByteArray content = file.readAll();
    if (desktopEntryValue(content, u"Hidden") == QStringLiteral("true")) return false;
    if (desktopEntryValue(content, u"X-GNOME-Autostart-enabled") == QStringLiteral("false")) return false;
    return desktopEntryValue(content, u"Type") == QStringLiteral("Application");
}

std::string LoginItemXdgAutostart::execValue(const std::filesystem::path& executable) {
    // Inside double quotes ", `, $ and \ take a backslash; then the string escape of desktop
    // files doubles every backslash; % is a field code unless doubled.
    const std::string path = executable.string();
    std::string quoted;
    const bool needsQuotes = path.find_first_of(" \t\n\"'\\><~|&;$*?#()`%") != std::string::npos;
    for (char character : path) {
        if (character == '%') {
            quoted += "%%";
            continue;
        }
        if (needsQuotes && (character == '"' || character == '`' || character == '$' || character == '\\')) {
            quoted += '\\';
        }
        quoted += character;
    }
    std::string escaped;
    for (char character : quoted) {
        if (character == '\\') escaped += '\\';
        escaped += character;
    }
    return needsQuotes ? "\"" + escaped + "\"" : escaped;
}

std::expected<void, std::string> LoginItemXdgAutostart::setEnabled(bool enabled) {
    const QString path = qPath(entryPath_);
    if (!enabled) {
        if (!QFile::exists(path)) return {};
        QFile file(path);
        if (!file.remove()) {
            return std::unexpected("cannot remove " + entryPath_.string() + ": " + utf8(file.errorString()));
        }
        return {};
    }
    if (!QDir().mkpath(qPath(entryPath_.parent_path()))) {
        return std::unexpected("cannot create the folder " + entryPath_.parent_path().string());
    }
    const std::string entry =
        "[Desktop Entry]\n"
        "Type=Application\n"
        "Name=Quillon\n"
        "Comment=Dictation and live transcription\n"
        "Exec=" + execValue(executable_) + "\n"
        "Icon=quillon\n"
        "Terminal=false\n"
        "X-GNOME-Autostart-enabled=true\n";
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly)) {
        return std::unexpected("cannot write " + entryPath_.string() + ": " + utf8(file.errorString()));
    }
    file.write(entry.data(), static_cast<qint64>(entry.size()));
    if (!file.commit()) {
        return std::unexpected("cannot write " + entryPath_.string() + ": " + utf8(file.errorString()));
    }
    return {};
}

}  // namespace quillon
