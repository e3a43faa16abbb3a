#include "studio/brush_tool.h"

#include <QLineF>
#include <QPainter>
#include <algorithm>

#include "photo/placement.h"
#include "studio/renderer.h"
#include "studio/session.h"
#include "studio/view_transform.h"

namespace kestrova::studio {

namespace {

photo::Placement placementOf(const Session& session, const Renderer& renderer) {
    return {{renderer.photographSize().width(), renderer.photographSize().height()}, session.settings()};
}

}  // namespace

BrushTool::BrushTool(Session* session, const Renderer* renderer, QObject* parent)
    : Tool(parent), m_session(session), m_renderer(renderer) {}

void BrushTool::setBrush(const photo::Stroke& brush) {
    m_brush = brush;
    m_brush.points.clear();
    emit changed();
}

photo::Point BrushTool::pointAt(const QPointF& place) const {
    return placementOf(*m_session, *m_renderer).photographOf({place.x(), place.y()});
}

double BrushTool::radiusInPicture() const {
    const QSize size = m_renderer->photographSize();
    return m_brush.radius * std::max(size.width(), size.height()) / placementOf(*m_session, *m_renderer).scale();
}

QCursor BrushTool::cursor(const QPointF&, const ViewTransform& transform) const {
    constexpr double kSeen = 3;  // logical pixels from which on the outline says where the pointer is
    if (m_renderer->photographSize().isEmpty()) return Qt::ArrowCursor;
    return radiusInPicture() * transform.zoom() < kSeen * transform.pixelRatio() ? Qt::CrossCursor : Qt::BlankCursor;
}

void BrushTool::press(const Pointer& pointer, const ViewTransform&) {
    if (m_renderer->photographSize().isEmpty()) return;
    photo::Stroke brush = m_brush;
    if (pointer.modifiers & Qt::ControlModifier) brush.erase = !brush.erase;
    m_painting = true;
    m_last = pointer.place;
    m_session->beginStroke(brush, pointAt(pointer.place), pointer.pressure);
}

void BrushTool::drag(const Pointer& pointer, const ViewTransform& transform) {
    constexpr double kShare = 0.1;  // of the radius: what is nearer adds nothing
    if (!m_painting || m_renderer->photographSize().isEmpty()) return;
    const double moved = QLineF(m_last, pointer.place).length();
    if (moved < std::max(1 / transform.zoom(), kShare * radiusInPicture())) return;
    m_last = pointer.place;
    m_session->extendStroke(pointAt(pointer.place), pointer.pressure);
}

void BrushTool::release() {
    if (!m_painting) return;
    m_painting = false;
    m_session->endStroke();
}

void BrushTool::paint(QPainter& painter, const ViewTransform& transform, const QPointF* pointer) const {
    if (!pointer || m_renderer->photographSize().isEmpty()) return;
    const double radius = radiusInPicture() * transform.zoom(), inner = radius * m_brush.hardness;
    const double unit = transform.pixelRatio();
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setBrush(Qt::NoBrush);
    // Dark beside bright, so that it is seen on every picture.
    painter.setPen(QPen(QColor(0, 0, 0, 160), 3 * unit));
    painter.drawEllipse(*pointer, radius, radius);
    painter.setPen(QPen(QColor(255, 255, 255, 230), 1.2 * unit));
    painter.drawEllipse(*pointer, radius, radius);
    if (inner > 4 * unit && inner < radius - 4 * unit) {
        painter.setPen(QPen(QColor(255, 255, 255, 150), unit, Qt::DashLine));
        painter.drawEllipse(*pointer, inner, inner);
    }
    if (radius > 12 * unit) {
        painter.setPen(QPen(QColor(255, 255, 255, 200), 1.2 * unit));
        const QPointF across(4 * unit, 0), down(0, 4 * unit);
        painter.drawLine(*pointer - across, *pointer + across);
        if (!m_brush.erase) painter.drawLine(*pointer - down, *pointer + down);
    }
    painter.restore();
}

}  // namespace kestrova::studio
