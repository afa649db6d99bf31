#pragma once

#include <QElapsedTimer>
#include <QObject>
#include <QPointer>
#include <QTimer>
#include <QWidget>

#include <array>
#include <functional>
#include <optional>

#include "core/audio/LevelMeter.h"
#include "core/ports/RecordingIndicator.h"

class QPropertyAnimation;

namespace quillon {

// The pill's drawing surface: the capsule, its sheen, borders and glow, and five level bars or a
// sine wave. It takes no input; the window around it never takes the focus.
class RecordingIndicatorView final : public QWidget {
public:
    // Sizes of the pill, in device-independent pixels.
    static constexpr double pillWidth = 56.0;
    static constexpr double pillHeight = 30.0;
    static constexpr double barWidth = 3.2;
    static constexpr double barSpacing = 3.4;
    static constexpr double minBarHeight = 4.0;
    static constexpr double maxBarHeight = 18.0;
    static constexpr double horizontalPadding = 8.0;
    // Room around the pill for its shadows and glow.
    static constexpr double margin = 24.0;

    RecordingIndicatorView(std::function<AudioLevels()> levels, RecordingIndicatorMode mode);

    void setMode(RecordingIndicatorMode mode);
    RecordingIndicatorMode mode() const { return mode_; }
    // Advances the animation by one display frame.
    void step();
    int framesDrawn() const { return framesDrawn_; }

    static double barHeight(float level);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    void paintContent(QPainter& painter, RecordingIndicatorMode mode, double opacity, double scale);

    std::function<AudioLevels()> levels_;
    RecordingIndicatorMode mode_;
    RecordingIndicatorMode previousMode_;
    QElapsedTimer modeChange_;
    QElapsedTimer clock_;
    QElapsedTimer lastStep_;
    std::array<double, LevelMeter::visualizationBandCount> shownHeights_{};
    float peak_ = 0.0f;
    int framesDrawn_ = 0;
};

// The recording indicator as a frameless, translucent, always-on-top tool window that ignores the
// mouse and is never activated, at the lower right of the screen that holds the pointer. It fades
// in and out and animates at about 60 frames a second only while it is on screen.
// GUI thread only, except setMode(), which may be called from any thread.
class RecordingIndicatorQt final : public QObject, public RecordingIndicator {
public:
    static constexpr int frameIntervalMs = 16;
    static constexpr int fadeInMs = 160;
    static constexpr int fadeOutMs = 150;

    // `levels` gives the meter's smoothed levels; it is read on the GUI thread at each frame.
    explicit RecordingIndicatorQt(std::function<AudioLevels()> levels);
    ~RecordingIndicatorQt() override;

    void setMode(RecordingIndicatorMode mode) override;
    void show() override;
    void hide() override;

    // What is on screen now, for those who look from inside the program (tests, screenshots).
    RecordingIndicatorView* window() const { return window_; }
    // Frames the window drew, -1 without one; the mode it shows, absent without one.
    int framesDrawn() const;
    std::optional<RecordingIndicatorMode> shownMode() const;
    bool isVisible() const { return isVisible_; }
    bool isHiding() const { return isHiding_; }
    bool isAnimating() const { return frameTimer_.isActive(); }

private:
    void finishHiding();

    std::function<AudioLevels()> levels_;
    RecordingIndicatorMode mode_ = RecordingIndicatorMode::recording;
    bool isVisible_ = false;
    bool isHiding_ = false;
    RecordingIndicatorView* window_ = nullptr;  // owned; exists from show() to the end of the fade-out
    QPointer<QPropertyAnimation> fade_;
    QTimer frameTimer_;
};

}  // namespace quillon
