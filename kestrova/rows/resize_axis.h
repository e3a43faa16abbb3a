#pragma once

#include <cstdint>

// Where the columns (or rows) of a resized plane come from, and with which weights. Internal.

namespace kestrova::rows {

/// Between source pixel `pixel` and the next one, counted from centre to centre: 0 <= `fraction` < 1.
struct SourcePosition {
    int pixel;
    double fraction;
};

/// Destination pixel d of one axis reads the source at (d + 0.5 - shift) / factor - 0.5.
///
/// A factor of 1/3 or 1920/853 reaches us as the nearest double, and (d + 0.5 - shift) / factor then misses whole
/// pixels and half-way positions by rounding noise, on either side. Therefore the ratios of integers that factor and
/// shift stand for are recovered, and positions are computed from them in integers, without any error. Doubles that
/// stand for no such ratio go through the formula as they are.
class ResizeAxis {
public:
    /// Samples come from the pixels [begin, end).
    ResizeAxis(double factor, double shift, bool nearest, int begin, int end);

    /// Positions so far outside that only one edge pixel counts are moved to the nearest whole pixel there.
    SourcePosition at(int d) const;

    /// After `period` destination pixels the fractions repeat, `advance` pixels further in the source; 0 if they are
    /// not known to.
    std::int64_t period() const { return m_period; }
    std::int64_t advance() const { return m_advance; }

    /// Fractions are multiples of 2^-bits; -1 if they are not known to be.
    int fractionBits() const;

    /// The nearest pixel that samples may come from.
    int clamp(int pixel) const { return pixel < m_begin ? m_begin : pixel >= m_end ? m_end - 1 : pixel; }
    /// Whether samples may come from all `count` pixels from `first` on.
    bool inside(int first, int count) const { return first >= m_begin && first + count <= m_end; }

private:
    double m_factor, m_shift;
    bool m_nearest;
    int m_begin, m_end;
    std::int64_t m_slope = 0, m_offset = 0, m_unit = 0;  // position = (m_slope d + m_offset) / m_unit, if m_unit > 0
    std::int64_t m_period = 0, m_advance = 0;
};

/// The weights of the pixels -1, 0, 1, 2 around a position (Keys, a = -1/2).
void cubicWeights(double fraction, double weights[4]);
/// The weights of the pixels 0, 1.
void linearWeights(double fraction, double weights[2]);

}  // namespace kestrova::rows
