#pragma once

#include <QRectF>

#include "studio/tool.h"

namespace kestrova::studio {

class Session;

/// Draws the crop over the whole straightened frame and lets its sides, corners and inside be dragged; outside of it a
/// drag draws a new one.
class CropTool : public Tool {
    Q_OBJECT

public:
    explicit CropTool(Session* session, QObject* parent = nullptr);

    /// Width to height in pixels, of the crops to come; 0 for any.
    void setRatio(double ratio) { m_ratio = ratio; }
    /// Fits a crop of another ratio.
    void fitToRatio();
    double ratio() const { return m_ratio; }
    void setFrame(const QSizeF& pixels) { m_frame = pixels; }
    void reset();

    double margin() const override;
    QCursor cursor(const QPointF& place, const ViewTransform& transform) const override;
    void press(const Pointer& pointer, const ViewTransform& transform) override;
    void drag(const Pointer& pointer, const ViewTransform& transform) override;
    void release() override;
    void paint(QPainter& painter, const ViewTransform& transform, const QPointF* pointer) const override;

private:
    enum class Drag { none, sides, move };

    QRectF bounds() const { return {{0, 0}, m_frame}; }
    QRectF box() const;
    void setBox(const QRectF& box);
    int sidesAt(const QPointF& place, const ViewTransform& transform) const;

    Session* m_session;
    QSizeF m_frame;  ///< what the crop is a part of, in pixels
    double m_ratio = 0;
    Drag m_drag = Drag::none;
    int m_sides = 0;
    int m_gesture = 0;
    QRectF m_from;
    QPointF m_pressed;
};

}  // namespace kestrova::studio
