// How one dot changes the coverage of its stroke, and how coverage becomes the mask.

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "kestrova/frame/failure.h"
#include "kestrova/frame/kernel.h"
#include "kestrova/frame/parallel.h"
#include "kestrova/frame/saturate.h"
#include "kestrova/frame/unit_scale.h"
#include "kestrova/mask/tdrawmask.h"

using namespace kestrova::frame;

namespace {

constexpr int kProfileSize = 8000;

inline float distance(float dx, float dy) { return std::sqrt(dx * dx + dy * dy); }

// The largest dx >= 0 with inside(dx) true, -1 if there is none; `inside` holds up to some dx and no further.
// `guess` is near it, wherever the distance is exact.
template <class Inside>
int lastInside(int guess, const Inside& inside) {
    int dx = std::max(guess, 0);
    while (inside(dx + 1)) ++dx;
    while (dx >= 0 && !inside(dx)) --dx;
    return dx;
}

int halfChord(double radius, int dy) {
    return static_cast<int>(std::sqrt(std::max(radius * radius - static_cast<double>(dy) * dy, 0.0)));
}

KESTROVA_KERNEL void profileIndices(int firstDx, float dy, int n, int* indices) noexcept {
    for (int i = 0; i < n; ++i) indices[i] = static_cast<int>(distance(static_cast<float>(firstDx + i), dy) + 0.5f);
}

// Not a kernel: a vector gather takes some 1.4 ns an entry on the target machine, a plain load 0.4.
void profileRow(const float* profile, float dy, int n, float* weights) noexcept {
    constexpr int kChunk = 256;
    int indices[kChunk];
    for (int dx = 0; dx < n; dx += kChunk) {
        const int count = std::min(kChunk, n - dx);
        profileIndices(dx, dy, count, indices);
        for (int i = 0; i < count; ++i) weights[dx + i] = profile[indices[i]];
    }
}

KESTROVA_KERNEL void smoothStepRow(float outer, float inner, float dy, int n, float* weights) noexcept {
    const float scale = 1.0f / (outer - inner);
    for (int dx = 0; dx < n; ++dx) {
        float t = distance(static_cast<float>(dx), dy);
        t = t > outer ? outer : t;
        t = t < inner ? inner : t;
        t = (t - inner) * scale;
        weights[dx] = 1.0f - (t * t) * (t * -2.0f + 3.0f);
    }
}

KESTROVA_KERNEL void discRow(float radius, float dy, int n, float* weights) noexcept {
    for (int dx = 0; dx < n; ++dx) weights[dx] = distance(static_cast<float>(dx), dy) <= radius ? 1.0f : 0.0f;
}

// The weights of a dot by row: `reach(dy)` is how many columns to each side have one, `half` writes those from the
// centre outwards.
struct ProfileWeights {
    const float* profile;
    int radius;

    int reach(int dy) const noexcept {
        return lastInside(halfChord(radius - 0.5, dy), [&](int dx) {
            return distance(static_cast<float>(dx), static_cast<float>(dy)) + 0.5f < static_cast<float>(radius);
        });
    }
    void half(int dy, int n, float* weights) const noexcept { profileRow(profile, static_cast<float>(dy), n, weights); }
};

struct SmoothStepWeights {
    int outer, inner;

    int reach(int) const noexcept { return outer; }
    void half(int dy, int n, float* weights) const noexcept {
        const float outerR = static_cast<float>(outer), innerR = static_cast<float>(inner), y = static_cast<float>(dy);
        if (outer > inner)
            smoothStepRow(outerR, innerR, y, n, weights);
        else
            discRow(outerR, y, n, weights);
    }
};

// Weights lie within a rounding of 0..1, and so do the sums within one of 0..255: `nearest` is all that `sat8` does.
KESTROVA_KERNEL void coverRow(const float* weights, uchar* stroke, int n) noexcept {
    for (int x = 0; x < n; ++x) {
        const auto kept = static_cast<double>(1.0f - weights[x]);
        stroke[x] = clamp8(nearest(kept * stroke[x] + static_cast<double>(weights[x]) * 255.0));
    }
}

// How far the colour of a pixel may be from the colour under the brush's centre.
// On the scale 0..1, rounded to float.
inline double unit(uchar v) { return static_cast<double>(static_cast<float>(v) * kPer255); }
inline double unit(ushort v) { return static_cast<double>(static_cast<float>(v) * kPer65535); }

struct ColourTolerance {
    double y, dr, db;
    float kY, kC;
};

KESTROVA_KERNEL void coverRowWithin(const ColourTolerance& centre, const float* weights, const uchar* y,
                                    const ushort* dr, const ushort* db, uchar* stroke, int n) noexcept {
    for (int x = 0; x < n; ++x) {
        const double dY = std::fabs(unit(y[x]) - centre.y);
        const double dDr = std::fabs(unit(dr[x]) - centre.dr);
        const double dDb = std::fabs(unit(db[x]) - centre.db);
        const float s = static_cast<float>(dY) * centre.kY + static_cast<float>(dDr + dDb) * centre.kC;
        float q = static_cast<float>(static_cast<double>(s) / (static_cast<double>(weights[x]) + 0.1));
        q = q < 1.0f ? q : 1.0f;
        const float a = weights[x] * (1.0f - (3.0f - 2.0f * q) * q * q);
        stroke[x] = static_cast<uchar>(clampInt(static_cast<int>((1.0f - a) * stroke[x] + a * 255.0f), 0, 255));
    }
}

KESTROVA_KERNEL void renderRow(const uchar* stroke, const uchar* start, float value, float scale, uchar* mask,
                               int n) noexcept {
    for (int x = 0; x < n; ++x) {
        const float w = static_cast<float>(stroke[x]) * scale;
        mask[x] = sat8((1.0f - w) * static_cast<float>(start[x]) + value * w);
    }
}

}  // namespace

