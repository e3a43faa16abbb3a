#pragma once

#include <QElapsedTimer>
#include <QPointer>
#include <QWidget>
#include <memory>

#include "studio/frame.h"
#include "studio/tool.h"
#include "studio/view_transform.h"

namespace kestrova::studio {

/// Shows frames of a photograph, lets them be moved and zoomed, and hands the pointer to a tool. Knows neither sessions
/// nor workers: it says what it shows by `viewChanged` and paints the frames that it gets, the latest one stretched
/// until a better one is there.
class PhotoView : public QWidget {
    Q_OBJECT

public:
    explicit PhotoView(QWidget* parent = nullptr);

    const ViewTransform& transform() const { return m_transform; }
    void setPictureSize(const QSizeF& size);
    void showFrame(const std::shared_ptr<const Frame>& frame);
    /// Nothing is shown any more but a text.
    void clear(const QString& text);

    void setTool(Tool* tool);  ///< null for the hand
    Tool* tool() const { return m_tool; }

    void fit();
    void zoomTo(double zoom);  ///< about the pointer, or the middle if it is elsewhere
    void zoomBy(double factor);
    void zoomAbout(const QPointF& device, double zoom);
    void panBy(const QPointF& device);

    bool isBefore() const { return m_before; }
    void setBefore(bool on);
    bool isSplit() const { return m_split; }
    void setSplit(bool on);
    double splitShare() const { return m_splitShare; }
    void setSplitShare(double share);

    /// The colour under the pointer as it is shown; invalid where there is none.
    QColor colourAt(const QPointF& device) const;
    const std::shared_ptr<const Frame>& frame() const { return m_frame; }
    /// Milliseconds since the frame that is shown was handed over until it was painted, for measurements.
    double lastPaintDelay() const { return m_paintDelay; }

    QSize sizeHint() const override { return {900, 600}; }

signals:
    void viewChanged(bool moving);
    void pointerMoved(QPointF place, QColor colour);  ///< in pixels of the picture
    void pointerLeft();
    void framePainted();
    void toolLeft();  ///< by Return or Escape

protected:
    bool event(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void tabletEvent(QTabletEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void keyReleaseEvent(QKeyEvent* event) override;
    void leaveEvent(QEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;

private:
    enum class Drag { none, pan, tool, split };

    QPointF deviceOf(const QPointF& logical) const { return logical * devicePixelRatioF(); }
    void updateViewport();
    void moved(bool moving);
    bool nearSplit(const QPointF& device) const;
    void pressAt(const QPointF& device, bool pans, double pressure, Qt::KeyboardModifiers modifiers);
    void dragTo(const QPointF& device, double pressure, Qt::KeyboardModifiers modifiers);
    void endDrag();
    void updateCursor();
    void pinch(double factor, const QPointF& logical);
    void paintFrame(QPainter& painter, const Frame& frame, const QImage& image) const;
    void paintPicture(QPainter& painter) const;
    void paintSplit(QPainter& painter) const;

    ViewTransform m_transform;
    std::shared_ptr<const Frame> m_frame, m_beforeFrame, m_backdrop;
    QPointer<Tool> m_tool;
    QString m_text;
    bool m_before = false, m_split = false;
    double m_splitShare = 0.5;
    Drag m_drag = Drag::none;
    Qt::MouseButton m_button = Qt::NoButton;  ///< that the drag began with
    bool m_space = false;
    QPointF m_pointer;  ///< in device pixels
    bool m_hasPointer = false;
    QElapsedTimer m_sinceFrame;
    double m_paintDelay = 0;
    bool m_unpainted = false;
};

}  // namespace kestrova::studio
