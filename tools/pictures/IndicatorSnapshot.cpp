// Draws the recording indicator in both modes, side by side at four times its size, into a PNG:
//   quillon_indicator_snapshot OUTPUT.png
#include <QApplication>
#include <QImage>
#include <QPainter>
#include <QTimer>

#include <cstdio>

#include "ui/RecordingIndicatorQt.h"

int main(int argc, char** argv) {
    QApplication application(argc, argv);
    if (argc < 2) {
        std::fputs("usage: quillon_indicator_snapshot OUTPUT.png\n", stderr);
        return 2;
    }
    quillon::AudioLevels levels;
    levels.levels = {0.35f, 0.8f, 1.0f, 0.55f, 0.2f};
    levels.peak = 1.0f;
    quillon::RecordingIndicatorView recording([&] { return levels; }, quillon::RecordingIndicatorMode::recording);
    quillon::RecordingIndicatorView transcribing([&] { return levels; }, quillon::RecordingIndicatorMode::transcribing);

    // Let the bars reach their levels, as they do a few frames after the voice starts.
    int frames = 0;
    QTimer timer;
    QObject::connect(&timer, &QTimer::timeout, [&] {
        recording.step();
        if (++frames == 20) application.quit();
    });
    timer.start(16);
    application.exec();

    constexpr qreal scale = 4.0;
    const QSize size = recording.size();
    QImage image(QSize(size.width() * 2, size.height()) * scale, QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(scale);
    image.fill(QColor(236, 238, 242));
    QPainter painter(&image);
    recording.render(&painter, QPoint(0, 0), QRegion(), QWidget::DrawChildren);
    transcribing.render(&painter, QPoint(size.width(), 0), QRegion(), QWidget::DrawChildren);
    painter.end();
    return image.save(QString::fromLocal8Bit(argv[1])) ? 0 : 1;
}