void TDrawMask::drawStrokeDot(bool first, TMaskParam* param) {
    if (first || m_stroke.size() != m_mask.size() || m_maskAtStart.size() != m_mask.size()) beginStroke();
    const cv::Point centre(param->m_x, param->m_y);
    if (param->m_tolerance >= 0.05f || param->m_outerR != param->m_innerR) {
        updateLUT(param->m_outerR, param->m_innerR);
        drawMaskDotLUT(centre, param->m_outerR, param->m_innerR, param->m_tolerance);
    } else {
        drawDumbDot(centre, param->m_outerR);
    }
    renderStroke(param->m_value, param->m_opacity, centre, param->m_outerR);
}

void TDrawMask::updateLUT(int outerR, int innerR) {
    if (outerR >= kProfileSize) fail("ERROR - TDrawMask::updateLUT - outerR >= 8000");
    const bool fresh = !m_profile_p;
    if (fresh) {
        m_profile.reset(new float[kProfileSize](), std::default_delete<float[]>());
        m_profile_p = m_profile.get();
    }
    if (!fresh && outerR == m_outerR && innerR == m_innerR) return;
    m_outerR = outerR;
    m_innerR = innerR;
    if (outerR < innerR) fail("ERROR -- TDrawMask::updateLUT - Inner circle is larger than outter circle.");

    if (m_profile.use_count() > 1) {  // a copy of this mask has the table for radii of its own
        m_profile.reset(new float[kProfileSize], std::default_delete<float[]>());
        m_profile_p = m_profile.get();
    }
    const int inner = std::max(innerR, 0), outer = std::max(outerR, 0);
    std::fill(m_profile_p, m_profile_p + inner, 1.0f);
    const float e = std::exp(-2.0f);
    const float span = static_cast<float>(outerR - innerR);
    for (int i = inner; i < outer; ++i) {
        const float t = static_cast<float>(i - innerR) / span;
        m_profile_p[i] = (std::exp(-2.0f * t * t) - e) * (1.0f / (1.0f - e));
    }
    std::fill(m_profile_p + outer, m_profile_p + kProfileSize, 0.0f);
}

void TDrawMask::checkBoundary(cv::Point& p, int radius) {
    m_patchX0 = m_patchY0 = 0;
    const int y0 = p.y - radius;
    m_maskY = std::max(y0, 0);
    if (y0 < 0) m_patchY0 = -y0;
    // The two axes differ on purpose: a dot that ends on the column right of the mask keeps that column of its patch.
    m_patchY1 = p.y + radius > m_mask.rows - 1 ? 2 * radius + (m_mask.rows - (p.y + radius)) : 2 * radius + 1;
    const int x0 = p.x - radius;
    m_maskX = std::max(x0, 0);
    if (x0 < 0) m_patchX0 = -x0;
    m_patchX1 = p.x + radius > m_mask.cols ? 2 * radius + (m_mask.cols - (p.x + radius)) : 2 * radius + 1;
}

