#include "studio/photo_view.h"

#include <QPaintEvent>
#include <QPainter>
#include <algorithm>
#include <cmath>

namespace kestrova::studio {

PhotoView::PhotoView(QWidget* parent) : QWidget(parent) {
    setMouseTracking(true);
    setFocusPolicy(Qt::StrongFocus);
    setAttribute(Qt::WA_OpaquePaintEvent);
    setAccessibleName(tr("Photograph"));
    setMinimumSize(240, 160);
    grabGesture(Qt::PinchGesture);
}

void PhotoView::setPictureSize(const QSizeF& size) {
    if (size == m_transform.picture()) return;
    m_transform.setPicture(size);
    moved(false);
}

void PhotoView::clear(const QString& text) {
    m_frame.reset();
    m_beforeFrame.reset();
    m_backdrop.reset();
    m_text = text;
    m_transform.setPicture({});
    m_transform.fit();
    update();
}

void PhotoView::showFrame(const std::shared_ptr<const Frame>& frame) {
    if (frame->whole != m_transform.picture()) return;  // of another crop or turn
    (frame->before ? m_beforeFrame : m_frame) = frame;
    if (!frame->before && frame->coversAll()) m_backdrop = frame;
    m_unpainted = true;
    m_sinceFrame.start();
    update();
    if (m_hasPointer) emit pointerMoved(m_transform.toPicture(m_pointer), colourAt(m_pointer));
}

void PhotoView::updateViewport() {
    m_transform.setPixelRatio(devicePixelRatioF());
    m_transform.setViewport(QSizeF(size()) * devicePixelRatioF());
}

void PhotoView::resizeEvent(QResizeEvent*) {
    updateViewport();
    moved(true);
}

void PhotoView::moved(bool moving) {
    updateViewport();
    update();
    updateCursor();
    if (!m_transform.isEmpty()) emit viewChanged(moving);
}

void PhotoView::fit() {
    m_transform.fit();
    moved(false);
}

void PhotoView::zoomAbout(const QPointF& device, double zoom) {
    m_transform.zoomAbout(device, zoom);
    moved(true);
}

void PhotoView::zoomTo(double zoom) {
    const QPointF middle(m_transform.viewport().width() / 2, m_transform.viewport().height() / 2);
    zoomAbout(m_hasPointer ? m_pointer : middle, zoom);
}

void PhotoView::zoomBy(double factor) { zoomTo(m_transform.zoom() * factor); }

void PhotoView::panBy(const QPointF& device) {
    m_transform.pan(device);
    moved(true);
}

void PhotoView::setBefore(bool on) {
    m_before = on;
    moved(false);
}

void PhotoView::setSplit(bool on) {
    m_split = on;
    moved(false);
}

void PhotoView::setSplitShare(double share) {
    m_splitShare = std::clamp(share, 0.0, 1.0);
    update();
}

void PhotoView::setTool(Tool* tool) {
    if (m_drag == Drag::tool) endDrag();
    if (m_tool) m_tool->disconnect(this);
    m_tool = tool;
    if (tool)
        connect(tool, &Tool::changed, this, [this] {
            updateCursor();
            update();
        });
    m_transform.setMargin(tool ? tool->margin() : 0);
    moved(false);
}

QColor PhotoView::colourAt(const QPointF& device) const {
    const bool left = m_split && device.x() < m_splitShare * m_transform.viewport().width();
    const auto& frame = m_before || left ? m_beforeFrame : m_frame;
    if (!frame || frame->whole != m_transform.picture()) return {};
    const QPointF place = m_transform.toPicture(device);
    if (!frame->area.contains(place)) return {};
    const int x = static_cast<int>((place.x() - frame->area.x()) / frame->area.width() * frame->image.width());
    const int y = static_cast<int>((place.y() - frame->area.y()) / frame->area.height() * frame->image.height());
    const QPoint pixel(std::min(x, frame->image.width() - 1), std::min(y, frame->image.height() - 1));
    return frame->image.pixelColor(pixel);
}

/// In device pixels.
void PhotoView::paintFrame(QPainter& painter, const Frame& frame, const QImage& image) const {
    if (frame.whole != m_transform.picture() || image.isNull()) return;
    const QRectF target = m_transform.toView(frame.area);
    if (std::abs(frame.zoom / m_transform.zoom() - 1) < 1e-9)
        painter.drawImage(target.topLeft().toPoint(), image);
    else
        painter.drawImage(target, image);
}

void PhotoView::paintPicture(QPainter& painter) const {
    const auto& main = m_before ? m_beforeFrame : m_frame;
    if (m_backdrop && m_backdrop != main) paintFrame(painter, *m_backdrop, m_backdrop->image);
    if (!main) return;
    paintFrame(painter, *main, main->image);
    if (!m_before) paintFrame(painter, *main, main->overlay);
}

void PhotoView::paintSplit(QPainter& painter) const {
    const int x = qRound(m_splitShare * m_transform.viewport().width());
    const int height = qRound(m_transform.viewport().height());
    if (m_beforeFrame) {
        painter.save();
        painter.setClipRect(0, 0, x, height);
        paintFrame(painter, *m_beforeFrame, m_beforeFrame->image);
        painter.restore();
    }
    const double unit = devicePixelRatioF();
    painter.fillRect(QRectF(x - 2 * unit, 0, 4 * unit, height), QColor(0, 0, 0, 90));
    painter.fillRect(QRectF(x - unit, 0, 2 * unit, height), QColor(255, 255, 255, 220));
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(QColor(0, 0, 0, 120), unit));
    painter.setBrush(QColor(255, 255, 255, 230));
    painter.drawEllipse(QPointF(x, height / 2), 9 * unit, 9 * unit);
    painter.setRenderHint(QPainter::Antialiasing, false);
}

void PhotoView::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.fillRect(
        rect(),
        palette().color(QPalette::Dark).darker(palette().color(QPalette::Window).lightness() > 128 ? 105 : 150));
    if (m_transform.isEmpty()) {
        painter.setPen(palette().color(QPalette::WindowText));
        painter.drawText(rect().adjusted(24, 24, -24, -24), Qt::AlignCenter | Qt::TextWordWrap, m_text);
        return;
    }
    painter.scale(1 / devicePixelRatioF(), 1 / devicePixelRatioF());
    painter.setRenderHint(QPainter::SmoothPixmapTransform, m_transform.zoom() < 2);
    paintPicture(painter);
    if (m_split && !m_before) paintSplit(painter);
    if (m_tool && !m_before) m_tool->paint(painter, m_transform, m_hasPointer ? &m_pointer : nullptr);
    if (m_unpainted) {
        m_unpainted = false;
        m_paintDelay = static_cast<double>(m_sinceFrame.nsecsElapsed()) / 1e6;
        emit framePainted();
    }
}

}  // namespace kestrova::studio
