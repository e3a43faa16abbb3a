#pragma once

#include <cstdint>

// The dense work on one front. Internal.

namespace kestrova::solver {

/// A front is the lower triangle of a symmetric matrix, stored column by column without what lies above the diagonal:
/// its first columns, the pivots, in the factor, the rest in the front's update.
struct FrontMatrix {
    float* pivotColumns;
    float* update;
    std::int64_t order, pivots;

    /// Element (i, j), i >= j, is column(j)[i].
    float* column(std::int64_t j) const {
        if (j < pivots) return pivotColumns + j * order - j * (j + 1) / 2;
        const std::int64_t below = order - pivots, k = j - pivots;
        return update + k * below - k * (k + 1) / 2 - pivots;
    }
};

/// Pivots that are eliminated from the rest of the front at a time, and those of them within which columns are
/// eliminated one by one.
constexpr int kBlock = 64;
constexpr int kPanel = 16;
/// Rows that a kernel holds in registers.
constexpr std::int64_t kChunk = 16;

/// Floats that the rows of a block of pivots take, packed by chunks, in a front of the given order.
inline std::int64_t packedSize(std::int64_t order) { return (order + kChunk - 1) / kChunk * kChunk * kBlock; }

/// Chunks from the row `base` to the last.
inline std::int64_t chunksFrom(std::int64_t base, std::int64_t order) { return (order - base + kChunk - 1) / kChunk; }
/// Chunks, counted from the row `begin`, that hold the rows of the pivots [begin, end).
inline std::int64_t pivotChunks(int begin, int end) { return chunksFrom(begin, end); }

/// Cholesky factorisation of the columns of the pivots [begin, end), no more than `kBlock`, in the chunks of their own
/// rows; leaves them in `packed` too. False where a pivot is not positive or not finite.
bool factorPivots(const FrontMatrix& front, int begin, int end, float* packed);

/// The same columns in the chunks [firstChunk, lastChunk) of the rows below.
void solveRows(const FrontMatrix& front, int begin, int end, float* packed, std::int64_t firstChunk,
               std::int64_t lastChunk);

/// Subtracts from the columns [first, last) the product of their rows of that block with all rows below.
void eliminateBlock(const FrontMatrix& front, int begin, int end, const float* packed, std::int64_t first,
                    std::int64_t last);

/// Adds a child's update, the lower triangle of the given order, to the front's columns [first, last): row i of the
/// child is row places[i] of the front.
void addUpdate(const FrontMatrix& front, const float* update, const int* places, std::int64_t order, std::int64_t first,
               std::int64_t last);

/// Forward substitution through the pivots' columns of a front on the front's rows of a right-hand side.
void substituteForward(const float* pivotColumns, std::int64_t order, std::int64_t pivots, float* v);
/// Backward substitution: the pivots' rows from those below.
void substituteBackward(const float* pivotColumns, std::int64_t order, std::int64_t pivots, float* v);

}  // namespace kestrova::solver
