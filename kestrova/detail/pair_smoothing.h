#pragma once

#include <opencv2/core.hpp>

#include <array>
#include <cstddef>
#include <cstdint>
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

// The recursion runs over 32 rows, or columns, side by side, as many lanes of a *line*: line x of 32 rows holds their
// pixels at column x, first those of one channel, then those of the other.

/// The sums of differences of each lane of lines, which have 17 bits.
struct SumsOfLines {
    rows::Scratch<ushort> lows;          ///< the lower 16 bits
    rows::Scratch<std::uint32_t> highs;  ///< the highest bits of a line's lanes, nearly always 0

    explicit SumsOfLines(std::size_t lines);
};

/// What a thread works with.
class PairScratch {
public:
    explicit PairScratch(cv::Size block);

private:
    friend class PairSmoothing;
    rows::Scratch<float> m_lines;    ///< of a band
    rows::Scratch<float> m_weights;  ///< of the lanes of a band's lines, or of those of a column of tiles
    rows::Scratch<ushort> m_pixels;  ///< of the rows of a band and the one below, of each plane
};

/// A block on its way through the three rounds of two passes. Between two passes the image lies in columns of tiles,
/// 32 pixels wide, each from top to bottom: for the pass along columns those are lines; the pass along rows transposes
/// the tiles of a band of 32 rows into lines of its own and back. So the image moves through memory once a pass, there
/// and back through the cache. A pass is a step, its pieces are the bands or the columns of tiles.
class PairSmoothing {
public:
    static constexpr int kSteps = 6;

    explicit PairSmoothing(cv::Size block);

    cv::Size blockSize() const { return m_size; }
    std::array<int, kSteps> pieces() const;

    /// Does a piece of a step. The block's planes are read in the first step alone and written in the last.
    void run(int step, int piece, const PlacedBlock& block, const WeightTables& tables, PairScratch& scratch) noexcept;

private:
    void measure(int band, const PlacedBlock& block, PairScratch& scratch) noexcept;
    void passAlongRows(int band, bool measured, const float* table, PairScratch& scratch) noexcept;
    void passAlongColumns(int column, const PlacedBlock* out, const float* table, PairScratch& scratch) noexcept;

    float* tile(int column, int band) const;

    cv::Size m_size;
    int m_bands, m_columns;  ///< of tiles
    std::ptrdiff_t m_lines;  ///< from one column of tiles to the next, in lines
    rows::Scratch<float> m_image;
    SumsOfLines m_sumX;  ///< along x, of the lines of each band
    SumsOfLines m_sumY;  ///< along y, of the lines of each column of tiles
};

}  // namespace kestrova::detail::domain_transform
