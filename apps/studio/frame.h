#pragma once

#include <QColor>
#include <QImage>
#include <QRectF>
#include <QSize>
#include <memory>
#include <opencv2/core.hpp>

#include "photo/profile.h"
#include "photo/settings.h"

namespace kestrova::studio {

/// What of a rendering is seen, and how.
struct ViewState {
    QRectF area;          ///< in pixels of the whole rendering
    double zoom = 1;      ///< device pixels of the screen to one of those
    bool before = false;  ///< shows the photograph without adjustments: alone, or left of the split
    bool after = true;
    bool cropping = false;        ///< shows all of the straightened frame
    bool darkClipping = false;    ///< marks pixels with a channel at 0
    bool brightClipping = false;  ///< marks pixels with a channel at its end
    int maskOfLayer = -1;         ///< lays the mask of this layer over
    QColor maskColour = Qt::red;

    bool operator==(const ViewState& o) const {
        return area == o.area && zoom == o.zoom && before == o.before && after == o.after && cropping == o.cropping &&
               darkClipping == o.darkClipping && brightClipping == o.brightClipping && maskOfLayer == o.maskOfLayer &&
               maskColour == o.maskColour;
    }
    bool operator!=(const ViewState& o) const { return !(*this == o); }
};

/// What a worker is asked for. Of requests the newest wins.
struct Request {
    quint64 generation = 0;
    std::shared_ptr<const photo::Settings> settings;
    QSizeF whole;  ///< of the rendering that `view.area` is in pixels of
    ViewState view;
    bool held = false;  ///< a slider is moving: may be coarser, so that it follows
    photo::Profile screen;
};

/// A rendered part of the photograph at the zoom of the screen.
struct Frame {
    quint64 generation = 0;
    QRectF area;  ///< as in the request, moved to the pixels that were rendered
    QSizeF whole;
    double zoom = 1;
    QImage image;         ///< Format_RGB32, or Format_ARGB32_Premultiplied where the photograph has alpha
    QImage overlay;       ///< mask and clipping, of the same size, Format_ARGB32_Premultiplied; null for none
    int brightEnd = 255;  ///< the value from which a channel counts as clipped
    bool before = false;
    bool fine = true;  ///< false for what was rendered coarser than the screen shows it

    bool coversAll() const { return QRectF({0, 0}, whole) == area; }
};

/// What has been rendered of a request, at the size of the screen. `mask` may be empty.
Frame frameOf(const Request& request, bool before, const QRectF& area, const cv::Mat& pixels, const cv::Mat& mask,
              bool alpha);
/// At the size of the screen: CV_8UC4 or CV_8UC1.
cv::Mat atScreenSize(const cv::Mat& pixels, const QSize& size);
/// The pixels as an image, which holds a reference to them; premultiplies where there is alpha.
QImage imageOf(const cv::Mat& pixels, bool alpha);
/// The value from which a channel counts as clipped: whites that are raised end below the highest one.
int brightEnd(const photo::Settings& settings);
/// The mask (may be empty) in its colour, and on top of it red for bright clipping, from `end` on, and blue for
/// dark.
QImage overlayOf(const cv::Mat& pixels, const cv::Mat& mask, const ViewState& view, int end);

}  // namespace kestrova::studio
