#pragma once

#include <opencv2/core.hpp>

#include <algorithm>
#include <cstddef>

#include "kestrova/mask/tdrawmask.h"

// What the replay of a stroke keeps from dot to dot. Internal.

namespace kestrova::mask {

/// The part that lies in the mask of the square around `p` that reaches from `before` pixels before it to `after`
/// pixels after it.
inline cv::Rect partInMask(cv::Size mask, const cv::Point& p, long long before, long long after) {
    const long long x0 = std::max(p.x - before, 0LL), x1 = std::min(p.x + after, mask.width - 1LL);
    const long long y0 = std::max(p.y - before, 0LL), y1 = std::min(p.y + after, mask.height - 1LL);
    if (x0 > x1 || y0 > y1) return {};
    return {static_cast<int>(x0), static_cast<int>(y0), static_cast<int>(x1 - x0 + 1), static_cast<int>(y1 - y0 + 1)};
}

/// The part of the mask in which a dot is shown. The last row and column of the dot are left out on purpose: a later
/// dot of the stroke shows them.
inline cv::Rect shownPart(cv::Size mask, const cv::Point& p, int radius) {
    return partInMask(mask, p, radius, radius - 1LL);
}

}  // namespace kestrova::mask

/// The weights of the soft dots that are being replayed: those of a stroke are mostly alike.
class TDrawMask::DotWeights {
public:
    /// Whether dots of that radius are so small that one thread covers them.
    static bool keeps(int radius) { return radius >= 0 && radius <= kLargestRadius; }

    /// The radius of the dots that the weights are of, -1 if there are none.
    int radius() const { return m_radius; }
    /// Drops the weights, for those of another profile.
    void clear() { m_radius = -1; }
    /// The weights of dots of radius `r` by a profile whose entries from `profileEnd` on are 0.
    void set(int r, const float* profile, int profileEnd);

    /// How many columns to each side of the centre have a weight in the rows `dy` above and below it, -1 if none.
    int reach(int dy) const { return m_reach[dy]; }
    /// The weight in the column of the centre, among those of its row.
    const float* middle(int dy) const {
        return m_rows.data() + static_cast<std::ptrdiff_t>(dy) * (2 * m_radius + 1) + m_radius;
    }

private:
    static constexpr int kLargestRadius = 80;
    // Weights up to this radius lie in the object: taking memory costs 80 ns, and all would fill a small stack.
    static constexpr int kLargestInPlace = 24;

    int m_radius = -1;
    cv::AutoBuffer<float, (kLargestInPlace + 1) * (2 * kLargestInPlace + 1)> m_rows;  ///< row after row, from dy = 0 on
    int m_reach[kLargestRadius + 1];
};

/// A dot that covers the stroke but is not yet shown in the mask.
struct TDrawMask::Shown {
    uchar value = 0;
    float opacity = 0;
    cv::Rect part;  ///< empty: all is shown
};
