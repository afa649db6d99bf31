#include "ui/RecordingIndicatorQt.h"

#include <QCursor>
#include <QDateTime>
#include <QGuiApplication>
#include <QPainter>
#include <QPainterPath>
#include <QPropertyAnimation>
#include <QScreen>

#include <algorithm>
#include <cmath>
#include <numbers>

namespace quillon {

namespace {

constexpr int modeChangeMs = 180;
// The reference date of the sine wave's clock (1 January 2001), in seconds after 1970.
constexpr double referenceDate = 978307200.0;

QColor rgba(double red, double green, double blue, double alpha = 1.0) {
    return QColor::fromRgbF(static_cast<float>(red), static_cast<float>(green), static_cast<float>(blue),
                            static_cast<float>(alpha));
}

QColor accentColor(RecordingIndicatorMode mode) {
    return mode == RecordingIndicatorMode::recording ? rgba(1.0, 0.24, 0.36) : rgba(0.42, 0.82, 1.0);
}

std::array<QColor, 2> backgroundColors(RecordingIndicatorMode mode) {
    if (mode == RecordingIndicatorMode::recording) return {rgba(0.3, 0.05, 0.1, 0.95), rgba(0.12, 0.07, 0.16, 0.93)};
    return {rgba(0.1, 0.16, 0.22, 0.94), rgba(0.08, 0.11, 0.18, 0.92)};
}

double baseGlowOpacity(RecordingIndicatorMode mode) { return mode == RecordingIndicatorMode::recording ? 0.24 : 0.12; }

QColor mix(const QColor& from, const QColor& to, double t) {
    return QColor::fromRgbF(static_cast<float>(from.redF() + (to.redF() - from.redF()) * t),
                            static_cast<float>(from.greenF() + (to.greenF() - from.greenF()) * t),
                            static_cast<float>(from.blueF() + (to.blueF() - from.blueF()) * t),
                            static_cast<float>(from.alphaF() + (to.alphaF() - from.alphaF()) * t));
}

QColor withAlpha(QColor color, double alpha) {
    color.setAlphaF(static_cast<float>(alpha));
    return color;
}

double easeInOut(double t) { return t < 0.5 ? 2 * t * t : 1 - std::pow(-2 * t + 2, 2) / 2; }

void fillCapsule(QPainter& painter, const QRectF& rect, const QBrush& brush) {
    const double radius = std::min(rect.width(), rect.height()) / 2;
    painter.setPen(Qt::NoPen);
    painter.setBrush(brush);
    painter.drawRoundedRect(rect, radius, radius);
}

// A blurred capsule, drawn as layers that widen and fade: close enough to a Gaussian blur of
// `radius` at this size, and cheap enough for every frame.
void softCapsule(QPainter& painter, const QRectF& rect, const QColor& color, double radius) {
    constexpr int layers = 8;
    for (int k = layers; k >= 1; --k) {
        const double grow = radius * (static_cast<double>(k) / layers - 0.5);
        const double alpha = color.alphaF() * 2.0 / layers * (1.0 - static_cast<double>(k - 1) / layers);
        fillCapsule(painter, rect.adjusted(-grow, -grow, grow, grow), withAlpha(color, alpha));
    }
}

void strokeCapsule(QPainter& painter, const QRectF& rect, const QColor& color, double width) {
    const double radius = std::min(rect.width(), rect.height()) / 2;
    painter.setBrush(Qt::NoBrush);
    painter.setPen(QPen(color, width));
    painter.drawRoundedRect(rect, radius, radius);
}

}  // namespace

RecordingIndicatorView::RecordingIndicatorView(std::function<AudioLevels()> levels, RecordingIndicatorMode mode)
    : levels_(std::move(levels)), mode_(mode), previousMode_(mode) {
    shownHeights_.fill(minBarHeight);
    clock_.start();
    lastStep_.start();
    setFixedSize(static_cast<int>(pillWidth + 2 * margin), static_cast<int>(pillHeight + 2 * margin));
}

double RecordingIndicatorView::barHeight(float level) {
    const double clamped = std::clamp(static_cast<double>(level), 0.0, 1.0);
    return std::max(minBarHeight, minBarHeight + (maxBarHeight - minBarHeight) * clamped);
}

void RecordingIndicatorView::setMode(RecordingIndicatorMode mode) {
    if (mode == mode_) return;
    previousMode_ = mode_;
    mode_ = mode;
    modeChange_.start();
    update();
}

void RecordingIndicatorView::step() {
    const AudioLevels levels = levels_ ? levels_() : AudioLevels{};
    peak_ = levels.peak;
    // Each bar eases out towards its level over about 80 ms.
    const double elapsed = static_cast<double>(lastStep_.restart()) / 1000.0;
    const double follow = 1.0 - std::exp(-elapsed / 0.027);
    for (std::size_t i = 0; i < shownHeights_.size(); ++i) {
        shownHeights_[i] += (barHeight(levels.levels[i]) - shownHeights_[i]) * follow;
    }
    update();
}

void RecordingIndicatorView::paintEvent(QPaintEvent*) {
    ++framesDrawn_;
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);

