#include "photo/geometry.h"

#include <kestrova/kestrova.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "photo/kernel.h"
#include "photo/resampling.h"
#include "photo/source.h"

namespace kestrova::photo {

namespace {

constexpr double kPi = 3.14159265358979323846;

/// The largest upright rectangle within a picture of that size that is turned by `angle`.
cv::Size2d inscribed(cv::Size2d size, double angle) {
    const double sine = std::abs(std::sin(angle)), cosine = std::abs(std::cos(angle));
    const double longer = std::max(size.width, size.height), shorter = std::min(size.width, size.height);
    if (shorter <= 2 * sine * cosine * longer) {
        const double half = 0.5 * shorter;
        const double a = half / sine, b = half / cosine;
        return size.width >= size.height ? cv::Size2d(a, b) : cv::Size2d(b, a);
    }
    const double cos2 = cosine * cosine - sine * sine;
    return {(size.width * cosine - size.height * sine) / cos2, (size.height * cosine - size.width * sine) / cos2};
}

/// [from, from + length) of `side` pixels, from shares.
void pixelsOf(double from, double length, int side, int& first, int& count) {
    first = std::clamp(static_cast<int>(std::lround(from * side)), 0, side - 1);
    count = std::clamp(static_cast<int>(std::lround((from + length) * side)) - first, 1, side - first);
}

}  // namespace

Geometry::Geometry(cv::Size photograph, const Settings& settings)
    : m_photograph(photograph), m_quarters(settings.rotate / 90), m_angle(settings.straighten * kPi / 180) {
    m_turned = m_quarters % 2 ? cv::Size(photograph.height, photograph.width) : photograph;
    m_cos = std::cos(m_angle);
    m_sin = std::sin(m_angle);
    cv::Size frame = m_turned;
    if (m_angle != 0) {
        const cv::Size2d inside = inscribed(m_turned, m_angle);
        frame = {std::max(1, static_cast<int>(inside.width)), std::max(1, static_cast<int>(inside.height))};
    }
    m_frame = {-0.5 * frame.width, -0.5 * frame.height};
    pixelsOf(settings.crop.x, settings.crop.width, frame.width, m_crop.x, m_crop.width);
    pixelsOf(settings.crop.y, settings.crop.height, frame.height, m_crop.y, m_crop.height);
    m_size = m_crop.size();
    const int longer = std::max(m_size.width, m_size.height);
    if (settings.size > 0 && settings.size < longer) {
        const auto scaled = [&](int side) {
            return std::max(1, static_cast<int>(std::lround(static_cast<double>(side) * settings.size / longer)));
        };
        m_size = {scaled(m_size.width), scaled(m_size.height)};
    }
}

cv::Rect Geometry::photographOf(const cv::Rect& rendering) const {
    const cv::Rect turned = rendering + m_crop.tl();
    switch (m_quarters) {
        case 1: return {turned.y, m_photograph.height - turned.x - turned.width, turned.height, turned.width};
        case 2:
            return {m_photograph.width - turned.x - turned.width, m_photograph.height - turned.y - turned.height,
                    turned.width, turned.height};
        case 3: return {m_photograph.width - turned.y - turned.height, turned.x, turned.height, turned.width};
        default: return turned;
    }
}

cv::Mat Geometry::turned(const cv::Mat& pixels) const {
    cv::Mat out;
    switch (m_quarters) {
        case 1:
            cv::transpose(pixels, out);
            cv::flip(out, out, 1);
            return out;
        case 2: cv::flip(pixels, out, -1); return out;
        case 3:
            cv::transpose(pixels, out);
            cv::flip(out, out, 0);
            return out;
        default: return pixels;
    }
}

/// From pixels of the straightened frame to those of the photograph; centres of pixels stand at halves.
cv::Point2d Geometry::toPhotograph(cv::Point2d p) const {
    const double x = p.x + m_frame.x, y = p.y + m_frame.y;
    const cv::Point2d t(m_cos * x + m_sin * y + 0.5 * m_turned.width, -m_sin * x + m_cos * y + 0.5 * m_turned.height);
    switch (m_quarters) {
        case 1: return {t.y, m_photograph.height - t.x};
        case 2: return {m_photograph.width - t.x, m_photograph.height - t.y};
        case 3: return {m_photograph.width - t.y, t.x};
        default: return t;
    }
}

cv::Point2d Geometry::photographPoint(cv::Point2d rendering) const {
    return toPhotograph({m_crop.x + rendering.x * scaleOf(true, 1, 1), m_crop.y + rendering.y * scaleOf(false, 1, 1)});
}

cv::Point2d Geometry::renderingPoint(cv::Point2d photograph) const {
    cv::Point2d t = photograph;
    switch (m_quarters) {
        case 1: t = {m_photograph.height - photograph.y, photograph.x}; break;
        case 2: t = {m_photograph.width - photograph.x, m_photograph.height - photograph.y}; break;
        case 3: t = {photograph.y, m_photograph.width - photograph.x}; break;
        default: break;
    }
    const cv::Point2d d(t.x - 0.5 * m_turned.width, t.y - 0.5 * m_turned.height);
    const cv::Point2d frame(m_cos * d.x - m_sin * d.y - m_frame.x, m_sin * d.x + m_cos * d.y - m_frame.y);
    return {(frame.x - m_crop.x) / scaleOf(true, 1, 1), (frame.y - m_crop.y) / scaleOf(false, 1, 1)};
}

/// Reduced pixels of the cropped frame to a pixel of the rendering at that step.
double Geometry::scaleOf(bool horizontal, int step, int reduction) const {
    const double frame = horizontal ? m_crop.width : m_crop.height, out = horizontal ? m_size.width : m_size.height;
    return frame / out * step / reduction;
}

/// The pixels of the reduced, straightened, cropped frame that resizing `area` reads.
cv::Rect Geometry::straightenedArea(const cv::Rect& area, int step, int reduction) const {
    const auto side = [](int from, int count, double scale, int limit, int& first, int& length) {
        first = std::clamp(firstTap(from, scale), 0, limit - 1);
        length = std::clamp(lastTap(from + count - 1, scale) + 1, first + 1, limit) - first;
    };
    const int width = std::max(1, m_crop.width / reduction), height = std::max(1, m_crop.height / reduction);
    cv::Rect out;
    side(area.x, area.width, scaleOf(true, step, reduction), width, out.x, out.width);
    side(area.y, area.height, scaleOf(false, step, reduction), height, out.y, out.height);
    return out;
}

Geometry::Plan Geometry::planFor(const cv::Rect& area, int step) const {
    Plan plan;
    const double scale = std::max(scaleOf(true, step, 1), scaleOf(false, step, 1));
    plan.reduction = step == 1 ? 1 : std::max(1, static_cast<int>(scale + 1e-9));
    const int n = plan.reduction;
    const cv::Rect frame = straightenedArea(area, step, n);
    cv::Point2d low(1e9, 1e9), high(-1e9, -1e9);
    for (int corner = 0; corner < 4; ++corner) {
        const cv::Point2d p = toPhotograph({m_crop.x + n * static_cast<double>(frame.x + corner % 2 * frame.width),
                                            m_crop.y + n * static_cast<double>(frame.y + corner / 2 * frame.height)});
        low = {std::min(low.x, p.x), std::min(low.y, p.y)};
        high = {std::max(high.x, p.x), std::max(high.y, p.y)};
    }
    constexpr int kMargin = 3;  // of the cubic
    const auto side = [n](double from, double to, int limit, int& first, int& count) {
        const int cells = std::max(1, limit / n);
        const int begin = std::clamp(static_cast<int>(std::floor(from / n)) - kMargin, 0, cells - 1);
        const int end = std::clamp(static_cast<int>(std::ceil(to / n)) + kMargin, begin + 1, cells);
        first = begin * n;
        count = end - begin;
    };
    side(low.x, high.x, m_photograph.width, plan.origin.x, plan.size.width);
    side(low.y, high.y, m_photograph.height, plan.origin.y, plan.size.height);
    return plan;
}

/// `frame`: in reduced pixels of the cropped frame.
cv::Mat Geometry::straightened(const cv::Mat& rendered, const Plan& plan, const cv::Rect& frame) const {
    const int n = plan.reduction;
    if (m_angle == 0 && n == 1) return turned(rendered(photographOf(frame) - plan.origin));
    const cv::Size cells(std::max(1, m_photograph.width / n), std::max(1, m_photograph.height / n));
    const cv::Rect have(plan.origin / n, plan.size);
    cv::Mat out(frame.size(), rendered.type());
    for (int y = 0; y < frame.height; ++y)
        for (int x = 0; x < frame.width; ++x) {
            const cv::Point2d p =
                toPhotograph({m_crop.x + n * (frame.x + x + 0.5), m_crop.y + n * (frame.y + y + 0.5)});
            sampleCubic(rendered, have, cells, p.x / n, p.y / n, out.ptr(y, x));
        }
    return out;
}

cv::Mat Geometry::resampled(const cv::Mat& rendered, const Plan& plan, const cv::Rect& area, int step) const {
    const int n = plan.reduction;
    const cv::Rect frame = straightenedArea(area, step, n);
    const cv::Size whole(std::max(1, m_crop.width / n), std::max(1, m_crop.height / n));
    return resizedByTaps(straightened(rendered, plan, frame), frame.tl(), whole, area, scaleOf(true, step, n),
                         scaleOf(false, step, n));
}

void sharpenForOutput(cv::Mat& pixels) {
    constexpr float kShare = 0.2f;
    cv::Mat Y(pixels.size(), CV_16UC1), crisp;
    for (int y = 0; y < Y.rows; ++y) luminanceRow(pixels.ptr<ushort>(y), Y.ptr<ushort>(y), Y.cols);
    extremeSharpen(Y, crisp);
    for (int y = 0; y < Y.rows; ++y) {
        auto* p = pixels.ptr<ushort>(y);
        const auto* from = Y.ptr<ushort>(y);
        const auto* to = crisp.ptr<ushort>(y);
        for (int x = 0; x < Y.cols; ++x) {
            const float change = kShare * static_cast<float>(to[x] - from[x]);
            for (int c = 0; c < 3; ++c) p[4 * x + c] = rounded16(static_cast<float>(p[4 * x + c]) + change);
        }
    }
}

}  // namespace kestrova::photo
