#pragma once

#include <opencv2/core.hpp>

#include <cstddef>
#include <vector>

// What the convolution pyramid filters rows with. Internal.

namespace kestrova::filters {

/// A sum of weighted lines in the order in which they are added. It begins at +0, which zeros of either sign leave as
/// it is: lines of zeros need not be read, but for a weight that is not finite.
class WeightedSum {
public:
    explicit WeightedSum(std::size_t capacity) {
        m_lines.reserve(capacity);
        m_weights.reserve(capacity);
    }
    void clear() noexcept {
        m_lines.clear();
        m_weights.clear();
        m_begin = 0;
    }
    /// Adds up to `capacity` lines.
    void add(float weight, const float* line) noexcept {
        m_weights.push_back(weight);
        m_lines.push_back(line);
    }
    /// Adds a line of zeros.
    void addZeros(float weight) noexcept { m_begin += weight * 0.0f; }
    /// Writes the sum over the first `n` elements of the lines.
    void into(float* out, int n) const noexcept;

private:
    std::vector<const float*> m_lines;
    std::vector<float> m_weights;
    float m_begin = 0;  ///< of the lines of zeros: NaN after one whose weight was not finite
};

/// Where the filtered plane has its pixels: on those of the source, on every second of them, or on those of the source
/// and on zeros in between, along both axes.
enum class Grid { kSame, kHalved, kDoubled };

/// The rows of a plane filtered with one kernel on both axes, made from top to bottom. Rows of the source are filtered
/// along x once, where a row of the result needs them, and kept as long as the height of the kernel spans them.
class FilteredRows {
public:
    /// `source` is of one channel, 8 or 16 bits or float.
    FilteredRows(const cv::Mat& source, const std::vector<float>& taps, Grid grid);
    // Sums point into lines, which only a move leaves in place.
    FilteredRows(const FilteredRows&) = delete;
    FilteredRows(FilteredRows&&) = default;

    /// Makes row `y`, below the one made before. On the doubled grid it has as many floats as two rows of the source:
    /// the even columns, then the odd ones.
    void make(int y, float* out) noexcept;

private:
    /// Source pixels with zeros on both sides, as far as the taps reach.
    class Line {
    public:
        Line(int pixels, std::size_t taps) : m_taps(taps), m_floats(static_cast<std::size_t>(pixels) + 2 * taps) {}
        float* pixels() noexcept { return m_floats.data() + m_taps; }

    private:
        std::size_t m_taps;
        std::vector<float> m_floats;
    };

    template <class T>
    void load(int row) noexcept;
    void filterAlong(int row, float* out) noexcept;
    const float* filteredLine(int row) noexcept;

    const cv::Mat m_source;
    const std::vector<float> m_taps;
    const Grid m_grid;
    const int m_width;
    const int m_anchor;             ///< the tap on the pixel itself
    Line m_even, m_odd;             ///< columns of a row of the source; all count as even unless the grid is halved
    WeightedSum m_along;            ///< over those lines, for the columns of the result
    WeightedSum m_alongOdd;         ///< the same for the odd columns of the doubled grid
    WeightedSum m_across;           ///< over the lines of `m_filtered`
    std::vector<float> m_filtered;  ///< as many rows, filtered along x, as there are taps
    float m_filteredZero = 0;       ///< a pixel among zeros filtered along x: NaN if a tap is not finite
    int m_next = 0;                 ///< the row of the source below the last that was filtered along x
};

/// out[x] += the elements of `even` and `odd` in turn, over `n` elements of `out`
void addInterleavedRow(const float* even, const float* odd, float* out, int n) noexcept;

}  // namespace kestrova::filters
