#pragma once

#include <QLineF>

#include "studio/tool.h"

namespace kestrova::studio {

class Session;

/// The turn that makes a line level or upright, whichever is nearer: degrees clockwise, -45 to 45.
double straighteningOf(const QLineF& line);

/// A line that is drawn becomes level or upright.
class StraightenTool : public Tool {
    Q_OBJECT

public:
    explicit StraightenTool(Session* session, QObject* parent = nullptr);

    QCursor cursor(const QPointF&, const ViewTransform&) const override { return Qt::CrossCursor; }
    void press(const Pointer& pointer, const ViewTransform& transform) override;
    void drag(const Pointer& pointer, const ViewTransform& transform) override;
    void release() override;
    void paint(QPainter& painter, const ViewTransform& transform, const QPointF* pointer) const override;

signals:
    void straightened();

private:
    Session* m_session;
    QLineF m_line;
    bool m_drawing = false;
    double m_zoom = 1;
};

}  // namespace kestrova::studio
