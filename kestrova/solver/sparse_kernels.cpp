#include "kestrova/solver/sparse_kernels.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

#include "kestrova/frame/kernel.h"

namespace kestrova::solver {

// Sums run over the pivots in ascending order, whatever the shape of a tile and the instruction set: the same bits
// everywhere.

#if defined(__GNUC__)
#define KESTROVA_INLINE inline __attribute__((always_inline))
#else
#define KESTROVA_INLINE inline
#endif

// Lanes are handed to functions that are always inlined: how a call would pass them does not matter.
#pragma GCC diagnostic ignored "-Wpsabi"

namespace {

/// Eight floats side by side.
typedef float Lane __attribute__((vector_size(32)));
constexpr std::int64_t kLane = 8;
static_assert(kChunk == 2 * kLane && kPanel == kChunk);

constexpr int kTileColumns = 4;  ///< with 16 rows eight lanes of sums

/// Lanes stand at any address.
KESTROVA_INLINE Lane lane(const float* p) {
    Lane value;
    std::memcpy(&value, p, sizeof value);
    return value;
}
KESTROVA_INLINE void setLane(float* p, Lane value) { std::memcpy(p, &value, sizeof value); }

/// Chunk q of the packed rows: element (row, pivot) stands at pivot * kChunk + row.
KESTROVA_INLINE float* chunk(float* packed, std::int64_t q) { return packed + q * kChunk * kBlock; }
KESTROVA_INLINE const float* chunk(const float* packed, std::int64_t q) { return packed + q * kChunk * kBlock; }

/// Subtracts from `kTileColumns` columns, of which [first, last) are written, the product of their rows of the packed
/// pivots with all rows below. `base` is the row where the packing begins.
KESTROVA_INLINE void eliminateTile(const FrontMatrix& front, std::int64_t base, int pivots, const float* packed,
                                   std::int64_t tile, std::int64_t first, std::int64_t last) {
    float* columns[kTileColumns];
    for (int c = 0; c < kTileColumns; ++c) columns[c] = front.column(std::min(tile + c, front.order - 1));
    const float* own = chunk(packed, (tile - base) / kChunk) + (tile - base) % kChunk;
    const bool whole = first <= tile && tile + kTileColumns <= last;
    for (std::int64_t q = (tile - base) / kChunk; base + q * kChunk < front.order; ++q) {
        const float* rows = chunk(packed, q);
        Lane sum[kTileColumns][2] = {};
        for (int k = 0; k < pivots; ++k) {
            const Lane low = lane(rows + k * kChunk), high = lane(rows + k * kChunk + kLane);
            for (int c = 0; c < kTileColumns; ++c) {
                const float value = own[k * kChunk + c];
                sum[c][0] += low * value;
                sum[c][1] += high * value;
            }
        }
        const std::int64_t row = base + q * kChunk;
        if (whole && row >= tile + kTileColumns - 1 && row + kChunk <= front.order) {
            for (int c = 0; c < kTileColumns; ++c) {
                setLane(columns[c] + row, lane(columns[c] + row) - sum[c][0]);
                setLane(columns[c] + row + kLane, lane(columns[c] + row + kLane) - sum[c][1]);
            }
            continue;
        }
        for (int c = 0; c < kTileColumns; ++c) {
            const std::int64_t column = tile + c;
            if (column < first || column >= last) continue;
            float values[kChunk];
            setLane(values, sum[c][0]);
            setLane(values + kLane, sum[c][1]);
            const std::int64_t end = std::min(row + kChunk, front.order);
            for (std::int64_t i = std::max(row, column); i < end; ++i) columns[c][i] -= values[i - row];
        }
    }
}

KESTROVA_INLINE void eliminate(const FrontMatrix& front, std::int64_t base, int pivots, const float* packed,
                               std::int64_t first, std::int64_t last) {
    const std::int64_t begin = base + (first - base) / kTileColumns * kTileColumns;
    for (std::int64_t tile = begin; tile < last; tile += kTileColumns) {
        eliminateTile(front, base, pivots, packed, tile, first, last);
    }
}

/// Cholesky factorisation of a panel's diagonal block, column by column at `block`, its lower triangle filled;
/// `inverse` receives one over each pivot's root.
KESTROVA_INLINE bool factorDiagonal(float* block, int pivots, float* inverse) {
    for (int j = 0; j < pivots; ++j) {
        float* column = block + j * kChunk;
        const float pivot = column[j];
        if (!(pivot > 0 && pivot <= std::numeric_limits<float>::max())) return false;
        const float root = std::sqrt(pivot);
        inverse[j] = 1 / root;
        for (int i = 0; i < j; ++i) column[i] = 0;
        setLane(column, lane(column) * inverse[j]);
        setLane(column + kLane, lane(column + kLane) * inverse[j]);
        column[j] = root;
        for (int c = j + 1; c < pivots; ++c) {
            setLane(block + c * kChunk, lane(block + c * kChunk) - lane(column) * column[c]);
            setLane(block + c * kChunk + kLane, lane(block + c * kChunk + kLane) - lane(column + kLane) * column[c]);
        }
    }
    return true;
}

/// Solves the rows of a chunk for the panel whose factored diagonal block is `block`.
KESTROVA_INLINE void solveChunk(float* rows, const float* block, int pivots, const float* inverse) {
    for (int j = 0; j < pivots; ++j) {
        Lane low = lane(rows + j * kChunk) * inverse[j], high = lane(rows + j * kChunk + kLane) * inverse[j];
        setLane(rows + j * kChunk, low);
        setLane(rows + j * kChunk + kLane, high);
        for (int c = j + 1; c < pivots; ++c) {
            setLane(rows + c * kChunk, lane(rows + c * kChunk) - low * block[j * kChunk + c]);
            setLane(rows + c * kChunk + kLane, lane(rows + c * kChunk + kLane) - high * block[j * kChunk + c]);
        }
    }
}

}  // namespace

KESTROVA_KERNEL bool factorBlock(const FrontMatrix& front, int begin, int end, float* packed) {
    for (int panel = begin; panel < end; panel += kPanel) {
        const int last = std::min(panel + kPanel, end), pivots = last - panel, done = panel - begin;
        if (done > 0) eliminate(front, begin, done, packed, panel, last);

        float block[kPanel * kChunk] = {}, inverse[kPanel];
        for (int j = 0; j < pivots; ++j) {
            const float* column = front.column(panel + j);
            for (int i = j; i < pivots; ++i) block[j * kChunk + i] = column[panel + i];
        }
        if (!factorDiagonal(block, pivots, inverse)) return false;

        for (std::int64_t q = done / kChunk, row = panel; row < front.order; ++q, row += kChunk) {
            float* rows = chunk(packed, q) + done * kChunk;
            const int count = static_cast<int>(std::min<std::int64_t>(kChunk, front.order - row));
            const bool diagonal = row == panel;
            for (int j = 0; j < pivots; ++j) {
                const float* column = front.column(panel + j) + row;
                const int top = diagonal ? pivots : 0;
                if (count == kChunk && top == 0) {
                    setLane(rows + j * kChunk, lane(column));
                    setLane(rows + j * kChunk + kLane, lane(column + kLane));
                    continue;
                }
                for (int i = 0; i < kChunk; ++i) rows[j * kChunk + i] = i >= top && i < count ? column[i] : 0.0f;
            }
            solveChunk(rows, block, pivots, inverse);
            for (int j = 0; j < pivots; ++j) {
                if (diagonal) std::copy_n(block + j * kChunk, pivots, rows + j * kChunk);
                float* column = front.column(panel + j) + row;
                for (int i = diagonal ? j : 0; i < count; ++i) column[i] = rows[j * kChunk + i];
            }
        }
    }
    return true;
}

KESTROVA_KERNEL void eliminateBlock(const FrontMatrix& front, int begin, int end, const float* packed,
                                    std::int64_t first, std::int64_t last) {
    eliminate(front, begin, end - begin, packed, first, last);
}

KESTROVA_KERNEL void substituteForward(const FrontMatrix& front, float* v) {
    for (std::int64_t j = 0; j < front.pivots; ++j) {
        const float* column = front.column(j);
        const float x = v[j] / column[j];
        v[j] = x;
        for (std::int64_t i = j + 1; i < front.order; ++i) v[i] -= column[i] * x;
    }
}

KESTROVA_KERNEL void substituteBackward(const FrontMatrix& front, float* v) {
    for (std::int64_t j = front.pivots; j-- > 0;) {
        const float* column = front.column(j);
        Lane low = {}, high = {};
        std::int64_t i = j + 1;
        for (; i + kChunk <= front.order; i += kChunk) {
            low += lane(column + i) * lane(v + i);
            high += lane(column + i + kLane) * lane(v + i + kLane);
        }
        low += high;
        float sum = v[j];
        for (int l = 0; l < kLane; ++l) sum -= low[l];
        for (; i < front.order; ++i) sum -= column[i] * v[i];
        v[j] = sum / column[j];
    }
}

}  // namespace kestrova::solver
