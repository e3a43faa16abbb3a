#pragma once

#include <algorithm>
#include <cmath>
#include <functional>
#include <vector>

#include "kestrova/curves/tlut_y.h"
#include "tests/curves/sampled_tables.h"
#include "tests/support/planes.h"

/// Tables of Y, Dr, Db in the plain, made by any rule.

using Rule = std::function<void(ushort&, uchar&, uchar&)>;

class Ruled final : public TLutYDrDb {
public:
    explicit Ruled(const Rule& rule, int nc = 4) : TLutYDrDb(nc), m_rule(rule) {}
    void mapPixel(ushort& y, uchar& dr, uchar& db) override { m_rule(y, dr, db); }
    Rule m_rule;
};

inline void identityRule(ushort&, uchar&, uchar&) {}

// Scattered, and different for every luminance; the luminance that is left behind must not matter to chroma.
inline void wildRule(ushort& y, uchar& dr, uchar& db) {
    const unsigned mixed = (dr * 2654435761u) ^ (db * 40503u) ^ (y * 2246822519u);
    dr = static_cast<uchar>(mixed >> 11);
    db = static_cast<uchar>(mixed >> 19);
    y = static_cast<ushort>(mixed >> 7);
}

inline std::vector<int> naiveEnlarge2(const std::vector<int>& grid) {
    const auto at = [&](int y, int x) { return grid[std::clamp(y, 0, 127) * 128 + std::clamp(x, 0, 127)]; };
    std::vector<int> full;
    for (int y = 0; y < 256; ++y) {
        for (int x = 0; x < 256; ++x) {
            const double py = (y + 0.5) / 2 - 0.5, px = (x + 0.5) / 2 - 0.5;
            const int iy = static_cast<int>(std::floor(py)), ix = static_cast<int>(std::floor(px));
            const double fy = py - iy, fx = px - ix;
            const double upper = at(iy, ix) * (1 - fx) + at(iy, ix + 1) * fx;
            const double lower = at(iy + 1, ix) * (1 - fx) + at(iy + 1, ix + 1) * fx;
            full.push_back(static_cast<int>(std::floor(upper * (1 - fy) + lower * fy + 0.5)));
        }
    }
    return full;
}

struct Grids {
    std::vector<int> dr, db;
};

inline Grids sampleChroma(const Rule& rule, int luminance) {
    Grids grids;
    for (int i = 0; i < 128; ++i) {
        for (int j = 0; j < 128; ++j) {
            ushort y = static_cast<ushort>(luminance);
            uchar dr = static_cast<uchar>(2 * i), db = static_cast<uchar>(2 * j);
            rule(y, dr, db);
            grids.dr.push_back(dr);
            grids.db.push_back(db);
        }
    }
    return grids;
}

inline std::vector<int> naiveChromaTable(const Rule& rule, int luminance) {
    const Grids grids = sampleChroma(rule, luminance);
    const std::vector<int> dr = naiveEnlarge2(grids.dr), db = naiveEnlarge2(grids.db);
    std::vector<int> table;
    for (int i = 0; i < 65536; ++i) table.push_back(dr[i] << 8 | db[i]);
    return table;
}

// Fills the chroma tables with scattered pairs, without any rule.
inline void fillChromaTables(TLutYDrDb& lut) {
    for (int c = 0; c < lut.numCLUT(); ++c) {
        const cv::Mat values = randomPlane(1, 65536, CV_16UC1, 50 + c);
        std::copy_n(values.ptr<ushort>(), 65536, lut.m_CLUT_p[c]);
    }
}

// The pixel rule of the several tables in the plain, with its division in integers and its floats.
inline void naiveBands(const TLutYDrDb& lut, int nc, int Y, int dr, int db, uchar& outDr, uchar& outDb) {
    const int shift = 16 - nc, step = 1 << shift, last = (1 << nc) - 1;
    int i0 = Y >> shift, i1 = i0 + 1;
    if (i1 > last) i1 = last, i0 = last - 1;
    const float w = static_cast<float>(((i1 + 1) * step - Y) / step);
    const int a = lut.m_CLUT_p[i0][dr << 8 | db], b = lut.m_CLUT_p[i1][dr << 8 | db];
    const float r = static_cast<float>(b >> 8) * (1 - w) + static_cast<float>(a >> 8) * w;
    const float s = static_cast<float>(b & 0xFF) * (1 - w) + static_cast<float>(a & 0xFF) * w;
    outDr = static_cast<uchar>(static_cast<int>(r) & 0xFF);
    outDb = static_cast<uchar>(static_cast<int>(s) & 0xFF);
}

// Luminance with many pixels at the very start of a band.
inline cv::Mat luminanceOfBands(const cv::Size& size, unsigned seed) {
    cv::Mat y = randomPlane(size.height, size.width, CV_16UC1, seed);
    for (int r = 0; r < y.rows; ++r)
        for (int c = r % 3; c < y.cols; c += 3) y.at<ushort>(r, c) &= 0xF800;
    return y;
}
