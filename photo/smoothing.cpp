#include "photo/smoothing.h"

#include <kestrova/kestrova.h>

#include <algorithm>
#include <cmath>

namespace kestrova::photo {

namespace {

constexpr double kFullScale = 65535;

/// The core's guided filter, whose model the planes of other sizes are made from.
class Guided : public TGuidedFilter {
public:
    Guided(const cv::Mat& guide, const cv::Mat& plane, int radius, float eps) { setup({guide}, plane, radius, eps); }
    Model model() const { return {m_a0, m_b}; }
};

cv::Mat toUnit(const cv::Mat& plane) {
    cv::Mat out;
    plane.convertTo(out, CV_32F, 1 / kFullScale);
    return out;
}

cv::Mat to16Bits(const cv::Mat& unit) {
    cv::Mat out;
    unit.convertTo(out, CV_16U, kFullScale);
    return out;
}

void inverted(const cv::Mat& plane, cv::Mat& out) {
    out.create(plane.size(), CV_16UC1);
    for (int y = 0; y < plane.rows; ++y) {
        const auto* in = plane.ptr<ushort>(y);
        auto* o = out.ptr<ushort>(y);
        for (int x = 0; x < plane.cols; ++x) o[x] = static_cast<ushort>(65535 - in[x]);
    }
}

void filterOnGrid(cv::Mat& plane, int sampling, float amplitude) {
    BilateralFilter().proc(cv::Mat(), plane, sampling,
                           static_cast<int>(std::lround(static_cast<double>(amplitude) * kFullScale)), nullptr);
}

/// The grid is read half a cell of luminance lower than it is written, which darkens texture; on the negative the same
/// brightens it. The mean of both does neither.
cv::Mat bilateral(const cv::Mat& Y, int sampling, float amplitude) {
    cv::Mat darker = Y.clone(), brighter;
    filterOnGrid(darker, sampling, amplitude);
    inverted(Y, brighter);
    filterOnGrid(brighter, sampling, amplitude);
    for (int y = 0; y < Y.rows; ++y) {
        auto* d = darker.ptr<ushort>(y);
        const auto* b = brighter.ptr<ushort>(y);
        for (int x = 0; x < Y.cols; ++x) d[x] = static_cast<ushort>((d[x] + 65535 - b[x] + 1) / 2);
    }
    return darker;
}

/// The local Laplacian filter has reference levels from 0 to 62790 and extrapolates above, without a clamp. Here it
/// works on the scale from 1/16 to 15/16 of them, where it interpolates alone.
cv::Mat laplacian(const cv::Mat& unit, int radius) {
    constexpr double kHeadroomScale = 0.875, kHeadroomShift = 4096;
    constexpr float kLargest = 0.08f, kBlur = 0.3f;
    const int levels = 1 + static_cast<int>(std::lround(std::log2(std::max(1, radius))));
    cv::Mat in, filtered, out;
    unit.convertTo(in, CV_16U, kHeadroomScale * kFullScale, kHeadroomShift);
    // The filter's alpha counts in halves of the full scale.
    LocalLaplacian().proc24K(in, filtered, static_cast<float>(2 * kHeadroomScale) * kLargest, kBlur, levels);
    filtered.convertTo(out, CV_32F, 1 / (kHeadroomScale * kFullScale), -kHeadroomShift / (kHeadroomScale * kFullScale));
    return out;
}

/// Weighted least squares in overlapping parts, so that the host can cancel between them and memory stays bounded; each
/// part fades into the next.
cv::Mat leastSquares(const cv::Mat& unit, int radius, Steps& steps) {
    constexpr int kPart = 192, kOverlap = 48;
    constexpr float kLambdaOfUnitArea = 0.004f, kAlpha = 1.2f;
    const float lambda = kLambdaOfUnitArea * static_cast<float>(radius * radius);
    cv::Mat sum = cv::Mat::zeros(unit.size(), CV_32FC1), weights = cv::Mat::zeros(unit.size(), CV_32FC1);
    std::vector<cv::Rect> parts;
    for (int y = 0; y < unit.rows; y += kPart)
        for (int x = 0; x < unit.cols; x += kPart) parts.emplace_back(x, y, kPart, kPart);
    std::vector<cv::Mat> solved(parts.size());
    std::vector<cv::Rect> places(parts.size());
    steps.parallel(static_cast<int>(parts.size()), 0, [&](int i) {
        const cv::Rect& p = parts[i];
        places[i] = cv::Rect(p.x - kOverlap, p.y - kOverlap, p.width + 2 * kOverlap, p.height + 2 * kOverlap) &
                    cv::Rect(cv::Point(), unit.size());
        solved[i] = unit(places[i]).clone();
        cv::Mat guide = solved[i].clone();
        TWLSFilter().Proc(solved[i].ptr<float>(), guide.cols, guide.rows, lambda, kAlpha, guide.ptr<float>(), true);
    });
    for (std::size_t i = 0; i < parts.size(); ++i) {
        const cv::Rect& place = places[i];
        const auto fade = [](int from, int at, int end, bool atStart, bool atEnd) {
            const int in = atStart ? 2 * kOverlap : at - from, out = atEnd ? 2 * kOverlap : end - 1 - at;
            const float t = std::min(1.0f, (static_cast<float>(std::min(in, out)) + 0.5f) / (2 * kOverlap));
            return t * t * (3 - 2 * t);
        };
        for (int y = place.y; y < place.y + place.height; ++y) {
            const float fy =
                fade(place.y, y, place.y + place.height, place.y == 0, place.y + place.height == unit.rows);
            auto* s = sum.ptr<float>(y);
            auto* w = weights.ptr<float>(y);
            const auto* in = solved[i].ptr<float>(y - place.y);
            for (int x = place.x; x < place.x + place.width; ++x) {
                const float weight =
                    fy * fade(place.x, x, place.x + place.width, place.x == 0, place.x + place.width == unit.cols);
                s[x] += weight * in[x - place.x];
                w[x] += weight;
            }
        }
    }
    for (int y = 0; y < unit.rows; ++y)
        for (int x = 0; x < unit.cols; ++x) sum.at<float>(y, x) /= weights.at<float>(y, x);
    return sum;
}

/// The plane plus what a filter has changed: without edges of its own, it can be read at full size.
Model difference(const cv::Mat& plane, const cv::Mat& smooth) {
    Model model{cv::Mat(plane.size(), CV_32FC1, cv::Scalar(1)), cv::Mat(plane.size(), CV_32FC1)};
    for (int y = 0; y < plane.rows; ++y) {
        const auto* p = plane.ptr<float>(y);
        const auto* s = smooth.ptr<float>(y);
        auto* b = model.offset.ptr<float>(y);
        for (int x = 0; x < plane.cols; ++x) b[x] = s[x] - p[x];
    }
    return model;
}

}  // namespace

TileSmoother::TileSmoother(bool bilateral, int radius, float amplitude)
    : m_bilateral(bilateral), m_radius(bilateral ? std::max(2, radius) : radius), m_amplitude(amplitude) {}

// The grid's blur has fallen to 1/10000 after 6 cells; another one lets parts begin at a multiple of a cell.
int TileSmoother::margin() const { return m_bilateral ? 7 * m_radius : 2 * m_radius; }

cv::Mat TileSmoother::smoothed(const cv::Mat& Y, cv::Point origin) const {
    return m_bilateral ? onGrid(Y, origin) : guided(Y);
}

cv::Mat TileSmoother::guided(const cv::Mat& Y) const {
    const cv::Mat guide = toUnit(Y);
    const Guided filter(guide, guide, m_radius, m_amplitude * m_amplitude);
    cv::Mat out;
    filter.proc({Y}, out);
    return out;
}

/// Cells stand where they would in the whole picture, and the depths, too: two pixels beyond the part span the range.
cv::Mat TileSmoother::onGrid(const cv::Mat& Y, cv::Point origin) const {
    const int skipX = (m_radius - origin.x % m_radius) % m_radius, skipY = (m_radius - origin.y % m_radius) % m_radius;
    cv::Mat out = Y.clone();
    if (skipX >= Y.cols || skipY >= Y.rows) return out;
    const cv::Rect part(skipX, skipY, Y.cols - skipX, Y.rows - skipY);
    const int wholeRows = (part.height + m_radius - 1) / m_radius * m_radius;
    // Seven cells further down, where the blur does not reach back from.
    cv::Mat with(wholeRows + 8 * m_radius, part.width, CV_16UC1);
    for (int y = 0; y < with.rows; ++y)
        Y.row(skipY + std::min(y, part.height - 1)).colRange(skipX, Y.cols).copyTo(with.row(y));
    with.at<ushort>(with.rows - 1, 0) = 0;
    with.at<ushort>(with.rows - 1, with.cols - 1) = 65535;
    bilateral(with, m_radius, m_amplitude).rowRange(0, part.height).copyTo(out(part));
    return out;
}

DetailFilter filterFor(DetailFilter chosen, int scale) {
    const bool large = scale == 2;
    if (chosen == DetailFilter::bilateral && large) return DetailFilter::guided;
    if (chosen == DetailFilter::laplacian && !large) return DetailFilter::guided;
    return chosen;
}

Model modelOf(const cv::Mat& plane, DetailFilter filter, int radius, float amplitude, Steps& steps) {
    steps.check();
    switch (filter) {
        case DetailFilter::guided: break;
        case DetailFilter::bilateral:
            return difference(plane, toUnit(bilateral(to16Bits(plane), std::max(2, radius), amplitude)));
        case DetailFilter::laplacian: return difference(plane, laplacian(plane, radius));
        case DetailFilter::wls: return difference(plane, leastSquares(plane, radius, steps));
    }
    return Guided(plane, plane, radius, amplitude * amplitude).model();
}

}  // namespace kestrova::photo
