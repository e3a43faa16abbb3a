#include "photo/mask_layer.h"

#include <kestrova/kestrova.h>

#include <algorithm>
#include <cmath>

#include "photo/scales.h"

namespace kestrova::photo {

namespace {

cv::Mat meansOf(const cv::Mat& unit, int type, double scale) {
    cv::Mat out;
    unit.convertTo(out, type, scale);
    return out;
}

/// Points no further apart than a quarter of the radius, so that dots make a line.
std::vector<cv::Point> dotsAlong(const Stroke& stroke, cv::Size mask, double radius) {
    const double spacing = std::max(1.0, radius / 4);
    std::vector<cv::Point> dots;
    cv::Point2d last;
    for (const Point& point : stroke.points) {
        const cv::Point2d at(point.x * mask.width, point.y * mask.height);
        const int count = dots.empty() ? 1 : std::max(1, static_cast<int>(std::ceil(cv::norm(at - last) / spacing)));
        for (int i = 1; i <= count; ++i) {
            const cv::Point2d p = dots.empty() ? at : last + (at - last) * (static_cast<double>(i) / count);
            dots.emplace_back(static_cast<int>(std::floor(p.x)), static_cast<int>(std::floor(p.y)));
        }
        last = at;
    }
    return dots;
}

}  // namespace

std::shared_ptr<const MaskPicture> computeMaskPicture(const Source& source, Steps& steps) {
    constexpr double kMostPixels = 6.5e6;
    auto out = std::make_shared<MaskPicture>();
    while (static_cast<double>(source.size().area()) / (out->n * out->n) > kMostPixels) out->n *= 2;
    const cv::Size size = Reduced::sizeOf(source.size(), out->n);
    cv::Mat Y(size, CV_32FC1), dr(size, CV_32FC1), db(size, CV_32FC1);
    const std::vector<cv::Rect> tiles = tilesOf(source.size());
    const int count = static_cast<int>(tiles.size());
    steps.parallel(count, 1.0 / count, [&](int i) {
        const cv::Rect& tile = tiles[i];
        const cv::Mat rgb = source.working(tile);
        cv::Mat planes[3];
        for (cv::Mat& plane : planes) plane.create(tile.size(), CV_16UC1);
        for (int y = 0; y < tile.height; ++y) {
            luminanceRow(rgb.ptr<ushort>(y), planes[0].ptr<ushort>(y), tile.width);
            chromaRow(rgb.ptr<ushort>(y), planes[0].ptr<ushort>(y), planes[1].ptr<ushort>(y), planes[2].ptr<ushort>(y),
                      tile.width);
        }
        reduceInto(planes[0], tile.tl(), out->n, Y);
        reduceInto(planes[1], tile.tl(), out->n, dr);
        reduceInto(planes[2], tile.tl(), out->n, db);
    });
    out->Y = meansOf(Y, CV_8U, 255);
    out->dr = meansOf(dr, CV_16U, 65535);
    out->db = meansOf(db, CV_16U, 65535);
    return out;
}

cv::Mat paintMask(const MaskPicture& picture, cv::Size photograph, const Mask& mask, Steps& steps) {
    const double longSide = static_cast<double>(std::max(photograph.width, photograph.height)) / picture.n;
    TDrawMask brush;
    brush.setInImage(picture.Y, picture.dr, picture.db);
    brush.setValue(0);
    for (const Stroke& stroke : mask.strokes) {
        // The brush halves what it is given.
        const int outer = std::clamp(static_cast<int>(std::lround(stroke.radius * longSide)), 1, 7999);
        const int inner = static_cast<int>(std::lround(outer * stroke.hardness));
        // A dot with a tolerance reads the colour under its centre.
        const int beyond = stroke.tolerance > 0 ? 0 : outer;
        const cv::Rect reach(-beyond, -beyond, picture.Y.cols + 2 * beyond, picture.Y.rows + 2 * beyond);
        brush.drawStart(0, 1);
        for (const cv::Point& dot :
             dotsAlong(stroke, {photograph.width / picture.n, photograph.height / picture.n}, outer)) {
            if (!reach.contains(dot)) continue;
            brush.drawADot(2 * dot, stroke.erase ? 0 : 255, 2 * outer, 2 * inner, static_cast<float>(stroke.opacity),
                           static_cast<float>(stroke.tolerance));
            brush.proc();
            steps.check();
        }
        brush.drawEnd();
    }
    if (mask.inverted) brush.invert();
    brush.proc();
    return brush.getMaskRoi(cv::Rect(), 0);
}

}  // namespace kestrova::photo
