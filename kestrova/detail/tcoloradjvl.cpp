#include "kestrova/detail/tcoloradjvl.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <iostream>
#include <iterator>

#include "kestrova/curves/table_smoothing.h"
#include "kestrova/frame/failure.h"
#include "kestrova/frame/kernel.h"
#include "kestrova/frame/kestrova.h"
#include "kestrova/frame/memory_failure.h"
#include "kestrova/frame/overlap.h"
#include "kestrova/frame/parallel.h"
#include "kestrova/frame/plane_checks.h"
#include "kestrova/frame/saturate.h"
#include "kestrova/frame/unit_scale.h"
#include "kestrova/frame/zero16.h"
#include "kestrova/image/ydrdb.h"
#include "kestrova/primitives/tables.h"

using namespace kestrova::frame;
using namespace kestrova::image;

namespace {

constexpr int kNodes = 33;

inline float mixed(float a, float b, float f) { return (1.0f - f) * a + b * f; }
inline float mixed(float a, float b, float c, float d, float fy, float fx) {
    return mixed(mixed(a, b, fx), mixed(c, d, fx), fy);
}
inline float mixed(float a, float b, float c, float d, float e, float f, float g, float h, float fz, float fy,
                   float fx) {
    return mixed(mixed(a, b, c, d, fy, fx), mixed(e, f, g, h, fy, fx), fz);
}

// A shift of colour: each channel is mixed, by `weight`, with gain * channel + offset.
struct ColorShift {
    float weight;
    float gain[3];
    float offset[3];
    float operator()(int channel, float v) const { return mixed(v, v * gain[channel] + offset[channel], weight); }
};

ColorShift temperatureShift(float w) {
    if (w >= 0) return {w, {1.5f, 1.35f, 1.0f}, {0.4f, 0.28f, 0.0f}};
    return {-w, {1.0f, 1.15f, 1.6f}, {0.0f, 0.12f, 0.48f}};
}

ColorShift tintShift(float a) {
    if (a >= 0) return {a, {1.25f, 1.0f, 1.5f}, {0.2f, 0.0f, 0.4f}};
    return {-a, {1.0f, 1.5f, 1.0f}, {0.0f, 0.4f, 0.0f}};
}

// The nodes of one Y and one Dr. Each step below is a loop of its own: the compiler vectorises those alone.
struct NodeRow {
    float r[kNodes], g[kNodes], b[kNodes];  // the colour, 0..1
    float u[kNodes], v[kNodes];             // its chroma, -32768..32767
    int magnitude[kNodes];                  // of the chroma, 0..256
};

KESTROVA_KERNEL void makeColors(float y, float dr, const float* db, NodeRow& nodes) noexcept {
    const float red = (dr - kZero16) * 2.0f + y;
    for (int k = 0; k < kNodes; ++k) {
        const float blue = (db[k] - kZero16) * 2.0f + y;
        const float green = y - red * ydrdb::kRed - blue * ydrdb::kBlue;
        nodes.r[k] = sat16(red) * kPer65535;
        nodes.g[k] = sat16(static_cast<double>(green) * ydrdb::kGreenBack) * kPer65535;
        nodes.b[k] = sat16(blue) * kPer65535;
    }
}

KESTROVA_KERNEL void shiftColors(ColorShift temperature, ColorShift tint, NodeRow& nodes) noexcept {
    for (int k = 0; k < kNodes; ++k) {
        const float r = tint(0, temperature(0, nodes.r[k])) * 65535.0f;
        const float g = tint(1, temperature(1, nodes.g[k])) * 65535.0f;
        const float b = tint(2, temperature(2, nodes.b[k])) * 65535.0f;
        const float luminance = ydrdb::kGreen * g + ydrdb::kRed * r + ydrdb::kBlue * b;
        nodes.u[k] = static_cast<float>(sat16((r - luminance) * 0.5f + kZero16) - kZero16);
        nodes.v[k] = static_cast<float>(sat16((b - luminance) * 0.5f + kZero16) - kZero16);
    }
}

KESTROVA_KERNEL void measureChroma(NodeRow& nodes) noexcept {
    for (int k = 0; k < kNodes; ++k) {
        const float u = nodes.u[k], v = nodes.v[k];
        nodes.magnitude[k] = static_cast<int>(std::sqrt(2.0f * (u * u + v * v)) * 0x1p-8f);
    }
}

// Scales chroma from its magnitude to what the saturation row says.
void scaleChroma(const NodeRow& nodes, const uchar* saturation, ushort* dr, ushort* db) {
    for (int k = 0; k < kNodes; ++k) {
        const int m = nodes.magnitude[k];
        const int target = saturation[std::min(m, 255)];
        const float f = target == 0 ? 0.0f : std::min(static_cast<float>(target + 4) / static_cast<float>(m + 4), 4.0f);
        dr[k] = sat16(f * nodes.u[k] + kZero16);
        db[k] = sat16(f * nodes.v[k] + kZero16);
    }
}

using SaturationRow = uchar[256];

SaturationRow* newSaturationRows() {
    SaturationRow* rows = nullptr;
    orFailWithoutMemory("ERROR - TColorAdjVL::TColorAdjVL - not enough memory",
                        [&rows] { rows = new SaturationRow[kNodes](); });
    return rows;
}

// Chroma magnitude out for magnitude in: a line of slope `gain` whose foot is lifted (`threshold` above 0) or cut off
// (below 0).
void buildSaturationRow(uchar* row, float gain, float threshold) {
    ippiImageRamp_8u_C1R(row, 256, {256, 1}, 0.0f, gain, ippAxsHorizontal);
    threshold = std::trunc(threshold);
    if (gain > 1) threshold = std::trunc(threshold / gain);
    // A foot wider than the row takes all of it; NaN changes nothing.
    const int foot = threshold == threshold ? static_cast<int>(std::clamp(threshold, -256.0f, 255.0f)) : 0;
    if (foot > 0) std::memset(row, row[foot], foot);
    if (foot < 0) std::memset(row, 0, -foot);
    const float sigma = static_cast<float>(std::abs(foot)) * 0.3f;
    if (sigma > 1) smoothLUT8U(row, 256, sigma, 2);
}

// Pixels are worked on in pieces of 64, which leave room in the first-level cache for the nodes that they look up.
constexpr int kPiece = 64;

// Where pixels lie in the table: the node at or below, and how far each is from it towards the next node on each axis.
struct Positions {
    int node[kPiece];
    float fz[kPiece], fy[kPiece], fx[kPiece];
};

// The eight corners of a pixel's cell, the last axis fastest. A node is dr + 65536 db.
struct Cell {
    std::uint32_t node[8];
};

KESTROVA_KERNEL void locate(const ushort* y0, const ushort* y1, const ushort* dr, const ushort* db, int n, int shift,
                            Positions& out) noexcept {
    const int below = (1 << shift) - 1;
    const float inv = 1.0f / static_cast<float>(1 << shift);
    for (int x = 0; x < n; ++x) {
        float ratio = (y1[x] + 1024.0f) / (y0[x] + 1025.0f);
        ratio = ratio < 0.5f ? 0.5f : ratio;
        ratio = ratio > 1.2f ? 1.2f : ratio;
        const int y = y1[x];
        const int r = sat16(static_cast<float>(dr[x] - kZero16) * ratio + kZero16);
        const int b = sat16(static_cast<float>(db[x] - kZero16) * ratio + kZero16);
        out.node[x] = ((y >> shift) * kNodes + (r >> shift)) * kNodes + (b >> shift);
        out.fz[x] = static_cast<float>(y & below) * inv;
        out.fy[x] = static_cast<float>(r & below) * inv;
        out.fx[x] = static_cast<float>(b & below) * inv;
    }
}

inline std::uint32_t packed(ushort dr, ushort db) { return dr | static_cast<std::uint32_t>(db) << 16; }

KESTROVA_KERNEL bool arePacked(const ushort* dr, const ushort* db, const std::uint32_t* nodes, int n) noexcept {
    std::uint32_t difference = 0;
    for (int i = 0; i < n; ++i) difference |= packed(dr[i], db[i]) ^ nodes[i];
    return difference == 0;
}

KESTROVA_KERNEL void pack(const ushort* dr, const ushort* db, std::uint32_t* nodes, int n) noexcept {
    for (int i = 0; i < n; ++i) nodes[i] = packed(dr[i], db[i]);
}

// Four loads of two neighbours a pixel, from anywhere in the table. Copying them one by one is faster than the
// processor's gather.
void fetch(const std::uint32_t* nodes, const int* node, int n, Cell* out) {
    constexpr int kOffsets[4] = {0, kNodes, kNodes * kNodes, kNodes * kNodes + kNodes};
    for (int x = 0; x < n; ++x) {
        for (std::size_t edge = 0; edge < 4; ++edge)
            std::memcpy(&out[x].node[2 * edge], nodes + node[x] + kOffsets[edge], 2 * sizeof *nodes);
    }
}

KESTROVA_KERNEL void blend(const Cell* cells, const Positions& at, int n, ushort* dr, ushort* db) noexcept {
    const auto drOf = [](std::uint32_t node) { return static_cast<float>(static_cast<int>(node & 0xffff)); };
    const auto dbOf = [](std::uint32_t node) { return static_cast<float>(static_cast<int>(node >> 16)); };
    for (int x = 0; x < n; ++x) {
        const std::uint32_t* c = cells[x].node;
        const float fz = at.fz[x], fy = at.fy[x], fx = at.fx[x];
        dr[x] = sat16(mixed(drOf(c[0]), drOf(c[1]), drOf(c[2]), drOf(c[3]), drOf(c[4]), drOf(c[5]), drOf(c[6]),
                            drOf(c[7]), fz, fy, fx));
        db[x] = sat16(mixed(dbOf(c[0]), dbOf(c[1]), dbOf(c[2]), dbOf(c[3]), dbOf(c[4]), dbOf(c[5]), dbOf(c[6]),
                            dbOf(c[7]), fz, fy, fx));
    }
}

}  // namespace

