#include "studio/crop_tool.h"

#include <QPainter>
#include <QPainterPath>
#include <algorithm>
#include <cmath>

#include "studio/crop_box.h"
#include "studio/session.h"
#include "studio/view_transform.h"

namespace kestrova::studio {

namespace {

constexpr double kLeast = 16;  // pixels of a crop's side
constexpr double kReach = 12;  // logical pixels around a side

}  // namespace

CropTool::CropTool(Session* session, QObject* parent) : Tool(parent), m_session(session) {
    connect(session, &Session::settingsChanged, this, &Tool::changed);
}

QRectF CropTool::box() const {
    const photo::Crop& crop = m_session->settings().crop;
    return {crop.x * m_frame.width(), crop.y * m_frame.height(), crop.width * m_frame.width(),
            crop.height * m_frame.height()};
}

void CropTool::setBox(const QRectF& box) {
    if (m_frame.isEmpty()) return;
    const auto share = [](double v) { return std::clamp(v, 0.0, 1.0); };
    const double x = share(box.x() / m_frame.width()), y = share(box.y() / m_frame.height());
    m_session->setCrop(
        {x, y, std::min(box.width() / m_frame.width(), 1 - x), std::min(box.height() / m_frame.height(), 1 - y)});
}

void CropTool::fitToRatio() {
    if (m_ratio > 0) setBox(boxOfRatio(box(), m_ratio, bounds()));
}

void CropTool::reset() { m_session->setCrop({}); }

double CropTool::margin() const { return kReach; }

int CropTool::sidesAt(const QPointF& place, const ViewTransform& transform) const {
    const QRectF b = box();
    const double reach =
        std::min(kReach * transform.pixelRatio() / transform.zoom(), std::min(b.width(), b.height()) / 3);
    if (!b.adjusted(-reach, -reach, reach, reach).contains(place)) return kNoSide;
    int sides = kNoSide;
    if (std::abs(place.x() - b.left()) <= reach) sides |= kLeftSide;
    if (std::abs(place.x() - b.right()) <= reach) sides |= kRightSide;
    if (std::abs(place.y() - b.top()) <= reach) sides |= kTopSide;
    if (std::abs(place.y() - b.bottom()) <= reach) sides |= kBottomSide;
    return sides;
}

QCursor CropTool::cursor(const QPointF& place, const ViewTransform& transform) const {
    switch (sidesAt(place, transform)) {
        case kLeftSide:
        case kRightSide: return Qt::SizeHorCursor;
        case kTopSide:
        case kBottomSide: return Qt::SizeVerCursor;
        case kLeftSide | kTopSide:
        case kRightSide | kBottomSide: return Qt::SizeFDiagCursor;
        case kRightSide | kTopSide:
        case kLeftSide | kBottomSide: return Qt::SizeBDiagCursor;
        default: return box().contains(place) ? Qt::SizeAllCursor : Qt::CrossCursor;
    }
}

void CropTool::press(const Pointer& pointer, const ViewTransform& transform) {
    m_from = box();
    m_pressed = pointer.place;
    m_sides = sidesAt(pointer.place, transform);
    m_drag = m_sides || !m_from.contains(pointer.place) ? Drag::sides : Drag::move;
    m_session->beginGesture();
    m_gesture = m_session->gesture();
}

void CropTool::drag(const Pointer& pointer, const ViewTransform&) {
    if (m_drag == Drag::none || m_frame.isEmpty()) return;
    if (m_session->gesture() != m_gesture) return;  // a step back, or another photograph, has ended it
    if (m_drag == Drag::move) {
        setBox(movedBox(m_from, pointer.place - m_pressed, bounds()));
        return;
    }
    QRectF from = m_from;
    int sides = m_sides;
    double least = std::min({kLeast, m_frame.width(), m_frame.height()});
    if (sides) {
        least = std::min({least, from.width(), from.height()});
    } else {  // a new one, from where the pointer was pressed
        const QPointF start(std::clamp(m_pressed.x(), 0.0, m_frame.width()),
                            std::clamp(m_pressed.y(), 0.0, m_frame.height()));
        const bool leftwards = pointer.place.x() < start.x(), upwards = pointer.place.y() < start.y();
        sides = (leftwards ? kLeftSide : kRightSide) | (upwards ? kTopSide : kBottomSide);
        from = {start, start};
        if ((leftwards ? start.x() : m_frame.width() - start.x()) < least) return;
        if ((upwards ? start.y() : m_frame.height() - start.y()) < least) return;
    }
    setBox(draggedBox(from, sides, pointer.place, m_ratio, bounds(), least));
}

void CropTool::release() {
    if (m_drag == Drag::none) return;
    m_drag = Drag::none;
    if (m_session->gesture() == m_gesture) m_session->endGesture();
}

void CropTool::paint(QPainter& painter, const ViewTransform& transform, const QPointF*) const {
    if (m_frame.isEmpty()) return;
    const double unit = transform.pixelRatio();
    const QRectF inside = transform.toView(box());
    QPainterPath outside;
    outside.addRect(transform.toView(bounds()));
    outside.addRect(inside);
    painter.save();
    painter.fillPath(outside, QColor(0, 0, 0, 150));
    painter.setPen(QPen(QColor(255, 255, 255, 90), unit));
    for (int i = 1; i <= 2; ++i) {
        const double x = inside.left() + i * inside.width() / 3, y = inside.top() + i * inside.height() / 3;
        painter.drawLine(QPointF(x, inside.top()), QPointF(x, inside.bottom()));
        painter.drawLine(QPointF(inside.left(), y), QPointF(inside.right(), y));
    }
    painter.setPen(QPen(Qt::white, 1.5 * unit));
    painter.drawRect(inside);
    painter.setPen(Qt::NoPen);
    painter.setBrush(Qt::white);
    const double handle = 4 * unit;
    for (double fx : {0.0, 0.5, 1.0})
        for (double fy : {0.0, 0.5, 1.0}) {
            if (fx == 0.5 && fy == 0.5) continue;
            const QPointF at(inside.left() + fx * inside.width(), inside.top() + fy * inside.height());
            painter.drawRect(QRectF(at - QPointF(handle, handle), QSizeF(2 * handle, 2 * handle)));
        }
    painter.restore();
}

}  // namespace kestrova::studio