    double change = 1.0;
    if (modeChange_.isValid()) change = easeInOut(std::min(1.0, static_cast<double>(modeChange_.elapsed()) / modeChangeMs));
    const QColor accent = mix(accentColor(previousMode_), accentColor(mode_), change);
    const auto fromBackground = backgroundColors(previousMode_);
    const auto toBackground = backgroundColors(mode_);
    const double glow = baseGlowOpacity(previousMode_) + (baseGlowOpacity(mode_) - baseGlowOpacity(previousMode_)) * change +
                        static_cast<double>(peak_) * 0.28;

    const QRectF pill(margin, margin, pillWidth, pillHeight);

    // Two shadows under the pill: a dark one below it and a faint one of the accent colour.
    softCapsule(painter, pill.translated(0, 8), rgba(0, 0, 0, 0.28), 14);
    softCapsule(painter, pill, withAlpha(accent, 0.18), 10);

    // 1. The capsule, its gradient running from the top left to the bottom right.
    QLinearGradient background(pill.topLeft(), pill.bottomRight());
    background.setColorAt(0, mix(fromBackground[0], toBackground[0], change));
    background.setColorAt(1, mix(fromBackground[1], toBackground[1], change));
    fillCapsule(painter, pill, background);

    // 2. The sheen, lightening what lies under it.
    const QRectF sheenRect = pill.adjusted(1.2, 1.2, -1.2, -1.2);
    QLinearGradient sheen(sheenRect.topLeft(), sheenRect.bottomLeft());
    sheen.setColorAt(0, rgba(1, 1, 1, 0.24));
    sheen.setColorAt(0.5, rgba(1, 1, 1, 0.06));
    sheen.setColorAt(1, rgba(1, 1, 1, 0));
    painter.setCompositionMode(QPainter::CompositionMode_Screen);
    fillCapsule(painter, sheenRect, sheen);
    painter.setCompositionMode(QPainter::CompositionMode_SourceOver);

    // 3. Two borders inside the edge.
    strokeCapsule(painter, pill.adjusted(0.35, 0.35, -0.35, -0.35), rgba(1, 1, 1, 0.22), 0.7);
    strokeCapsule(painter, pill.adjusted(1.55, 1.55, -1.55, -1.55), rgba(1, 1, 1, 0.08), 0.5);

    // 4. The glow, reaching 2 pixels past the pill and brighter with the voice.
    softCapsule(painter, pill.adjusted(-2, -2, 2, 2), withAlpha(accent, std::min(1.0, glow) * 0.5), 10);

    // 5. The content, the old one fading out as the new one scales in.
    if (change < 1.0) paintContent(painter, previousMode_, 1.0 - change, 1.0 - 0.04 * change);
    paintContent(painter, mode_, change, 0.96 + 0.04 * change);
}

