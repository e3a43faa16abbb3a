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

/// Points no further apart than a quarter of the radius, so that dots make a line, from the point of that index on.
std::vector<cv::Point> dotsAlong(const Stroke& stroke, std::size_t firstPoint, cv::Size mask, double radius) {
    const double spacing = std::max(1.0, radius / 4);
    const auto placeOf = [&](const Point& p) { return cv::Point2d(p.x * mask.width, p.y * mask.height); };
    std::vector<cv::Point> dots;
    for (std::size_t k = firstPoint; k < stroke.points.size(); ++k) {
        const cv::Point2d at = placeOf(stroke.points[k]), last = k == 0 ? at : placeOf(stroke.points[k - 1]);
        const int count = std::max(1, static_cast<int>(std::ceil(cv::norm(at - last) / spacing)));
        for (int i = 1; i <= count; ++i) {
            const cv::Point2d p = last + (at - last) * (static_cast<double>(i) / count);
            dots.emplace_back(static_cast<int>(std::floor(p.x)), static_cast<int>(std::floor(p.y)));
        }
    }
    return dots;
}

/// Whether both are the same but for their points.
bool sameBrush(Stroke one, const Stroke& other) {
    one.points = other.points;
    return one == other;
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

MaskPainter::MaskPainter(std::shared_ptr<const MaskPicture> picture, cv::Size photograph)
    : m_picture(std::move(picture)), m_photograph(photograph) {}

bool MaskPainter::continues(const std::vector<Stroke>& strokes) const {
    if (!m_valid || strokes.size() < m_painted.size()) return false;
    if (m_painted.empty()) return true;
    const std::size_t last = m_painted.size() - 1;
    if (!std::equal(m_painted.begin(), m_painted.begin() + static_cast<std::ptrdiff_t>(last), strokes.begin()))
        return false;
    const std::vector<Point>&before = m_painted[last].points, &now = strokes[last].points;
    return sameBrush(m_painted[last], strokes[last]) && now.size() >= before.size() &&
           (m_lastIsOpen || now.size() == before.size()) && std::equal(before.begin(), before.end(), now.begin());
}

/// To the latest mask that can be had of those that the strokes begin with.
void MaskPainter::goBack(const std::vector<Stroke>& strokes) {
    const std::size_t most = std::min(strokes.size(), m_painted.size());
    const auto end = m_painted.begin() + static_cast<std::ptrdiff_t>(most);
    const auto same =
        static_cast<std::size_t>(std::mismatch(m_painted.begin(), end, strokes.begin()).first - m_painted.begin());
    while (!m_before.empty() && (!m_valid || m_painted.size() > same)) {
        m_before.back().blocks.restore(m_brush.m_mask);
        m_painted.resize(m_before.back().strokes);
        m_before.pop_back();
        m_valid = true;
    }
    if (!m_valid || m_painted.size() > same) startAnew();
    m_brush.m_stroke.release();  // so that the next one begins with this mask
    m_lastIsOpen = false;
}

void MaskPainter::startAnew() {
    m_valid = false;
    m_painted.clear();
    m_before.clear();
    m_brush = Brush();
    m_brush.setInImage(m_picture->Y, m_picture->dr, m_picture->db);
    m_brush.setValue(0);
    m_brush.proc();
}

void MaskPainter::beginStroke() {
    if (m_lastIsOpen) m_brush.drawEnd();
    m_lastIsOpen = true;
    m_before.push_back({m_painted.size(), MaskBlocks(m_brush.m_mask.size())});
    m_brush.drawStart(0, 1);
}

void MaskPainter::forgetOldest() {
    const std::size_t most = 4 * m_brush.m_mask.total();
    std::size_t bytes = 0;
    for (const Before& before : m_before) bytes += before.blocks.bytes();
    for (; bytes > most && m_before.size() > 1; m_before.pop_front()) bytes -= m_before.front().blocks.bytes();
}

void MaskPainter::paintFrom(const Stroke& stroke, std::size_t firstPoint, Steps& steps) {
    const double longSide = static_cast<double>(std::max(m_photograph.width, m_photograph.height)) / m_picture->n;
    // The brush halves what it is given.
    const int outer = std::clamp(static_cast<int>(std::lround(stroke.radius * longSide)), 1, 7999);
    const int inner = static_cast<int>(std::lround(outer * stroke.hardness));
    // A dot with a tolerance reads the colour under its centre.
    const int beyond = stroke.tolerance > 0 ? 0 : outer;
    const cv::Rect reach(-beyond, -beyond, m_picture->Y.cols + 2 * beyond, m_picture->Y.rows + 2 * beyond);
    const cv::Size mask(m_photograph.width / m_picture->n, m_photograph.height / m_picture->n);
    for (const cv::Point& dot : dotsAlong(stroke, firstPoint, mask, outer)) {
        if (!reach.contains(dot)) continue;
        m_before.back().blocks.keep(m_brush.m_mask, {dot.x - outer, dot.y - outer, 2 * outer + 1, 2 * outer + 1});
        m_brush.drawADot(2 * dot, stroke.erase ? 0 : 255, 2 * outer, 2 * inner, static_cast<float>(stroke.opacity),
                         static_cast<float>(stroke.tolerance));
        m_brush.proc();
        steps.check();
    }
}

cv::Mat MaskPainter::paint(const Mask& mask, Steps& steps) {
    const std::vector<Stroke>& strokes = mask.strokes;
    if (!continues(strokes)) goBack(strokes);
    m_valid = false;
    if (!m_painted.empty()) {
        const std::size_t last = m_painted.size() - 1;
        paintFrom(strokes[last], m_painted[last].points.size(), steps);
        m_painted[last] = strokes[last];
        forgetOldest();
    }
    for (std::size_t i = m_painted.size(); i < strokes.size(); ++i) {
        beginStroke();
        paintFrom(strokes[i], 0, steps);
        m_painted.push_back(strokes[i]);
        forgetOldest();
    }
    m_brush.proc();
    cv::Mat painted = m_brush.getMaskRoi(cv::Rect(), 0);
    if (mask.inverted) cv::bitwise_not(painted, painted);
    m_valid = true;
    return painted;
}

}  // namespace kestrova::photo
