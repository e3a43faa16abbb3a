#include "kestrova/rows/resize_axis.h"

#include <cmath>
#include <numeric>

namespace kestrova::rows {

namespace {

struct Ratio {
    std::int64_t over, under;
};

// The ratio that `value` is the rounding of, found as a convergent of its continued fraction; under = 0 if there is
// none. Ratios with denominators below 2^20 lie 2^-40 apart: within a few units of the last place there is at most one.
Ratio ratioOf(double value) {
    constexpr double kLargestOver = 0x1p31, kLargestUnder = 0x1p20, kNoise = 0x1p-50;
    double over = 1, under = 0, overBefore = 0, underBefore = 1;
    for (double rest = value;; rest = 1 / (rest - std::floor(rest))) {
        const double term = std::floor(rest);
        const double overNext = term * over + overBefore, underNext = term * under + underBefore;
        if (!(std::abs(overNext) <= kLargestOver && underNext <= kLargestUnder)) return {0, 0};
        overBefore = over, over = overNext;
        underBefore = under, under = underNext;
        if (std::abs(value - over / under) <= kNoise * std::abs(value))
            return {static_cast<std::int64_t>(over), static_cast<std::int64_t>(under)};
    }
}

std::int64_t floorDivide(std::int64_t a, std::int64_t b) { return a / b - (a % b < 0); }

}  // namespace

ResizeAxis::ResizeAxis(double factor, double shift, bool nearest, int begin, int end)
    : m_factor(factor), m_shift(shift), m_nearest(nearest), m_begin(begin), m_end(end) {
    const Ratio f = ratioOf(factor), s = ratioOf(shift);
    if (f.under == 0 || f.over == 0 || s.under == 0) return;
    // (d + 1/2 - shift) / factor - 1/2, all over one denominator
    const std::int64_t slope = 2 * s.under * f.under;
    const std::int64_t offset = (s.under - 2 * s.over) * f.under - s.under * f.over;
    const std::int64_t unit = 2 * s.under * f.over;
    const std::int64_t common = std::gcd(std::gcd(slope, offset), unit);
    const bool fitsForEveryInt = slope / common < std::int64_t{1} << 30;
    if (!fitsForEveryInt) return;
    m_slope = slope / common;
    m_offset = offset / common;
    m_unit = unit / common;
    const std::int64_t repeats = std::gcd(m_slope, m_unit);
    m_period = m_unit / repeats;
    m_advance = m_slope / repeats;
}

SourcePosition ResizeAxis::at(int d) const {
    double pixel, fraction = 0;
    if (m_unit > 0) {
        const std::int64_t position = m_slope * d + m_offset;
        if (m_nearest) {
            pixel = static_cast<double>(floorDivide(2 * position + m_unit, 2 * m_unit));
        } else {
            const std::int64_t whole = floorDivide(position, m_unit);
            pixel = static_cast<double>(whole);
            fraction = static_cast<double>(position - whole * m_unit) / static_cast<double>(m_unit);
        }
    } else {
        const double position = (d + 0.5 - m_shift) / m_factor;
        pixel = std::floor(m_nearest ? position : position - 0.5);
        if (!m_nearest) fraction = position - 0.5 - pixel;
    }
    if (pixel < m_begin - 1) return {m_begin - 1, 0};
    if (pixel >= m_end) return {m_end, 0};
    return {static_cast<int>(pixel), fraction};
}

int ResizeAxis::fractionBits() const {
    int bits = 0;
    while (std::int64_t{1} << bits < m_unit) ++bits;
    return std::int64_t{1} << bits == m_unit ? bits : -1;
}

void linearWeights(double fraction, double weights[2]) {
    weights[0] = 1 - fraction;
    weights[1] = fraction;
}

void cubicWeights(double fraction, double weights[4]) {
    const double t = fraction;
    weights[0] = ((-0.5 * t + 1) * t - 0.5) * t;
    weights[1] = (1.5 * t - 2.5) * t * t + 1;
    weights[2] = ((-1.5 * t + 2) * t + 0.5) * t;
    weights[3] = (0.5 * t - 0.5) * t * t;
}

}  // namespace kestrova::rows