void RecordingIndicatorView::paintContent(QPainter& painter, RecordingIndicatorMode mode, double opacity, double scale) {
    painter.save();
    painter.setOpacity(opacity);
    const QPointF center(margin + pillWidth / 2, margin + pillHeight / 2);
    painter.translate(center);
    painter.scale(scale, scale);
    painter.translate(-center);
    const QColor accent = accentColor(mode);

    if (mode == RecordingIndicatorMode::recording) {
        const double rowWidth = LevelMeter::visualizationBandCount * barWidth + (LevelMeter::visualizationBandCount - 1) * barSpacing;
        double x = center.x() - rowWidth / 2;
        for (double height : shownHeights_) {
            const double shown = std::max(2.5, height);
            const QRectF bar(x, center.y() - shown / 2, barWidth, shown);
            softCapsule(painter, bar, withAlpha(accent, 0.35), 4);
            QLinearGradient fill(bar.topLeft(), bar.bottomLeft());
            fill.setColorAt(0, rgba(1, 1, 1, 0.95));
            fill.setColorAt(1, withAlpha(accent, 0.9));
            fillCapsule(painter, bar, fill);
            x += barWidth + barSpacing;
        }
    } else {
        const double width = pillWidth - 2 * horizontalPadding;
        const double height = maxBarHeight;
        const QPointF origin(margin + horizontalPadding, center.y() - height / 2);
        const double t = static_cast<double>(QDateTime::currentMSecsSinceEpoch()) / 1000.0 - referenceDate;
        const double phase = t * 2.8;
        const double amplitude = (std::sin(t * 3.4) * 0.5 + 0.5) * 2.5 + 3.0;
        const double stepWidth = std::max(width / 28, 1.0);
        QPainterPath path;
        for (double x = 0; x <= width; x += stepWidth) {
            const double y = height / 2 + amplitude * std::sin(phase + 1.25 * 2 * std::numbers::pi * x / std::max(width, 1.0));
            const QPointF point = origin + QPointF(x, y);
            if (x == 0) path.moveTo(point);
            else path.lineTo(point);
        }
        painter.setBrush(Qt::NoBrush);
        for (const auto& [penWidth, alpha] : {std::pair{6.0, 0.1}, std::pair{3.5, 0.2}}) {
            painter.setPen(QPen(withAlpha(accent, alpha), penWidth, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
            painter.drawPath(path);
        }
        painter.setPen(QPen(accent, 1.6, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
        painter.drawPath(path);
    }
    painter.restore();
}

RecordingIndicatorQt::RecordingIndicatorQt(std::function<AudioLevels()> levels) : levels_(std::move(levels)) {
    frameTimer_.setInterval(frameIntervalMs);
    frameTimer_.setTimerType(Qt::PreciseTimer);
    QObject::connect(&frameTimer_, &QTimer::timeout, this, [this] {
        if (window_) window_->step();
    });
}

RecordingIndicatorQt::~RecordingIndicatorQt() { delete window_; }

int RecordingIndicatorQt::framesDrawn() const { return window_ ? window_->framesDrawn() : -1; }

std::optional<RecordingIndicatorMode> RecordingIndicatorQt::shownMode() const {
    if (!window_) return std::nullopt;
    return window_->mode();
}

void RecordingIndicatorQt::setMode(RecordingIndicatorMode mode) {
    QMetaObject::invokeMethod(
        this,
        [this, mode] {
            mode_ = mode;
            if (window_) window_->setMode(mode);
        },
        Qt::QueuedConnection);
}

void RecordingIndicatorQt::show() {
    if (window_) return;  // also while fading out: that show is lost
    QScreen* screen = QGuiApplication::screenAt(QCursor::pos());
    if (!screen) screen = QGuiApplication::primaryScreen();
    if (!screen) return;
    const QRect frame = screen->geometry();
    const double margin = RecordingIndicatorView::margin;
    const QPoint pillOrigin(frame.x() + frame.width() - static_cast<int>(RecordingIndicatorView::pillWidth) - 20,
                            frame.y() + frame.height() - static_cast<int>(RecordingIndicatorView::pillHeight) - 20);

    window_ = new RecordingIndicatorView(levels_, mode_);
    window_->setWindowFlags(Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint |
                            Qt::WindowTransparentForInput | Qt::WindowDoesNotAcceptFocus | Qt::NoDropShadowWindowHint);
    window_->setAttribute(Qt::WA_TranslucentBackground);
    window_->setAttribute(Qt::WA_ShowWithoutActivating);
    window_->setFocusPolicy(Qt::NoFocus);
    window_->setWindowTitle(QStringLiteral("Quillon recording indicator"));
    window_->move(pillOrigin - QPoint(static_cast<int>(margin), static_cast<int>(margin)));
    window_->setWindowOpacity(0.0);
    window_->show();
    isVisible_ = true;
    isHiding_ = false;
    frameTimer_.start();

    fade_ = new QPropertyAnimation(window_, "windowOpacity", window_);
    fade_->setDuration(fadeInMs);
    fade_->setStartValue(0.0);
    fade_->setEndValue(1.0);
    fade_->setEasingCurve(QEasingCurve::OutQuad);
    fade_->start(QAbstractAnimation::DeleteWhenStopped);
}

void RecordingIndicatorQt::hide() {
    if (!window_ || isHiding_) return;
    isHiding_ = true;
    isVisible_ = false;
    if (fade_) fade_->stop();
    fade_ = new QPropertyAnimation(window_, "windowOpacity", window_);
    fade_->setDuration(fadeOutMs);
    fade_->setStartValue(window_->windowOpacity());
    fade_->setEndValue(0.0);
    fade_->setEasingCurve(QEasingCurve::InQuad);
    QObject::connect(fade_, &QPropertyAnimation::finished, this, [this] { finishHiding(); });
    fade_->start(QAbstractAnimation::DeleteWhenStopped);
}

void RecordingIndicatorQt::finishHiding() {
    frameTimer_.stop();
    if (window_) {
        window_->hide();
        window_->deleteLater();
    }
    window_ = nullptr;
    isHiding_ = false;
}

}  // namespace quillon