TColorAdjVL::TColorAdjVL(float warmScale, float coolScale, float tintPosScale, float tintNegScale, float maxSatGain,
                         float vibScale)
    : m_temperature(0),
      m_tint(0),
      m_saturation(0),
      m_vibrance(0),
      m_bChanged(false),
      m_satLUT_p(newSaturationRows()),
      m_shift(11),
      m_gridStep(2047.96875f),
      m_vibSlope(4),
      m_warmScale(warmScale),
      m_coolScale(coolScale),
      m_tintPosScale(tintPosScale),
      m_tintNegScale(tintNegScale),
      m_maxSatGain(maxSatGain),
      m_vibScale(vibScale) {
    // Some 6 microseconds: waking a team costs as much.
    for (int i = 0; i < kNodes; ++i) {
        for (int j = 0; j < kNodes; ++j) {
            const int first = get3DLUTIdx(i, j, 0);
            for (int k = 0; k < kNodes; ++k) {
                m_lutDr[first + k] = static_cast<ushort>(static_cast<float>(j) * m_gridStep);
                m_lutDb[first + k] = static_cast<ushort>(static_cast<float>(k) * m_gridStep);
            }
        }
    }
}

TColorAdjVL::TColorAdjVL(const TColorAdjVL& other) : m_satLUT_p(newSaturationRows()) { *this = other; }

