#include <QGestureEvent>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QNativeGestureEvent>
#include <QPinchGesture>
#include <QTabletEvent>
#include <QWheelEvent>
#include <cmath>

#include "studio/photo_view.h"

namespace kestrova::studio {

namespace {

constexpr double kNotch = 120;  // of a wheel
constexpr double kZoomANotch = 1.25;
constexpr double kPanStep = 80;    // logical pixels, of an arrow key
constexpr double kSplitReach = 8;  // logical pixels around the divider

}  // namespace

bool PhotoView::nearSplit(const QPointF& device) const {
    const double x = m_splitShare * m_transform.viewport().width();
    return m_split && !m_before && std::abs(device.x() - x) <= kSplitReach * devicePixelRatioF();
}

void PhotoView::updateCursor() {
    if (m_drag == Drag::split || (m_drag == Drag::none && nearSplit(m_pointer)))
        setCursor(Qt::SplitHCursor);
    else if (m_drag == Drag::pan)
        setCursor(Qt::ClosedHandCursor);
    else if (m_tool && !m_space)
        setCursor(m_tool->cursor(m_transform.toPicture(m_pointer), m_transform));
    else
        setCursor(m_transform.isFit() ? Qt::ArrowCursor : Qt::OpenHandCursor);
}

void PhotoView::pressAt(const QPointF& device, bool pans, double pressure, Qt::KeyboardModifiers modifiers) {
    if (m_drag != Drag::none || m_transform.isEmpty()) return;
    m_pointer = device;
    if (pans || m_space)
        m_drag = Drag::pan;
    else if (nearSplit(device))
        m_drag = Drag::split;
    else if (m_tool && !m_before)
        m_drag = Drag::tool;
    else
        m_drag = Drag::pan;
    if (m_drag == Drag::tool) m_tool->press({m_transform.toPicture(device), pressure, modifiers}, m_transform);
    updateCursor();
}

void PhotoView::dragTo(const QPointF& device, double pressure, Qt::KeyboardModifiers modifiers) {
    const QPointF delta = device - m_pointer;
    m_pointer = device;
    m_hasPointer = true;
    switch (m_drag) {
        case Drag::pan: panBy(delta); break;
        case Drag::split: setSplitShare(device.x() / m_transform.viewport().width()); break;
        case Drag::tool:
            if (m_tool) m_tool->drag({m_transform.toPicture(device), pressure, modifiers}, m_transform);
            break;
        case Drag::none: break;
    }
    updateCursor();
    if (m_tool) update();
    if (!m_transform.isEmpty()) emit pointerMoved(m_transform.toPicture(device), colourAt(device));
}

void PhotoView::endDrag() {
    const Drag was = m_drag;
    m_drag = Drag::none;
    if (was == Drag::tool && m_tool) m_tool->release();
    updateCursor();
}

void PhotoView::mousePressEvent(QMouseEvent* event) {
    const bool middle = event->button() == Qt::MiddleButton;
    if (m_drag != Drag::none || (!middle && event->button() != Qt::LeftButton)) return;
    m_button = event->button();
    pressAt(deviceOf(event->position()), middle, 1, event->modifiers());
}

void PhotoView::mouseMoveEvent(QMouseEvent* event) { dragTo(deviceOf(event->position()), 1, event->modifiers()); }

void PhotoView::mouseReleaseEvent(QMouseEvent* event) {
    // Another button that is pressed and released meanwhile ends nothing.
    if (!(event->buttons() & m_button)) endDrag();
}

void PhotoView::mouseDoubleClickEvent(QMouseEvent* event) {
    if (m_tool || event->button() != Qt::LeftButton) {
        mousePressEvent(event);
        return;
    }
    if (m_transform.isFit())
        zoomAbout(deviceOf(event->position()), 1);
    else
        fit();
}

void PhotoView::tabletEvent(QTabletEvent* event) {
    const QPointF device = deviceOf(event->position());
    switch (event->type()) {
        case QEvent::TabletPress:
            if (event->button() == Qt::LeftButton) pressAt(device, false, event->pressure(), event->modifiers());
            break;
        case QEvent::TabletMove: dragTo(device, event->pressure(), event->modifiers()); break;
        case QEvent::TabletRelease: endDrag(); break;
        default: break;
    }
    event->accept();
}

void PhotoView::leaveEvent(QEvent*) {
    m_hasPointer = false;
    update();
    emit pointerLeft();
}

void PhotoView::wheelEvent(QWheelEvent* event) {
    const QPoint turned = event->angleDelta();
    if (turned.y() != 0)
        zoomAbout(deviceOf(event->position()), m_transform.zoom() * std::pow(kZoomANotch, turned.y() / kNotch));
    else if (turned.x() != 0)
        panBy({turned.x() * devicePixelRatioF(), 0});
    event->accept();
}

void PhotoView::pinch(double factor, const QPointF& logical) {
    if (factor > 0) zoomAbout(deviceOf(logical), m_transform.zoom() * factor);
}

bool PhotoView::event(QEvent* event) {
    if (event->type() == QEvent::NativeGesture) {
        auto* gesture = static_cast<QNativeGestureEvent*>(event);
        if (gesture->gestureType() == Qt::ZoomNativeGesture) {
            pinch(1 + gesture->value(), gesture->position());
            return true;
        }
    }
    if (event->type() == QEvent::Gesture) {
        if (QGesture* gesture = static_cast<QGestureEvent*>(event)->gesture(Qt::PinchGesture)) {
            const auto* two = static_cast<QPinchGesture*>(gesture);
            pinch(two->scaleFactor(), mapFromGlobal(two->centerPoint()));
            return true;
        }
    }
    return QWidget::event(event);
}

void PhotoView::keyPressEvent(QKeyEvent* event) {
    const double step = kPanStep * devicePixelRatioF();
    switch (event->key()) {
        case Qt::Key_Left: panBy({step, 0}); break;
        case Qt::Key_Right: panBy({-step, 0}); break;
        case Qt::Key_Up: panBy({0, step}); break;
        case Qt::Key_Down: panBy({0, -step}); break;
        case Qt::Key_Return:
        case Qt::Key_Enter:
        case Qt::Key_Escape: emit toolLeft(); break;
        case Qt::Key_Space:
            if (!event->isAutoRepeat()) m_space = true;
            updateCursor();
            break;
        default: QWidget::keyPressEvent(event);
    }
}

void PhotoView::keyReleaseEvent(QKeyEvent* event) {
    if (event->key() != Qt::Key_Space) return QWidget::keyReleaseEvent(event);
    if (!event->isAutoRepeat()) m_space = false;
    updateCursor();
}

void PhotoView::focusOutEvent(QFocusEvent* event) {
    m_space = false;  // whose release goes elsewhere
    QWidget::focusOutEvent(event);
}

}  // namespace kestrova::studio