template <class Weights>
void TDrawMask::coverDot(const cv::Point& p, int radius, float tolerance, const Weights& weights) {
    cv::Point centre = p;
    checkBoundary(centre, radius);
    const int rows = std::min(p.y + radius, m_mask.rows - 1) - m_maskY + 1;
    if (radius < 0 || rows < 1 || p.x + radius < 0 || p.x - radius >= m_mask.cols) return;

    const bool tolerant = tolerance > 0;
    ColourTolerance colour{};
    if (tolerant) {
        if (m_inY.size() != m_mask.size() || m_inDr.size() != m_mask.size() || m_inDb.size() != m_mask.size())
            fail("ERROR - TDrawMask::drawStrokeDot - the picture's planes are not of the mask's size");
        if (m_inDr.type() != CV_16UC1 || m_inDb.type() != CV_16UC1)
            fail("ERROR - TDrawMask::drawStrokeDot - m_inDr.type() != CV_16UC1 || m_inDb.type() != CV_16UC1");
        // A centre beyond the picture's edge takes the colour of the nearest pixel.
        const int y = clampInt(p.y, 0, m_mask.rows - 1), x = clampInt(p.x, 0, m_mask.cols - 1);
        colour.y = unit(m_inY.ptr<uchar>(y)[x]);
        colour.dr = unit(m_inDr.ptr<ushort>(y)[x]);
        colour.db = unit(m_inDb.ptr<ushort>(y)[x]);
        colour.kY = tolerance * 0.5f * 3.0f;
        colour.kC = tolerance * 6.0f;
    }

    touch(p, radius);
    const std::size_t width = 2 * static_cast<std::size_t>(radius) + 1;
    const int firstRow = m_maskY, endRow = m_maskY + rows;
    const auto coverRowOf = [&](int y, int reach, const float* middle) noexcept {
        const int x0 = std::max(p.x - reach, 0);
        const int n = std::min(p.x + reach, m_mask.cols - 1) - x0 + 1;
        if (y < firstRow || y >= endRow || n < 1) return;
        const float* row = middle + (x0 - p.x);
        uchar* stroke = m_stroke.ptr<uchar>(y) + x0;
        if (tolerant)
            coverRowWithin(colour, row, m_inY.ptr<uchar>(y) + x0, m_inDr.ptr<ushort>(y) + x0,
                           m_inDb.ptr<ushort>(y) + x0, stroke, n);
        else
            coverRow(row, stroke, n);
    };
    // The rows at equal distance above and below the centre share their weights.
    const int nearest = std::max({firstRow - p.y, p.y - (endRow - 1), 0});
    const int distances = std::max(p.y - firstRow, endRow - 1 - p.y) - nearest + 1;
    const int cols = std::min(p.x + radius, m_mask.cols - 1) - m_maskX + 1;
    const int strips = stripCount(distances, 2 * cols);
    std::vector<float> scratch(static_cast<std::size_t>(strips) * width);
    parallelStrips(strips, distances, [&](int first, int end, int strip) noexcept {
        float* const middle = scratch.data() + static_cast<std::size_t>(strip) * width + radius;
        for (int dy = nearest + first; dy < nearest + end; ++dy) {
            const int reach = weights.reach(dy);
            if (reach < 0) continue;
            weights.half(dy, reach + 1, middle);
            for (int dx = 1; dx <= reach; ++dx) middle[-dx] = middle[dx];
            coverRowOf(p.y + dy, reach, middle);
            if (dy > 0) coverRowOf(p.y - dy, reach, middle);
        }
    });
}

void TDrawMask::drawMaskDotLUT(cv::Point p, int outerR, int, float tolerance) {
    coverDot(p, outerR, tolerance, ProfileWeights{m_profile_p, outerR});
}

void TDrawMask::drawMaskDot(cv::Point p, int outerR, int innerR, float tolerance) {
    coverDot(p, outerR, tolerance, SmoothStepWeights{outerR, innerR});
}

void TDrawMask::drawDumbDot(cv::Point p, int radius) {
    checkBoundary(p, radius);
    touch(p, radius);
    const int first = m_maskY;
    const int rows = std::min(p.y + radius, m_mask.rows - 1) - first + 1;
    const float limit = static_cast<float>(radius);
    for (int y = first; y < first + rows; ++y) {
        const int dy = y - p.y;
        const int reach = lastInside(halfChord(radius, dy), [&](int dx) {
            return distance(static_cast<float>(dx), static_cast<float>(dy)) <= limit;
        });
        const int x0 = std::max(p.x - reach, 0), x1 = std::min(p.x + reach, m_mask.cols - 1);
        if (reach >= 0 && x0 <= x1) std::fill_n(m_stroke.ptr<uchar>(y) + x0, x1 - x0 + 1, uchar{255});
    }
}

bool TDrawMask::renderStroke(uchar value, float opacity, cv::Point p, int radius) {
    touch(p, radius);
    const float scale = opacity * kPer255;
    // The last row and column of the dot are left out on purpose: a later dot of the stroke shows them.
    const int y0 = std::max(p.y - radius, 0), y1 = std::min(p.y + radius, m_mask.rows);
    const int x0 = std::max(p.x - radius, 0), x1 = std::min(p.x + radius, m_mask.cols);
    if (y0 >= y1 || x0 >= x1) return true;
    parallelRows(y1 - y0, x1 - x0, [&](int r) noexcept {
        const int y = y0 + r;
        renderRow(m_stroke.ptr<uchar>(y) + x0, m_maskAtStart.ptr<uchar>(y) + x0, value, scale,
                  m_mask.ptr<uchar>(y) + x0, x1 - x0);
    });
    return true;
}
