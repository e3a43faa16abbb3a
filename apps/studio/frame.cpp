#include "studio/frame.h"

#include <algorithm>
#include <opencv2/imgproc.hpp>

namespace kestrova::studio {

Frame frameOf(const Request& request, bool before, const QRectF& area, const cv::Mat& pixels, const cv::Mat& mask,
              bool alpha) {
    Frame frame;
    frame.generation = request.generation;
    frame.whole = request.whole;
    frame.zoom = request.view.zoom;
    frame.before = before;
    frame.fine = !request.held;
    frame.area = area;
    const QSize onScreen(qRound(area.width() * frame.zoom), qRound(area.height() * frame.zoom));
    const cv::Mat seen = atScreenSize(pixels, onScreen);
    frame.image = imageOf(seen, alpha);
    const bool clipping = request.view.darkClipping || request.view.brightClipping;
    if (!before) frame.brightEnd = brightEnd(*request.settings);
    if (!before && (clipping || !mask.empty()))
        frame.overlay =
            overlayOf(seen, mask.empty() ? mask : atScreenSize(mask, onScreen), request.view, frame.brightEnd);
    return frame;
}

cv::Mat atScreenSize(const cv::Mat& pixels, const QSize& size) {
    const cv::Size wanted(std::max(1, size.width()), std::max(1, size.height()));
    if (pixels.size() == wanted) return pixels;
    const double enlarged = static_cast<double>(wanted.width) / pixels.cols;
    const int how = enlarged >= 2 ? cv::INTER_NEAREST : enlarged < 0.5 ? cv::INTER_AREA : cv::INTER_LINEAR;
    cv::Mat out;
    cv::resize(pixels, out, wanted, 0, 0, how);
    return out;
}

QImage imageOf(const cv::Mat& pixels, bool alpha) {
    auto* owner = new cv::Mat(pixels);
    const QImage image(
        owner->data, owner->cols, owner->rows, static_cast<qsizetype>(owner->step),
        alpha ? QImage::Format_ARGB32 : QImage::Format_RGB32, [](void* mat) { delete static_cast<cv::Mat*>(mat); },
        owner);
    return alpha ? image.convertToFormat(QImage::Format_ARGB32_Premultiplied) : image;
}

int brightEnd(const photo::Settings& settings) {
    constexpr int kOfRaisedWhites = 251;  // 0.986, as the layer's `whites` says
    const auto raised = [](const photo::Adjustments& adjustments) { return adjustments.light.whites > 0; };
    const bool any = raised(settings) || std::any_of(settings.layers.begin(), settings.layers.end(),
                                                     [&](const photo::Layer& l) { return raised(l.adjustments); });
    return any ? kOfRaisedWhites : 255;
}

QImage overlayOf(const cv::Mat& pixels, const cv::Mat& mask, const ViewState& view, int end) {
    constexpr double kCover = 0.55;
    const QColor& maskColour = view.maskColour;
    QRgb tints[256];
    for (int v = 0; v < 256; ++v) {
        const double a = kCover * v / 255;
        tints[v] = qRgba(static_cast<int>(a * maskColour.red()), static_cast<int>(a * maskColour.green()),
                         static_cast<int>(a * maskColour.blue()), static_cast<int>(a * 255));
    }
    QImage out(pixels.cols, pixels.rows, QImage::Format_ARGB32_Premultiplied);
    for (int y = 0; y < pixels.rows; ++y) {
        auto* to = reinterpret_cast<QRgb*>(out.scanLine(y));
        if (mask.empty())
            std::fill(to, to + pixels.cols, 0u);
        else
            std::transform(mask.ptr(y), mask.ptr(y) + pixels.cols, to, [&](uchar m) { return tints[m]; });
        if (!view.darkClipping && !view.brightClipping) continue;
        const auto* from = pixels.ptr<cv::Vec4b>(y);
        for (int x = 0; x < pixels.cols; ++x) {
            if (view.brightClipping && std::max({from[x][0], from[x][1], from[x][2]}) >= end)
                to[x] = qRgb(255, 40, 40);
            else if (view.darkClipping && std::min({from[x][0], from[x][1], from[x][2]}) == 0)
                to[x] = qRgb(40, 90, 255);
        }
    }
    return out;
}

}  // namespace kestrova::studio
