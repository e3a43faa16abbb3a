#include "photo/chroma_noise.h"

#include <kestrova/kestrova.h>

#include "photo/kernel.h"
#include "photo/noise.h"

namespace kestrova::photo {

namespace {

constexpr int kReduction = 4, kRadius = 8, kCell = 8;
constexpr float kEps = 0.02f * 0.02f;

class Guided : public TGuidedFilter {
public:
    SmoothModel model() const { return {{m_a0, kReduction}, {m_b, kReduction}}; }
};

SmoothModel modelOf(const cv::Mat& guide, const cv::Mat& plane) {
    Guided filter;
    filter.setup({guide}, plane, kRadius, kEps);
    return filter.model();
}

/// Luminance, red and blue difference of a tile.
struct Planes {
    cv::Mat Y, dr, db;
};

Planes planesOf(const Source& source, const cv::Mat& luminance, const cv::Rect& tile) {
    const cv::Mat rgb = source.working(tile);
    Planes out{luminance(tile), cv::Mat(tile.size(), CV_16UC1), cv::Mat(tile.size(), CV_16UC1)};
    for (int y = 0; y < tile.height; ++y)
        chromaRow(rgb.ptr<ushort>(y), out.Y.ptr<ushort>(y), out.dr.ptr<ushort>(y), out.db.ptr<ushort>(y), tile.width);
    return out;
}

KESTROVA_PHOTO_KERNEL void addSquaresRow(const ushort* Y, const ushort* chroma, const float* slope, const float* offset,
                                         float* squares, int n) noexcept {
    for (int x = 0; x < n; ++x) {
        const float rest = static_cast<float>(chroma[x]) * (1.0f / 65535) -
                           (slope[x] * (static_cast<float>(Y[x]) * (1.0f / 65535)) + offset[x]);
        squares[x] += 4 * rest * rest;
    }
}

KESTROVA_PHOTO_KERNEL void takeNoiseRow(const ushort* in, const float* smoothed, const float* noise, float share,
                                        ushort* out, int n) noexcept {
    for (int x = 0; x < n; ++x) {
        const auto c = static_cast<float>(in[x]);
        out[x] = rounded16(c - share * noise[x] * (c - smoothed[x]));
    }
}

}  // namespace

SmoothChroma ChromaNoise::smooth(cv::Point origin, int step, const cv::Mat& Y) const {
    SmoothChroma out;
    for (cv::Mat* plane : {&out.dr, &out.db, &out.noise}) plane->create(Y.size(), CV_32FC1);
    const int width = Y.cols * step;
    ReducedReader drSlope(dr.slope, origin.x, width), drOffset(dr.offset, origin.x, width);
    ReducedReader dbSlope(db.slope, origin.x, width), dbOffset(db.offset, origin.x, width);
    ReducedReader kept(texture, origin.x, width);
    for (int y = 0; y < Y.rows; ++y) {
        const int row = origin.y + y * step + step / 2;
        const auto* luminance = Y.ptr<ushort>(y);
        const auto smoothed = [&](const float* slope, const float* offset, float* to) {
            for (int x = 0; x < Y.cols; ++x) {
                const int at = x * step + step / 2;
                to[x] = slope[at] * static_cast<float>(luminance[x]) + offset[at] * 65535.0f;
            }
        };
        smoothed(drSlope.row(row), drOffset.row(row), out.dr.ptr<float>(y));
        smoothed(dbSlope.row(row), dbOffset.row(row), out.db.ptr<float>(y));
        const float* keptRow = kept.row(row);
        for (int x = 0; x < Y.cols; ++x) out.noise.at<float>(y, x) = 1 - keptRow[x * step + step / 2];
    }
    return out;
}

void SmoothChroma::apply(float share, const cv::Mat& drIn, const cv::Mat& dbIn, cv::Mat& drOut, cv::Mat& dbOut) const {
    drOut.create(drIn.size(), CV_16UC1);
    dbOut.create(dbIn.size(), CV_16UC1);
    for (int y = 0; y < drIn.rows; ++y) {
        const auto* noiseRow = noise.ptr<float>(y);
        takeNoiseRow(drIn.ptr<ushort>(y), dr.ptr<float>(y), noiseRow, share, drOut.ptr<ushort>(y), drIn.cols);
        takeNoiseRow(dbIn.ptr<ushort>(y), db.ptr<float>(y), noiseRow, share, dbOut.ptr<ushort>(y), dbIn.cols);
    }
}

std::shared_ptr<const ChromaNoise> computeChromaNoise(const Source& source, const cv::Mat& luminance, int sourceBits,
                                                      Steps& steps) {
    const cv::Size small = Reduced::sizeOf(luminance.size(), kReduction);
    cv::Mat Y(small, CV_32FC1), dr(small, CV_32FC1), db(small, CV_32FC1);
    const std::vector<cv::Rect> tiles = tilesOf(luminance.size());
    const int count = static_cast<int>(tiles.size());
    steps.parallel(count, 0.9 / count, [&](int i) {
        const Planes planes = planesOf(source, luminance, tiles[i]);
        reduceInto(planes.Y, tiles[i].tl(), kReduction, Y);
        reduceInto(planes.dr, tiles[i].tl(), kReduction, dr);
        reduceInto(planes.db, tiles[i].tl(), kReduction, db);
    });
    auto out = std::make_shared<ChromaNoise>();
    out->dr = modelOf(Y, dr);
    steps.check();
    out->db = modelOf(Y, db);
    steps.done(0.2);

    cv::Mat energy(Reduced::sizeOf(luminance.size(), kCell), CV_32FC1), level(energy.size(), CV_32FC1);
    steps.parallel(count, 0.9 / count, [&](int i) {
        const cv::Rect& tile = tiles[i];
        const Planes planes = planesOf(source, luminance, tile);
        cv::Mat squares = cv::Mat::zeros(tile.size(), CV_32FC1);
        ReducedReader drSlope(out->dr.slope, tile.x, tile.width), drOffset(out->dr.offset, tile.x, tile.width);
        ReducedReader dbSlope(out->db.slope, tile.x, tile.width), dbOffset(out->db.offset, tile.x, tile.width);
        for (int y = 0; y < tile.height; ++y) {
            const int row = tile.y + y;
            const auto* luminanceRow = planes.Y.ptr<ushort>(y);
            auto* sum = squares.ptr<float>(y);
            addSquaresRow(luminanceRow, planes.dr.ptr<ushort>(y), drSlope.row(row), drOffset.row(row), sum, tile.width);
            addSquaresRow(luminanceRow, planes.db.ptr<ushort>(y), dbSlope.row(row), dbOffset.row(row), sum, tile.width);
        }
        reduceFloatsInto(squares, tile.tl(), kCell, energy);
        reduceInto(planes.Y, tile.tl(), kCell, level);
    });
    const CellEnergies cells = {energy, level, {}, 0};
    out->texture = {measureTexture(cells, measureFalloff(cells), 0, sourceBits), kCell};
    return out;
}

}  // namespace kestrova::photo