TColorAdjVL::~TColorAdjVL() { delete[] m_satLUT_p; }

TColorAdjVL& TColorAdjVL::operator=(const TColorAdjVL& other) {
    if (this == &other) return *this;
    m_temperature = other.m_temperature;
    m_tint = other.m_tint;
    m_saturation = other.m_saturation;
    m_vibrance = other.m_vibrance;
    m_bChanged = other.m_bChanged;
    std::memcpy(m_satLUT_p, other.m_satLUT_p, kNodes * sizeof *m_satLUT_p);
    m_shift = other.m_shift;
    m_gridStep = other.m_gridStep;
    m_vibSlope = other.m_vibSlope;
    m_warmScale = other.m_warmScale;
    m_coolScale = other.m_coolScale;
    m_tintPosScale = other.m_tintPosScale;
    m_tintNegScale = other.m_tintNegScale;
    m_maxSatGain = other.m_maxSatGain;
    m_vibScale = other.m_vibScale;
    std::memcpy(m_lutDr, other.m_lutDr, sizeof m_lutDr);
    std::memcpy(m_lutDb, other.m_lutDb, sizeof m_lutDb);
    return *this;
}

bool TColorAdjVL::proc(const cv::Mat& y0, const cv::Mat& y1, const cv::Mat& drIn, const cv::Mat& dbIn, cv::Mat& drOut,
                       cv::Mat& dbOut) {
    checkPlanes(y0, y1, drIn, dbIn);
    const bool allEmpty = y0.total() + y1.total() + drIn.total() + dbIn.total() == 0;
    for (const cv::Mat* plane : {&y0, &y1, &drIn, &dbIn}) {
        if (allEmpty) break;
        if (plane->type() != CV_16UC1) fail("ERROR - TColorAdjVL::proc - type() != CV_16UC1");
        if (plane->size() != y0.size()) fail("ERROR - TColorAdjVL::proc - size() != y0.size()");
        if (plane->empty()) fail("ERROR - TColorAdjVL::proc - a plane has no pixels");
    }
    static constexpr char kOnePlane[] = "ERROR - TColorAdjVL::proc - drOut and dbOut are one plane";
    if (&drOut == &dbOut) fail(kOnePlane);
    cv::Mat dr, db;
    static constexpr char kNoMemory[] = "ERROR - TColorAdjVL::proc - not enough memory";
    orFailWithoutMemory(kNoMemory, [&] {
        dr = outputLike(drOut, y0.size(), CV_16UC1);
        db = outputLike(dbOut, y0.size(), CV_16UC1);
        m_nodes.resize(std::size(m_lutDr));
    });
    if (dr.data && dr.data == db.data) fail(kOnePlane);
    orFailWithoutMemory(kNoMemory, [this] { computeLUT16U(); });
    drOut = dr;
    dbOut = db;

    packNodes();
    parallelRows(y0.rows, workOf(y0.cols, 4), [&](int row) noexcept {
        Positions at;
        Cell cells[kPiece];
        for (int x = 0; x < y0.cols; x += kPiece) {
            const int n = std::min(kPiece, y0.cols - x);
            locate(y0.ptr<ushort>(row) + x, y1.ptr<ushort>(row) + x, drIn.ptr<ushort>(row) + x,
                   dbIn.ptr<ushort>(row) + x, n, m_shift, at);
            fetch(m_nodes.data(), at.node, n, cells);
            blend(cells, at, n, dr.ptr<ushort>(row) + x, db.ptr<ushort>(row) + x);
        }
    });
    return true;
}

