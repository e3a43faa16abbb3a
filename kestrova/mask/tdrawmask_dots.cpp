// How one dot changes the coverage of its stroke, and how coverage becomes the mask.

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstddef>
#include <cstdlib>
#include <memory>
#include <vector>

#include "kestrova/frame/failure.h"
#include "kestrova/frame/kernel.h"
#include "kestrova/frame/parallel.h"
#include "kestrova/frame/saturate.h"
#include "kestrova/frame/unit_scale.h"
#include "kestrova/mask/tdrawmask.h"
#include "kestrova/mask/tdrawmask_replay.h"

using namespace kestrova::frame;
using namespace kestrova::mask;

namespace {

constexpr int kProfileSize = 8000;

inline float distance(float dx, float dy) { return std::sqrt(dx * dx + dy * dy); }

// The largest dx >= 0 with inside(dx) true, -1 if there is none; `inside` holds up to some dx and no further.
// `guess` is near it, wherever the distance is exact.
template <class Inside>
int lastInside(int guess, const Inside& inside) {
    int dx = std::max(guess, 0);
    while (dx < INT_MAX && inside(dx + 1)) ++dx;
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
void profileRow(const float* profile, int firstDx, float dy, int n, float* weights) noexcept {
    constexpr int kChunk = 256;
    int indices[kChunk];
    for (int done = 0; done < n; done += kChunk) {
        const int count = std::min(kChunk, n - done);
        profileIndices(firstDx + done, dy, count, indices);
        for (int i = 0; i < count; ++i) weights[done + i] = profile[indices[i]];
    }
}

KESTROVA_KERNEL void smoothStepRow(float outer, float inner, int firstDx, float dy, int n, float* weights) noexcept {
    const float scale = 1.0f / (outer - inner);
    for (int i = 0; i < n; ++i) {
        float t = distance(static_cast<float>(firstDx + i), dy);
        t = t > outer ? outer : t;
        t = t < inner ? inner : t;
        t = (t - inner) * scale;
        weights[i] = 1.0f - (t * t) * (t * -2.0f + 3.0f);
    }
}

KESTROVA_KERNEL void discRow(float radius, int firstDx, float dy, int n, float* weights) noexcept {
    for (int i = 0; i < n; ++i) weights[i] = distance(static_cast<float>(firstDx + i), dy) <= radius ? 1.0f : 0.0f;
}

// The weights of a dot in the rows `dy` above and below its centre: `reach` is how many columns to each side of the
// centre have one, of which those in the dot's square count; `outwards` writes those of `n` columns from `firstDx` on.

// Of a profile whose entries from `end` on are 0. That is the radius, but for a dot whose own profile was refused.
struct ProfileWeights {
    const float* profile;
    int end;

    int reach(int dy) const noexcept {
        return lastInside(halfChord(end - 0.5, dy), [&](int dx) {
            return distance(static_cast<float>(dx), static_cast<float>(dy)) + 0.5f < static_cast<float>(end);
        });
    }
    void outwards(int firstDx, int dy, int n, float* weights) const noexcept {
        profileRow(profile, firstDx, static_cast<float>(dy), n, weights);
    }
};

// Of a smooth step from `inner` to `outer`, or of a disc if these are equal.
struct SmoothStepWeights {
    int outer, inner;

    int reach(int) const noexcept { return outer; }
    void outwards(int firstDx, int dy, int n, float* weights) const noexcept {
        const float outerR = static_cast<float>(outer), innerR = static_cast<float>(inner), y = static_cast<float>(dy);
        if (outer > inner)
            smoothStepRow(outerR, innerR, firstDx, y, n, weights);
        else
            discRow(outerR, firstDx, y, n, weights);
    }
};

// Weights lie within a rounding of 0..1, and so do the sums within one of 0..255: `nearest` is all that `sat8` does.
KESTROVA_KERNEL void coverRow(const float* weights, uchar* stroke, int n) noexcept {
    for (int x = 0; x < n; ++x) {
        const auto kept = static_cast<double>(1.0f - weights[x]);
        stroke[x] = clamp8(nearest(kept * stroke[x] + static_cast<double>(weights[x]) * 255.0));
    }
}

// On the scale 0..1, rounded to float.
inline double unit(uchar v) { return static_cast<double>(static_cast<float>(v) * kPer255); }
inline double unit(ushort v) { return static_cast<double>(static_cast<float>(v) * kPer65535); }

// The colour under the brush's centre, and what a difference from it counts in luminance and in chroma.
struct Colour {
    double y, dr, db;
    float kY, kC;
};

// A centre beyond the picture's edge takes the colour of the nearest pixel.
Colour colourAt(const cv::Point& p, const cv::Mat& inY, const cv::Mat& dr, const cv::Mat& db, cv::Size mask,
                float tolerance) {
    for (const cv::Mat* plane : {&inY, &dr, &db})
        if (!plane->data || plane->size() != mask)
            fail("ERROR - TDrawMask::drawStrokeDot - the picture's planes are not of the mask's size");
    if (dr.type() != CV_16UC1 || db.type() != CV_16UC1)
        fail("ERROR - TDrawMask::drawStrokeDot - m_inDr.type() != CV_16UC1 || m_inDb.type() != CV_16UC1");
    const int y = clampInt(p.y, 0, mask.height - 1), x = clampInt(p.x, 0, mask.width - 1);
    return {unit(inY.ptr<uchar>(y)[x]), unit(dr.ptr<ushort>(y)[x]), unit(db.ptr<ushort>(y)[x]), tolerance * 0.5f * 3.0f,
            tolerance * 6.0f};
}

KESTROVA_KERNEL void coverRowWithin(const Colour& centre, const float* weights, const uchar* y, const ushort* dr,
                                    const ushort* db, uchar* stroke, int n) noexcept {
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

// Covers pixels by their weights.
struct Cover {
    cv::Mat& stroke;
    const cv::Mat &y, &dr, &db;
    bool tolerant;
    Colour colour;

    void operator()(int row, int x, const float* weights, int n) const noexcept {
        uchar* covered = stroke.ptr<uchar>(row) + x;
        if (tolerant)
            coverRowWithin(colour, weights, y.ptr<uchar>(row) + x, dr.ptr<ushort>(row) + x, db.ptr<ushort>(row) + x,
                           covered, n);
        else
            coverRow(weights, covered, n);
    }
};

// The rows of `part` from the one nearest to the centre outwards, with the weights worked out once for those at equal
// distance above and below. Weights run outwards, to both sides alike, from the column of the part that is nearest to
// the centre.
template <class Weights>
void coverOutwards(const cv::Point& p, const cv::Rect& part, const Cover& cover, const Weights& weights) {
    const int left = part.x, right = part.br().x - 1;
    const int nearestX = clampInt(p.x, left, right), firstDx = std::abs(p.x - nearestX);
    const int side = std::max(nearestX - left, right - nearestX);
    const int top = part.y, bottom = part.br().y - 1;
    const int nearestY = clampInt(p.y, top, bottom), firstDy = std::abs(p.y - nearestY);
    const Strips distances(std::max(nearestY - top, bottom - nearestY) + 1, workOf(part.width, cover.tolerant ? 4 : 2));
    const auto rowOfWeights = [side](int) { return std::vector<float>(2 * static_cast<std::size_t>(side) + 1); };
    forEachStrip(distances, rowOfWeights, [&](int first, int end, std::vector<float>& row) noexcept {
        float* const middle = row.data() + side;
        for (int i = first; i < end; ++i) {
            const int n = std::min(weights.reach(firstDy + i) - firstDx, side) + 1;
            if (n < 1) continue;
            const int toLeft = std::min(n - 1, nearestX - left), toRight = std::min(n - 1, right - nearestX);
            weights.outwards(firstDx, firstDy + i, n, middle);
            for (int dx = 1; dx <= toLeft; ++dx) middle[-dx] = middle[dx];
            const auto coverAt = [&](int y) noexcept {
                cover(y, nearestX - toLeft, middle - toLeft, toLeft + 1 + toRight);
            };
            if (i <= bottom - nearestY) coverAt(nearestY + i);
            if (i > 0 && i <= nearestY - top) coverAt(nearestY - i);
        }
    });
}

}  // namespace

void TDrawMask::DotWeights::set(int r, const float* profile, int profileEnd) {
    const ProfileWeights ofProfile{profile, profileEnd};
    const auto radius = static_cast<std::size_t>(r);
    m_rows.allocate((radius + 1) * (2 * radius + 1));
    m_radius = r;
    for (int dy = 0; dy <= r; ++dy) {
        const int reach = std::min(ofProfile.reach(dy), r);
        m_reach[dy] = reach;
        if (reach < 0) continue;
        float* const middle = m_rows.data() + static_cast<std::ptrdiff_t>(dy) * (2 * r + 1) + r;
        ofProfile.outwards(0, dy, reach + 1, middle);
        for (int dx = 1; dx <= reach; ++dx) middle[-dx] = middle[dx];
    }
}

void TDrawMask::drawStrokeDot(bool first, TMaskParam* param) {
    DotWeights none;
    coverStrokeDot(first, *param, none);
    renderStroke(param->m_value, param->m_opacity, {param->m_x, param->m_y}, param->m_outerR);
}

void TDrawMask::coverStrokeDot(bool first, const TMaskParam& param, DotWeights& kept) {
    if (first || !fitsMask(m_stroke) || !fitsMask(m_maskAtStart)) beginStroke();
    const cv::Point centre(param.m_x, param.m_y);
    const int radius = param.m_outerR;
    const bool soft = param.m_tolerance >= 0.05f || radius != param.m_innerR;
    if (!soft) return drawDumbDot(centre, radius);
    if (radius != m_outerR || param.m_innerR != m_innerR) kept.clear();
    updateLUT(radius, param.m_innerR);
    if (!DotWeights::keeps(radius)) return drawMaskDotLUT(centre, radius, param.m_innerR, param.m_tolerance);
    if (kept.radius() != radius) kept.set(radius, m_profile_p, m_profileEnd);
    coverDot(centre, radius, param.m_tolerance, [&](const cv::Rect& part, const Cover& cover) {
        for (int y = part.y; y < part.br().y; ++y) {
            const int dy = std::abs(y - centre.y), reach = kept.reach(dy);
            const int x0 = std::max(centre.x - reach, part.x), x1 = std::min(centre.x + reach, part.br().x - 1);
            if (x0 <= x1) cover(y, x0, kept.middle(dy) + (x0 - centre.x), x1 - x0 + 1);
        }
    });
}

void TDrawMask::updateLUT(int outerR, int innerR) {
    if (outerR >= kProfileSize) fail("ERROR - TDrawMask::updateLUT - outerR >= 8000");
    const bool sameRadii = outerR == m_outerR && innerR == m_innerR;
    // A copy of this mask keeps the table for radii of its own.
    if (!m_profile_p || (!sameRadii && outerR >= innerR && m_profile.use_count() > 1)) {
        m_profile.reset(new float[kProfileSize](), std::default_delete<float[]>());
        m_profile_p = m_profile.get();
    }
    if (sameRadii) return;
    m_outerR = outerR;
    m_innerR = innerR;
    if (outerR < innerR) fail("ERROR -- TDrawMask::updateLUT - Inner circle is larger than outter circle.");

    const int inner = std::max(innerR, 0), outer = std::max(outerR, 0);
    std::fill(m_profile_p, m_profile_p + inner, 1.0f);
    const float e = std::exp(-2.0f);
    const auto fromInner = [innerR](int i) { return static_cast<float>(static_cast<long long>(i) - innerR); };
    for (int i = inner; i < outer; ++i) {
        const float t = fromInner(i) / fromInner(outerR);
        m_profile_p[i] = (std::exp(-2.0f * t * t) - e) * (1.0f / (1.0f - e));
    }
    std::fill(m_profile_p + outer, m_profile_p + kProfileSize, 0.0f);
    m_profileEnd = outer;
}

void TDrawMask::checkBoundary(cv::Point& p, int radius) {
    const long long r = radius, left = p.x - r, right = p.x + r, top = p.y - r, bottom = p.y + r;
    const auto toInt = [](long long v) { return static_cast<int>(std::clamp<long long>(v, INT_MIN, INT_MAX)); };
    m_patchX0 = toInt(std::max(-left, 0LL));
    m_patchY0 = toInt(std::max(-top, 0LL));
    m_maskX = toInt(std::max(left, 0LL));
    m_maskY = toInt(std::max(top, 0LL));
    // The two axes differ on purpose: a dot that ends on the column right of the mask keeps that column of its patch.
    m_patchX1 = toInt(2 * r + (right > m_mask.cols ? m_mask.cols - right : 1));
    m_patchY1 = toInt(2 * r + (bottom > m_mask.rows - 1 ? m_mask.rows - bottom : 1));
}

template <class CoverRows>
void TDrawMask::coverDot(const cv::Point& p, int radius, float tolerance, const CoverRows& coverRows) {
    cv::Point centre = p;
    checkBoundary(centre, radius);
    const cv::Rect part = partInMask(m_mask.size(), p, radius, radius);
    if (part.empty()) return;
    const bool tolerant = tolerance > 0;
    const Colour colour = tolerant ? colourAt(p, m_inY, m_inDr, m_inDb, m_mask.size(), tolerance) : Colour{};
    touch(part);
    coverRows(part, Cover{m_stroke, m_inY, m_inDr, m_inDb, tolerant, colour});
}

void TDrawMask::drawMaskDotLUT(cv::Point p, int outerR, int, float tolerance) {
    coverDot(p, outerR, tolerance, [&](const cv::Rect& part, const Cover& cover) {
        coverOutwards(p, part, cover, ProfileWeights{m_profile_p, m_profileEnd});
    });
}

void TDrawMask::drawMaskDot(cv::Point p, int outerR, int innerR, float tolerance) {
    coverDot(p, outerR, tolerance, [&](const cv::Rect& part, const Cover& cover) {
        coverOutwards(p, part, cover, SmoothStepWeights{outerR, innerR});
    });
}

void TDrawMask::drawDumbDot(cv::Point p, int radius) {
    checkBoundary(p, radius);
    const cv::Rect part = partInMask(m_mask.size(), p, radius, radius);
    if (part.empty()) return;
    touch(part);
    const float limit = static_cast<float>(radius);
    for (int y = part.y; y < part.br().y; ++y) {
        const int dy = y - p.y;
        const int reach = lastInside(halfChord(radius, dy), [&](int dx) {
            return distance(static_cast<float>(dx), static_cast<float>(dy)) <= limit;
        });
        const int x0 = static_cast<int>(std::max<long long>(static_cast<long long>(p.x) - reach, part.x));
        const int x1 = static_cast<int>(std::min<long long>(static_cast<long long>(p.x) + reach, part.br().x - 1));
        if (x0 <= x1) std::fill_n(m_stroke.ptr<uchar>(y) + x0, x1 - x0 + 1, uchar{255});
    }
}

bool TDrawMask::renderStroke(uchar value, float opacity, cv::Point p, int radius) {
    renderPart(value, opacity, shownPart(m_mask.size(), p, radius));
    return true;
}

void TDrawMask::renderPart(uchar value, float opacity, const cv::Rect& part) {
    if (part.empty()) return;
    if (!fitsMask(m_maskAtStart)) fail("ERROR - TDrawMask::drawStrokeDot - no stroke has begun");
    touch(part);
    const float scale = opacity * kPer255;
    parallelRows(part.height, part.width, [&](int r) noexcept {
        const int y = part.y + r, x = part.x;
        renderRow(m_stroke.ptr<uchar>(y) + x, m_maskAtStart.ptr<uchar>(y) + x, value, scale, m_mask.ptr<uchar>(y) + x,
                  part.width);
    });
}
