#pragma once

#include <opencv2/core.hpp>

#include <array>
#include <cstddef>
#include <vector>

#include "kestrova/detail/block_processor.h"
#include "kestrova/frame/steps.h"
#include "kestrova/rows/scratch.h"

// The recursive filter on two planes of 16 bits as the channels of one image, block by block. Internal.

namespace kestrova::detail::domain_transform {

/// The weight of each sum of differences, by round.
using WeightTables = std::array<std::vector<float>, 3>;

/// Sums of absolute differences of two values of 16 bits.
constexpr int kSums = 2 * 65535 + 1;

/// The recursion runs over 16 rows, or columns, side by side, as many lanes of a *line*: line x of 16 rows holds their
/// pixels at column x, first those of one channel, then those of the other. What a thread works with along rows.
class PairScratch {
public:
    explicit PairScratch(cv::Size block);

private:
    friend class PairSmoothing;
    rows::Scratch<float> m_lines;    ///< of 16 rows
    rows::Scratch<float> m_weights;  ///< of a line's 16 lanes
    rows::Scratch<ushort> m_pixels;  ///< 17 rows of each plane, and more columns than the block has
};

/// A block on its way through the three rounds of two passes. Between two passes the image lies in columns of tiles,
/// 16 pixels wide, each from top to bottom: for the pass along columns those are lines; the pass along rows transposes
/// tiles of 16 x 16 into lines of its own and back. So the image moves through memory once a pass, there and back
/// through the cache. A pass is a step, its pieces are 16 rows or some columns of tiles.
class PairSmoothing {
public:
    static constexpr int kSteps = 6;

    explicit PairSmoothing(cv::Size block);

    cv::Size blockSize() const { return m_size; }
    std::array<int, kSteps> pieces() const;

    /// Does a piece of a step. The block's planes are read in the first step alone and written in the last.
    void run(int step, int piece, const PlacedBlock& block, const WeightTables& tables,
             PairScratch& scratch) const noexcept;

private:
    void measure(int band, const PlacedBlock& block, PairScratch& scratch) const noexcept;
    void passAlongRows(int band, bool bMeasured, const float* table, PairScratch& scratch) const noexcept;
    void passAlongColumns(int column, const PlacedBlock* out, const float* table, PairScratch& scratch) const noexcept;

    float* tile(int column, int band) const;

    cv::Size m_size;
    int m_bands, m_columns;  ///< of tiles
    std::ptrdiff_t m_lines;  ///< from one column of tiles to the next, in lines
    rows::Scratch<float> m_image;
    rows::Scratch<int> m_sumX;  ///< sums of the differences along x: the lanes of each line of a band
    rows::Scratch<int> m_sumY;  ///< along y: the lanes of each line of a column of tiles
};

}  // namespace kestrova::detail::domain_transform
