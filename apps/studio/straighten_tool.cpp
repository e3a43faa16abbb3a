#include "studio/straighten_tool.h"

#include <QPainter>
#include <cmath>

#include "studio/session.h"
#include "studio/view_transform.h"

namespace kestrova::studio {

double straighteningOf(const QLineF& line) {
    constexpr double kDegrees = 180 / 3.14159265358979323846;
    const double clockwise = std::atan2(line.dy(), line.dx()) * kDegrees;
    return -std::remainder(clockwise, 90);
}

StraightenTool::StraightenTool(Session* session, QObject* parent) : Tool(parent), m_session(session) {
    connect(session, &Session::closed, this, [this] { m_drawing = false; });
}

void StraightenTool::press(const Pointer& pointer, const ViewTransform& transform) {
    m_line = {pointer.place, pointer.place};
    m_zoom = transform.zoom() / transform.pixelRatio();
    m_drawing = true;
    emit changed();
}

void StraightenTool::drag(const Pointer& pointer, const ViewTransform&) {
    if (!m_drawing) return;
    m_line.setP2(pointer.place);
    emit changed();
}

void StraightenTool::release() {
    constexpr double kShortest = 20;  // logical pixels; what is shorter was a click
    if (!m_drawing) return;
    m_drawing = false;
    if (m_line.length() * m_zoom >= kShortest) {
        m_session->setStraighten(m_session->settings().straighten + straighteningOf(m_line));
        emit straightened();
    }
    emit changed();
}

void StraightenTool::paint(QPainter& painter, const ViewTransform& transform, const QPointF*) const {
    if (!m_drawing) return;
    const QLineF line(transform.toView(m_line.p1()), transform.toView(m_line.p2()));
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(QColor(0, 0, 0, 160), 4 * transform.pixelRatio()));
    painter.drawLine(line);
    painter.setPen(QPen(Qt::white, 2 * transform.pixelRatio()));
    painter.drawLine(line);
    painter.restore();
}

}  // namespace kestrova::studio
