#include "ui/StatusIconRenderer.h"

#include <QImage>
#include <QPainter>
#include <QPixmap>
#include <QSvgRenderer>

#include <cmath>

namespace quillon {

namespace {
// Tray hosts ask for 16 to 24 pixels, some for twice that on dense screens.
constexpr int iconSizes[] = {16, 22, 24, 32, 44, 48, 64};
}  // namespace

QString StatusIconRenderer::resourcePath(StatusIcon kind) {
    switch (kind) {
        case StatusIcon::idle: return QStringLiteral(":/icons/quillon.svg");
        case StatusIcon::recording: return QStringLiteral(":/icons/recording.svg");
        case StatusIcon::liveTranscribing: return QStringLiteral(":/icons/live.svg");
        case StatusIcon::transcribing: return QStringLiteral(":/icons/transcribing.svg");
        case StatusIcon::error: return QStringLiteral(":/icons/error.svg");
    }
    return QStringLiteral(":/icons/quillon.svg");
}

QIcon StatusIconRenderer::icon(StatusIcon kind, double opacity) {
    const int step = static_cast<int>(std::lround(std::clamp(opacity, 0.0, 1.0) / opacityStep));
    const auto key = std::make_pair(kind, step);
    if (auto found = cache_.find(key); found != cache_.end()) return found->second;

    // The whole picture fades as one: each shape drawn faded on its own would let the shapes
    // below show through.
    QSvgRenderer renderer(resourcePath(kind));
    QIcon result;
    for (int size : iconSizes) {
        QImage opaque(size, size, QImage::Format_ARGB32_Premultiplied);
        opaque.fill(Qt::transparent);
        QPainter drawing(&opaque);
        drawing.setRenderHint(QPainter::Antialiasing);
        renderer.render(&drawing, QRectF(0, 0, size, size));
        drawing.end();

        QImage faded(size, size, QImage::Format_ARGB32_Premultiplied);
        faded.fill(Qt::transparent);
        QPainter fading(&faded);
        fading.setOpacity(step * opacityStep);
        fading.drawImage(0, 0, opaque);
        fading.end();
        result.addPixmap(QPixmap::fromImage(faded));
    }
    cache_.emplace(key, result);
    return result;
}

}  // namespace quillon
