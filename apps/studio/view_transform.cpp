#include "studio/view_transform.h"

#include <algorithm>

namespace kestrova::studio {

void ViewTransform::setPicture(const QSizeF& size) {
    if (!m_picture.isEmpty() && !size.isEmpty())
        m_centre = {m_centre.x() / m_picture.width() * size.width(), m_centre.y() / m_picture.height() * size.height()};
    m_picture = size;
    keepCentreInside();
}

void ViewTransform::setViewport(const QSizeF& pixels) { m_viewport = pixels; }

double ViewTransform::fitZoom() const {
    if (isEmpty()) return 1;
    const double margins = std::min(2 * m_margin * m_pixelRatio, std::min(m_viewport.width(), m_viewport.height()) / 2);
    return std::min({(m_viewport.width() - margins) / m_picture.width(),
                     (m_viewport.height() - margins) / m_picture.height(), std::max(1.0, m_pixelRatio)});
}

QPointF ViewTransform::centre() const {
    return m_fit ? QPointF(m_picture.width() / 2, m_picture.height() / 2) : m_centre;
}

QPointF ViewTransform::toView(const QPointF& picture) const {
    return (picture - centre()) * zoom() + QPointF(m_viewport.width() / 2, m_viewport.height() / 2);
}

QPointF ViewTransform::toPicture(const QPointF& view) const {
    return (view - QPointF(m_viewport.width() / 2, m_viewport.height() / 2)) / zoom() + centre();
}

QRectF ViewTransform::seen() const {
    if (isEmpty()) return {};
    const QRectF view(toPicture({0, 0}), m_viewport / zoom());
    return view & QRectF({0, 0}, m_picture);
}

void ViewTransform::zoomAbout(const QPointF& view, double zoom) {
    if (isEmpty()) return;
    const double fitting = fitZoom();
    zoom = std::min(zoom, std::max(kMostZoom, fitting));
    if (zoom <= fitting * (1 + 1e-9)) {
        m_fit = true;
        return;
    }
    const QPointF point = toPicture(view);
    m_fit = false;
    m_zoom = zoom;
    m_centre = point - (view - QPointF(m_viewport.width() / 2, m_viewport.height() / 2)) / zoom;
    keepCentreInside();
}

void ViewTransform::pan(const QPointF& deviceDelta) {
    if (m_fit) return;
    m_centre -= deviceDelta / m_zoom;
    keepCentreInside();
}

void ViewTransform::keepCentreInside() {
    m_centre = {std::clamp(m_centre.x(), 0.0, std::max(0.0, m_picture.width())),
                std::clamp(m_centre.y(), 0.0, std::max(0.0, m_picture.height()))};
}

}  // namespace kestrova::studio