// A derived class may write the tables at any time: comparing takes no longer than asking whether it has.
void TColorAdjVL::packNodes() {
    constexpr int kCount = kNodes * kNodes * kNodes;
    if (!arePacked(m_lutDr, m_lutDb, m_nodes.data(), kCount)) pack(m_lutDr, m_lutDb, m_nodes.data(), kCount);
}

void TColorAdjVL::computeLUT16U() {
    const std::clock_t began = std::clock();
    if (m_bChanged) {
        const float gain = m_saturation >= 0 ? (m_maxSatGain - 1) * m_saturation + 1 : m_saturation + 1;
        const ColorShift tint = tintShift(m_tint > 0 ? m_tint * m_tintPosScale * 0.5f : m_tint * m_tintNegScale * 0.4f);
        const ColorShift temperature = temperatureShift(m_temperature > 0 ? m_temperature * m_warmScale * 0.5f
                                                                          : m_temperature * m_coolScale * 0.5f);

        float coordinates[kNodes];
        for (int n = 0; n < kNodes; ++n) coordinates[n] = std::trunc(static_cast<float>(n) * m_gridStep);
        for (int i = 0; i < kNodes; ++i)
            buildSaturationRow(m_satLUT_p[i], gain,
                               (static_cast<float>(i) * m_vibSlope + 64) * (m_vibScale * m_vibrance));

        parallelRows(kNodes, 16 * kNodes * kNodes, [&](int i) noexcept {
            NodeRow nodes;
            for (int j = 0; j < kNodes; ++j) {
                const int first = get3DLUTIdx(i, j, 0);
                makeColors(coordinates[i], coordinates[j], coordinates, nodes);
                shiftColors(temperature, tint, nodes);
                measureChroma(nodes);
                scaleChroma(nodes, m_satLUT_p[i], m_lutDr + first, m_lutDb + first);
            }
        });
        m_bChanged = false;
    }
    const float seconds = static_cast<float>(std::clock() - began) / static_cast<float>(CLOCKS_PER_SEC);
    if (Kestrova::printing()) std::cout << "time to compute LUT for color adj: " << seconds << std::endl;
}

int TColorAdjVL::get3DLUTIdx(int i, int j, int k) { return (i * kNodes + j) * kNodes + k; }

void TColorAdjVL::mix(float& out, float a, float b, float f) { out = mixed(a, b, f); }

void TColorAdjVL::mix(float& out, float a, float b, float c, float d, float fy, float fx) {
    out = mixed(a, b, c, d, fy, fx);
}

void TColorAdjVL::mix(float& out, float a, float b, float c, float d, float e, float f, float g, float h, float fz,
                      float fy, float fx) {
    out = mixed(a, b, c, d, e, f, g, h, fz, fy, fx);
}
