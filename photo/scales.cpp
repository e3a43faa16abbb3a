#include "photo/scales.h"

#include <algorithm>
#include <cmath>

#include "photo/kernel.h"
#include "photo/noise.h"
#include "photo/smoothing.h"
#include "photo/zero.h"

namespace kestrova::photo {

namespace {

// What counts as detail rather than an edge is a question of amplitude; larger scales hold larger ones.
constexpr float kAmplitude[] = {0.025f, 0.03f, 0.04f};

/// How far the model of a filter of that radius may be reduced: 8 cells of radius keep what the models of neighbouring
/// cells mix at an edge below what an eye can see. Least squares are slow, and crisp with 4.
int reductionFor(int radius, DetailFilter filter) {
    const int least = filter == DetailFilter::wls ? 4 : 8;
    int n = 1;
    while (radius / (2 * n) >= least) n *= 2;
    return n;
}

/// Half of what `Y` has above `smooth`; cut towards zero.
KESTROVA_PHOTO_KERNEL void detailRow(const ushort* Y, const ushort* smooth, ushort* detail, ushort* rest,
                                     int n) noexcept {
    for (int x = 0; x < n; ++x) {
        const int half = (Y[x] - smooth[x]) / 2;
        detail[x] = static_cast<ushort>(half + kZero);
        rest[x] = static_cast<ushort>(Y[x] - 2 * half);
    }
}

KESTROVA_PHOTO_KERNEL void squaresRow(const ushort* detail, float* squares, int n) noexcept {
    for (int x = 0; x < n; ++x) {
        const float d = static_cast<float>(detail[x] - kZero) * (2.0f / 65535);
        squares[x] = d * d;
    }
}

/// How much luminance bends at each pixel, over `reach` pixels either way: squares, on the scale of the noise that
/// bends it as much. A gradient does not bend; texture that a filter takes for edges does.
template <class Value>
KESTROVA_PHOTO_KERNEL void bendsRow(const Value* above, const Value* row, const Value* below, int reach, float scale,
                                    float* squares, int first, int end) noexcept {
    for (int x = first; x < end; ++x) {
        const float twice = 2 * static_cast<float>(row[x]);
        const float across = static_cast<float>(row[x - reach]) + static_cast<float>(row[x + reach]) - twice;
        const float down = static_cast<float>(above[x]) + static_cast<float>(below[x]) - twice;
        squares[x - first] = (across * across + down * down) * (scale * scale / 12);
    }
}

/// The bends of a part of a plane; at the plane's border those next to it.
template <class Value>
void bendsOf(const cv::Mat& plane, const cv::Rect& part, int reach, float scale, cv::Mat& squares) {
    reach = std::min({reach, (plane.cols - 1) / 2, (plane.rows - 1) / 2});
    if (reach < 1) {
        squares.setTo(0);
        return;
    }
    for (int y = 0; y < part.height; ++y) {
        const int row = std::clamp(part.y + y, reach, plane.rows - 1 - reach);
        const int first = std::max(part.x, reach), end = std::min(part.x + part.width, plane.cols - reach);
        auto* out = squares.ptr<float>(y);
        if (first >= end) {
            std::fill(out, out + part.width, 0.0f);
            continue;
        }
        bendsRow(plane.ptr<Value>(row - reach), plane.ptr<Value>(row), plane.ptr<Value>(row + reach), reach, scale,
                 out + (first - part.x), first, end);
        std::fill(out, out + (first - part.x), out[first - part.x]);
        std::fill(out + (end - part.x), out + part.width, out[end - 1 - part.x]);
    }
}

cv::Rect grown(const cv::Rect& rectangle, int margin, const cv::Rect& bounds) {
    return cv::Rect(rectangle.x - margin, rectangle.y - margin, rectangle.width + 2 * margin,
                    rectangle.height + 2 * margin) &
           bounds;
}

int bendReach(int radius) { return std::max(1, radius / 2); }

CellEnergies cellsOf(cv::Size plane, int cell, int scale) {
    const cv::Size size = Reduced::sizeOf(plane, cell);
    return {cv::Mat(size, CV_32FC1), cv::Mat(size, CV_32FC1), cv::Mat(size, CV_32FC1), kAmplitude[scale]};
}

/// The picture's small detail, tile by tile, and what it leaves: the rest at a reduced size, and how strong the detail
/// and how bright the picture are in cells of `energyCell` pixels.
struct SmallScale {
    cv::Mat detail, rest;
    CellEnergies cells;
};

SmallScale takeSmall(const cv::Mat& Y, DetailFilter filter, int reduction, int energyCell, Steps& steps) {
    const cv::Rect bounds(cv::Point(), Y.size());
    const int radius = radiusOf(0, Y.size());
    SmallScale out;
    out.detail.create(Y.size(), CV_16UC1);
    out.rest.create(Reduced::sizeOf(Y.size(), reduction), CV_32FC1);
    out.cells = cellsOf(Y.size(), energyCell, 0);
    const std::vector<cv::Rect> tiles = tilesOf(Y.size());
    steps.parallel(static_cast<int>(tiles.size()), 1.0 / static_cast<double>(tiles.size()), [&](int i) {
        const cv::Rect& tile = tiles[i];
        const TileSmoother smoother(filter == DetailFilter::bilateral, radius, kAmplitude[0]);
        const cv::Rect with = grown(tile, smoother.margin(), bounds);
        const cv::Mat smooth = smoother.smoothed(Y(with), with.tl())(cv::Rect(tile.tl() - with.tl(), tile.size()));
        cv::Mat rest(tile.size(), CV_16UC1), squares(tile.size(), CV_32FC1);
        for (int y = 0; y < tile.height; ++y) {
            auto* detail = out.detail.ptr<ushort>(tile.y + y) + tile.x;
            detailRow(Y.ptr<ushort>(tile.y + y) + tile.x, smooth.ptr<ushort>(y), detail, rest.ptr<ushort>(y),
                      tile.width);
            squaresRow(detail, squares.ptr<float>(y), tile.width);
        }
        reduceInto(rest, tile.tl(), reduction, out.rest);
        reduceFloatsInto(squares, tile.tl(), energyCell, out.cells.detail);
        bendsOf<ushort>(Y, tile, bendReach(radius), 1.0f / 65535, squares);
        reduceFloatsInto(squares, tile.tl(), energyCell, out.cells.bends);
        reduceInto(rest, tile.tl(), energyCell, out.cells.level);
    });
    return out;
}

/// A scale at its reduced size: `rest`, from 0 to 1, becomes what the model leaves; the energy of the detail, and the
/// level, in cells of `cell` values.
struct ReducedScale {
    SmoothModel model;
    CellEnergies cells;
    int cell;
};

constexpr int kSmallCell = 8;

/// Noise of larger scales is correlated over some pixels: a cell has to hold many of its grains.
int cellFor(int radius) {
    int cell = kSmallCell;
    while (cell < 3 * radius) cell *= 2;
    return cell;
}

ReducedScale takeReduced(cv::Mat& rest, int scale, int n, DetailFilter filter, cv::Size picture, Steps& steps) {
    const int radius = std::max(1, radiusOf(scale, picture) / n);
    ReducedScale out;
    out.cell = cellFor(radius);
    const Model model = modelOf(rest, filterFor(filter, scale), radius, kAmplitude[scale], steps);
    out.model.slope = {model.slope, n};
    out.model.offset = {model.offset, n};
    cv::Mat squares(rest.size(), CV_32FC1);
    out.cells = cellsOf(rest.size(), out.cell, scale);
    bendsOf<float>(rest, {cv::Point(), rest.size()}, bendReach(radius), 1, squares);
    reduceFloatsInto(squares, {}, out.cell, out.cells.bends);
    for (int y = 0; y < rest.rows; ++y) {
        auto* r = rest.ptr<float>(y);
        auto* q = squares.ptr<float>(y);
        const auto* a = model.slope.ptr<float>(y);
        const auto* b = model.offset.ptr<float>(y);
        for (int x = 0; x < rest.cols; ++x) {
            const float smooth = a[x] * r[x] + b[x], detail = r[x] - smooth;
            q[x] = detail * detail;
            r[x] = smooth;
        }
    }
    reduceFloatsInto(squares, {}, out.cell, out.cells.detail);
    reduceFloatsInto(rest, {}, out.cell, out.cells.level);
    return out;
}

cv::Mat furtherReduced(const cv::Mat& rest, int n) {
    if (n == 1) return rest;
    cv::Mat out(Reduced::sizeOf(rest.size(), n), CV_32FC1);
    reduceFloatsInto(rest, {}, n, out);
    return out;
}

}  // namespace

int radiusOf(int scale, cv::Size picture) {
    const double meanSide = std::sqrt(static_cast<double>(picture.width) * picture.height);
    return std::max(1, static_cast<int>(std::lround(meanSide / 1000))) << 2 * scale;
}

std::vector<cv::Rect> tilesOf(cv::Size picture) {
    constexpr int kWidth = 1024, kHeight = 512;
    std::vector<cv::Rect> tiles;
    for (int y = 0; y < picture.height; y += kHeight)
        for (int x = 0; x < picture.width; x += kWidth)
            tiles.emplace_back(x, y, std::min(kWidth, picture.width - x), std::min(kHeight, picture.height - y));
    return tiles;
}

cv::Mat computeLuminance(const Source& source, Steps& steps) {
    cv::Mat out(source.size(), CV_16UC1);
    const std::vector<cv::Rect> tiles = tilesOf(source.size());
    steps.parallel(static_cast<int>(tiles.size()), 1.0 / static_cast<double>(tiles.size()), [&](int i) {
        cv::Mat part = out(tiles[i]);
        source.luminance(tiles[i], part);
    });
    return out;
}

std::shared_ptr<const Scales> computeScales(const cv::Mat& luminance, DetailFilter filter, int sourceBits,
                                            Steps& steps) {
    auto out = std::make_shared<Scales>();
    out->filter = filter;
    out->luminance = luminance;
    const int mediumBy = reductionFor(radiusOf(1, luminance.size()), filter);
    const int largeBy = std::max(mediumBy, reductionFor(radiusOf(2, luminance.size()), filter));

    SmallScale small = takeSmall(luminance, filter, mediumBy, kSmallCell, steps);
    out->small = small.detail;
    cv::Mat rest = small.rest;
    const ReducedScale medium = takeReduced(rest, 1, mediumBy, filter, luminance.size(), steps);
    out->medium = medium.model;
    steps.done(0.7);
    rest = furtherReduced(rest, largeBy / mediumBy);
    const ReducedScale large = takeReduced(rest, 2, largeBy, filter, luminance.size(), steps);
    out->large = large.model;

    steps.check();
    const float falloff = measureFalloff(small.cells);
    out->texture[0] = {measureTexture(small.cells, falloff, 0, sourceBits), kSmallCell};
    steps.check();
    out->texture[1] = {measureTexture(medium.cells, falloff, 1, sourceBits), medium.cell * mediumBy};
    out->texture[2] = {measureTexture(large.cells, falloff, 2, sourceBits), large.cell * largeBy};
    steps.done(0.3);
    return out;
}

}  // namespace kestrova::photo
