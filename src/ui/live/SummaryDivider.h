#pragma once

#include <QWidget>

#include <functional>
#include <optional>

namespace quillon {

// The strip between transcript and summary that the user drags to resize the summary: almost
// invisible, 12 wide, with a faint line down the middle and the resize cursor. GUI thread only.
class SummaryDivider : public QWidget {
public:
    explicit SummaryDivider(QWidget* parent = nullptr);

    // The horizontal distance dragged since the press; then the end of the drag.
    std::function<void(int translation)> onDrag;
    std::function<void()> onDragEnd;

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

private:
    std::optional<int> pressX_;
};

}  // namespace quillon
