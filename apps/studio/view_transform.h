#pragma once

#include <QPointF>
#include <QRectF>
#include <QSizeF>

namespace kestrova::studio {

/// The way from pixels of the picture to device pixels of the view: which point is in the middle, and how large.
class ViewTransform {
public:
    static constexpr double kMostZoom = 16;

    void setPicture(const QSizeF& size);     ///< keeps the place that is seen, by its share of the picture
    void setViewport(const QSizeF& pixels);  ///< in device pixels
    void setPixelRatio(double ratio) { m_pixelRatio = ratio; }
    /// Stays free around a picture that fits; in logical pixels.
    void setMargin(double margin) { m_margin = margin; }
    double margin() const { return m_margin; }

    const QSizeF& picture() const { return m_picture; }
    const QSizeF& viewport() const { return m_viewport; }
    /// Device pixels to a logical one.
    double pixelRatio() const { return m_pixelRatio; }
    bool isEmpty() const { return m_picture.isEmpty() || m_viewport.isEmpty(); }
    bool isFit() const { return m_fit; }
    double zoom() const { return m_fit ? fitZoom() : m_zoom; }
    /// Shows all of it, small pictures at most with a logical pixel for each of theirs.
    double fitZoom() const;

    QPointF toView(const QPointF& picture) const;
    QPointF toPicture(const QPointF& view) const;
    QRectF toView(const QRectF& picture) const { return {toView(picture.topLeft()), picture.size() * zoom()}; }
    /// The part of the picture that is seen.
    QRectF seen() const;

    void fit() { m_fit = true; }
    /// Keeps the point of the picture that is at `view`. What becomes smaller than `fitZoom` fits.
    void zoomAbout(const QPointF& view, double zoom);
    void pan(const QPointF& deviceDelta);

private:
    QPointF centre() const;
    void keepCentreInside();

    QSizeF m_picture, m_viewport;
    bool m_fit = true;
    double m_zoom = 1, m_pixelRatio = 1, m_margin = 0;
    QPointF m_centre;  ///< of the view, in the picture; unless it fits
};

}  // namespace kestrova::studio
