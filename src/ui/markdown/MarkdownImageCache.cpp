#include "ui/markdown/MarkdownImageCache.h"

#include <QUrl>

namespace quillon {

std::optional<QImage> MarkdownImageCache::image(const QString& url) {
    if (const auto found = images_.constFind(url); found != images_.constEnd()) {
        order_.removeOne(url);
        order_.append(url);
        return *found;
    }
    auto loaded = load(url);
    if (loaded) insert(url, *loaded);
    return loaded;
}

std::optional<QImage> MarkdownImageCache::load(const QString& url) {
    QImage image;
    if (url.startsWith(QLatin1String("data:"), Qt::CaseInsensitive)) {
        // data:[<type>][;base64],<data>
        const qsizetype comma = url.indexOf(QLatin1Char(','));
        if (comma < 0) return std::nullopt;
        const QString header = url.mid(5, comma - 5);
        const QByteArray payload = url.mid(comma + 1).toLatin1();
        const QByteArray bytes = header.endsWith(QLatin1String(";base64"), Qt::CaseInsensitive)
                                     ? QByteArray::fromBase64(payload)
                                     : QByteArray::fromPercentEncoding(payload);
        image.loadFromData(bytes);
    } else {
        const QUrl parsed(url);
        if (!parsed.isLocalFile()) return std::nullopt;
        image.load(parsed.toLocalFile());
    }
    if (image.isNull()) return std::nullopt;
    return image;
}

void MarkdownImageCache::insert(const QString& url, const QImage& image) {
    const qsizetype bytes = image.sizeInBytes();
    if (bytes > capacity_) return;
    while (size_ + bytes > capacity_ && !order_.isEmpty()) {
        size_ -= images_.take(order_.takeFirst()).sizeInBytes();
    }
    images_.insert(url, image);
    order_.append(url);
    size_ += bytes;
}

}  // namespace quillon
