#pragma once

#include <QSlider>

namespace kestrova::studio {

/// A horizontal slider whose bar begins at the value at rest. A press on the groove moves the handle there; with Shift
/// a drag moves it by a fifth. Moves nothing by itself: it reports what the hand asks for, and `setValue` answers.
class SliderTrack : public QSlider {
    Q_OBJECT

public:
    SliderTrack(int least, int greatest, int rest, QWidget* parent = nullptr);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

signals:
    void dragged(int value);
    void released(bool afterDrag);  ///< not after a drag: after a press in one place
    void doubleClicked();

protected:
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    double pixelsPerStep() const;
    double xOf(double value) const;
    void reportDrag();

    int m_rest;
    bool m_dragged = false;
    double m_aim = 0;  // where the hand is, beyond the ends as well
    double m_handX = 0;
};

}  // namespace kestrova::studio
