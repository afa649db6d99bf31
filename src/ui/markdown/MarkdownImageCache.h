#pragma once

#include <QByteArray>
#include <QHash>
#include <QImage>
#include <QList>
#include <QString>

#include <optional>

namespace quillon {

// Images of the summary, by their address: `file:` addresses read from disk and `data:` addresses
// decoded, each once; the last `capacity` bytes of decoded pixels stay cached. Nothing is ever
// fetched from the network: a summary is text from the model, and a remote image in it would tell a
// server that the user is reading it. GUI thread only.
class MarkdownImageCache {
public:
    static constexpr qsizetype defaultCapacity = 32 * 1024 * 1024;

    explicit MarkdownImageCache(qsizetype capacity = defaultCapacity) : capacity_(capacity) {}

    // The image at `url`, or nothing for a remote, unreadable or undecodable one.
    std::optional<QImage> image(const QString& url);

private:
    static std::optional<QImage> load(const QString& url);
    void insert(const QString& url, const QImage& image);

    qsizetype capacity_;
    qsizetype size_ = 0;
    QHash<QString, QImage> images_;
    QList<QString> order_;  // least recently used first
};

}  // namespace quillon
