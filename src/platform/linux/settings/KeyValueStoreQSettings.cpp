#include "platform/linux/settings/KeyValueStoreQSettings.h"

#include <QFile>
#include <QSettings>
#include <QStringDecoder>
#include <QStringList>
#include <QVariant>

#include <charconv>
#include <limits>

namespace quillon {

namespace {

// Far beyond any real settings file; a bigger one is something else stored under this name.
constexpr qint64 maximumFileSize = 16 * 1024 * 1024;

QString keyString(std::string_view key) { return QString::fromUtf8(key.data(), static_cast<qsizetype>(key.size())); }

std::string utf8(const QString& text) {
    const QByteArray bytes = text.toUtf8();
    return std::string(bytes.constData(), static_cast<std::size_t>(bytes.size()));
}

bool isWholeNumber(const std::string& text) {
    std::int64_t number = 0;
    const char* begin = text.data();
    if (!text.empty() && text.front() == '+') ++begin;
    const auto [end, error] = std::from_chars(begin, text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size() && begin != end;
}

std::optional<double> realNumber(const std::string& text) {
    // Words like "nan" or "inf" are text, not numbers someone wrote down.
    if (text.find_first_of("0123456789") == std::string::npos) return std::nullopt;
    double number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return number;
}

// The type a value written as plain text in the file has when it is read back.
KeyValueStore::Value typedFromText(const QString& text) {
    std::string value = utf8(text);
    if (value == "true") return true;
    if (value == "false") return false;
    if (isWholeNumber(value)) {
        std::int64_t number = 0;
        std::from_chars(value.data() + (value.front() == '+' ? 1 : 0), value.data() + value.size(), number);
        return number;
    }
    if (auto number = realNumber(value)) return *number;
    return value;
}

std::optional<KeyValueStore::Value> fromVariant(const QVariant& variant) {
    if (!variant.isValid()) return std::nullopt;
    switch (variant.metaType().id()) {
        case QMetaType::Bool: return variant.toBool();
        case QMetaType::Int:
        case QMetaType::UInt:
        case QMetaType::LongLong: return std::int64_t{variant.toLongLong()};
        case QMetaType::Float:
        case QMetaType::Double: return variant.toDouble();
        case QMetaType::QByteArray: {
            const QByteArray bytes = variant.toByteArray();
            return std::string(bytes.constData(), static_cast<std::size_t>(bytes.size()));
        }
        case QMetaType::QString: return typedFromText(variant.toString());
        // An unquoted value with commas in a hand-edited file reads as a list: it was one text.
        case QMetaType::QStringList: return utf8(variant.toStringList().join(QStringLiteral(", ")));
        default: return std::nullopt;
    }
}

QVariant toVariant(const KeyValueStore::Value& value) {
    if (const auto* flag = std::get_if<bool>(&value)) return QVariant(*flag);
    if (const auto* number = std::get_if<std::int64_t>(&value)) return QVariant(qlonglong{*number});
    if (const auto* real = std::get_if<double>(&value)) return QVariant(*real);
    const auto& text = std::get<std::string>(value);
    const QString string = QString::fromStdString(text);
    if (std::holds_alternative<std::string>(typedFromText(string))) return QVariant(string);
    return QVariant(QByteArray(text.data(), static_cast<qsizetype>(text.size())));
}

// Why `content` is not an INI file that QSettings wrote or a person could have edited, if it is
// not. QSettings itself accepts nearly anything and would write back only the parts it
// understood, so the check is ours.
std::optional<std::string> whyNotSettingsText(const QByteArray& content) {
    QStringDecoder decoder(QStringDecoder::Utf8);
    const QString text = decoder.decode(content);
    if (decoder.hasError()) return "it is not UTF-8 text";
    bool continued = false;
    int lineNumber = 0;
    for (QStringView line : QStringView(text).split(u'\n')) {
        ++lineNumber;
        for (QChar character : line) {
            if (character.unicode() < 0x20 && character != u'\t' && character != u'\r') {
                return "line " + std::to_string(lineNumber) + " holds a control character";
            }
        }
        const QStringView trimmed = line.trimmed();
        const bool wasContinued = continued;
        // A value may go on over the next line after a backslash at the end.
        qsizetype backslashes = 0;
        while (backslashes < trimmed.size() && trimmed[trimmed.size() - 1 - backslashes] == u'\\') ++backslashes;
        continued = backslashes % 2 == 1;
        if (wasContinued || trimmed.isEmpty() || trimmed.startsWith(u';') || trimmed.startsWith(u'#')) continue;
        if (trimmed.startsWith(u'[')) {
            if (!trimmed.endsWith(u']')) return "line " + std::to_string(lineNumber) + " is an unfinished section";
            continue;
        }
        if (!trimmed.contains(u'=')) return "line " + std::to_string(lineNumber) + " is not a setting";
    }
    return std::nullopt;
}

// Why the file at `path` cannot be used, if it cannot. A missing file is fine: nothing was set.
std::optional<std::string> whyUnusable(const std::filesystem::path& path) {
    std::error_code error;
    const auto status = std::filesystem::status(path, error);
    if (status.type() == std::filesystem::file_type::not_found) return std::nullopt;
    if (error) return "its state cannot be read (" + error.message() + ")";
    if (status.type() != std::filesystem::file_type::regular) return "it is not a regular file";
    QFile file(QString::fromStdString(path.string()));
    if (!file.open(QIODevice::ReadOnly)) return "it cannot be opened (" + utf8(file.errorString()) + ")";
    if (file.size() > maximumFileSize) return "it is too large to be a settings file";
    const QByteArray content = file.readAll();
    if (file.error() != QFileDevice::NoError) return "it cannot be read (" + utf8(file.errorString()) + ")";
    return whyNotSettingsText(content);
}

}  // namespace

KeyValueStoreQSettings::KeyValueStoreQSettings(const std::filesystem::path& configHome, Logger logger)
    : filePath_(configHome / "Quillon" / "Quillon.conf"), logger_(std::move(logger)) {
    refusal_ = whyUnusable(filePath_);
    if (!refusal_) {
        settings_ = std::make_unique<QSettings>(QString::fromStdString(filePath_.string()), QSettings::IniFormat);
        switch (settings_->status()) {
            case QSettings::NoError: break;
            case QSettings::AccessError: refusal_ = "it cannot be read"; break;
            case QSettings::FormatError: refusal_ = "it is not a valid settings file"; break;
        }
        if (refusal_) settings_.reset();
    }
    if (refusal_) {
        logger_.error("The settings file " + filePath_.string() + " is not used because " + *refusal_ +
                      "; Quillon runs with the default settings and leaves the file as it is");
    }
}

KeyValueStoreQSettings::~KeyValueStoreQSettings() = default;

bool KeyValueStoreQSettings::isWritable() const {
    std::lock_guard lock(mutex_);
    return !refusal_.has_value();
}

std::optional<KeyValueStore::Value> KeyValueStoreQSettings::value(std::string_view key) const {
    std::lock_guard lock(mutex_);
    if (auto found = unsaved_.find(key); found != unsaved_.end()) return found->second;
    if (!settings_) return std::nullopt;
    return fromVariant(settings_->value(keyString(key)));
}

void KeyValueStoreQSettings::setValue(std::string_view key, const Value& value) {
    std::lock_guard lock(mutex_);
    if (!refusal_) {
        // QSettings writes back only what it understood of a file; one that was edited into
        // something else since it was read must not be replaced by that.
        refusal_ = whyUnusable(filePath_);
        if (refusal_) {
            logger_.error("The settings file " + filePath_.string() + " is no longer written because " + *refusal_ +
                          "; Quillon leaves it as it is");
        }
    }
    if (refusal_) {
        unsaved_.insert_or_assign(std::string(key), value);
        logger_.error("The setting " + std::string(key) + " is kept only until Quillon quits: the settings file " +
                      filePath_.string() + " is left as it is because " + *refusal_);
        return;
    }
    settings_->setValue(keyString(key), toVariant(value));
    settings_->sync();
    if (settings_->status() != QSettings::NoError) {
        logger_.error("Failed to save settings to " + filePath_.string() +
                      (settings_->status() == QSettings::AccessError ? ": the file cannot be written"
                                                                     : ": the file is not a valid settings file"));
    }
}

}  // namespace quillon
