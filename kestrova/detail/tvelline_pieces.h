#pragma once

#include <opencv2/core.hpp>

#include <algorithm>
#include <cstddef>

#include "kestrova/rows/prefetch.h"

// Rows in short pieces. What a kernel writes into a piece is still in the nearest cache when the next kernel reads it,
// and the memory of the piece that follows is asked for meanwhile: the processor's own look-ahead ends with the page.
// Internal.

namespace kestrova::detail {

/// `n` pixels of row `r` from column `x` on.
struct Piece {
    static constexpr int kMost = 256;  ///< pixels of a piece
    int r, x, n;

    /// The piece of a plane that is read.
    template <class Pixel = ushort>
    const Pixel* of(const cv::Mat& plane) const noexcept {
        return plane.ptr<Pixel>(r) + x;
    }
    /// The piece of a plane that is written.
    ushort* in(cv::Mat& plane) const noexcept { return plane.ptr<ushort>(r) + x; }

    /// Asks for the memory of the piece, to be read.
    void ask(const cv::Mat& plane) const noexcept { rows::prefetch(plane.ptr(r, x), bytesOf(plane)); }
    /// Asks for the memory of the piece, to be written.
    void askToWrite(cv::Mat& plane) const noexcept { rows::prefetchToWrite(plane.ptr(r, x), bytesOf(plane)); }

private:
    std::size_t bytesOf(const cv::Mat& plane) const noexcept { return static_cast<std::size_t>(n) * plane.elemSize(); }
};

/// Calls `work(piece, next)` for the pieces of rows `first` to `end` - 1, with the piece that follows; after the last
/// one, any.
template <class Work>
void forEachPiece(int first, int end, int cols, const Work& work) noexcept {
    const int pieces = cols / Piece::kMost + (cols % Piece::kMost != 0);
    const auto piece = [=](int r, int i) {
        const int x = i * Piece::kMost;
        return Piece{r, x, std::min(Piece::kMost, cols - x)};
    };
    for (int r = first; r < end; ++r)
        for (int i = 0; i < pieces; ++i)
            work(piece(r, i), i + 1 < pieces ? piece(r, i + 1) : piece(std::min(r + 1, end - 1), 0));
}

}  // namespace kestrova::detail
