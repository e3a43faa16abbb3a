#pragma once

#include "photo/settings.h"
#include "studio/tool.h"

namespace kestrova::studio {

class Renderer;
class Session;

/// Paints strokes on the session's target. With Ctrl held it does the other one of adding and erasing.
class BrushTool : public Tool {
    Q_OBJECT

public:
    BrushTool(Session* session, const Renderer* renderer, QObject* parent = nullptr);

    /// Of the strokes to come; points are ignored.
    const photo::Stroke& brush() const { return m_brush; }
    void setBrush(const photo::Stroke& brush);

    QCursor cursor(const QPointF& place, const ViewTransform& transform) const override;
    void press(const Pointer& pointer, const ViewTransform& transform) override;
    void drag(const Pointer& pointer, const ViewTransform& transform) override;
    void release() override;
    void paint(QPainter& painter, const ViewTransform& transform, const QPointF* pointer) const override;

private:
    photo::Point pointAt(const QPointF& place) const;
    double radiusInPicture() const;

    Session* m_session;
    const Renderer* m_renderer;
    photo::Stroke m_brush;
    QPointF m_last;
    bool m_painting = false;
};

}  // namespace kestrova::studio
