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

/// Copies a chunk's rows of `columns` columns from `begin` on; zero where there is no row and above the diagonal.
KESTROVA_INLINE void loadChunk(const FrontMatrix& front, std::int64_t begin, int columns, std::int64_t row,
                               float* rows) {
    const std::int64_t count = std::min(kChunk, front.order - row);
    for (int j = 0; j < columns; ++j) {
        const float* column = front.column(begin + j) + row;
        const std::int64_t diagonal = begin + j - row;
        if (diagonal <= 0 && count == kChunk) {
            setLane(rows + j * kChunk, lane(column));
            setLane(rows + j * kChunk + kLane, lane(column + kLane));
            continue;
        }
        for (std::int64_t i = 0; i < kChunk; ++i) rows[j * kChunk + i] = i >= diagonal && i < count ? column[i] : 0.0f;
    }
}

/// The way back.
KESTROVA_INLINE void storeChunk(const float* rows, const FrontMatrix& front, std::int64_t begin, int columns,
                                std::int64_t row) {
    const std::int64_t count = std::min(kChunk, front.order - row);
    for (int j = 0; j < columns; ++j) {
        float* column = front.column(begin + j) + row;
        const std::int64_t diagonal = begin + j - row;
        if (diagonal <= 0 && count == kChunk) {
            setLane(column, lane(rows + j * kChunk));
            setLane(column + kLane, lane(rows + j * kChunk + kLane));
            continue;
        }
        for (std::int64_t i = std::max<std::int64_t>(diagonal, 0); i < count; ++i) column[i] = rows[j * kChunk + i];
    }
}

/// Subtracts from a chunk's columns [first, last), no more than a panel's, what the pivots before them contribute.
/// `own` is the chunk of these columns' rows.
KESTROVA_INLINE void updateChunk(float* rows, const float* own, int first, int last) {
    if (first == 0) return;
    for (int tile = first; tile < last; tile += kTileColumns) {
        Lane sum[kTileColumns][2] = {};
        for (int k = 0; k < first; ++k) {
            const Lane low = lane(rows + k * kChunk), high = lane(rows + k * kChunk + kLane);
            for (int c = 0; c < kTileColumns; ++c) {
                const float value = own[k * kChunk + tile - first + c];
                sum[c][0] += low * value;
                sum[c][1] += high * value;
            }
        }
        for (int c = 0; c < std::min(kTileColumns, last - tile); ++c) {
            float* column = rows + (tile + c) * kChunk;
            setLane(column, lane(column) - sum[c][0]);
            setLane(column + kLane, lane(column + kLane) - sum[c][1]);
        }
    }
}

/// Divides column j of a chunk by its pivot's root and eliminates it from the columns up to `last`, whose rows are
/// `own`.
KESTROVA_INLINE void eliminateColumn(float* rows, const float* own, int j, int last, int panel, float inverse) {
    float* column = rows + j * kChunk;
    const Lane low = lane(column) * inverse, high = lane(column + kLane) * inverse;
    setLane(column, low);
    setLane(column + kLane, high);
    for (int c = j + 1; c < last; ++c) {
        const float value = own[j * kChunk + c - panel];
        setLane(rows + c * kChunk, lane(rows + c * kChunk) - low * value);
        setLane(rows + c * kChunk + kLane, lane(rows + c * kChunk + kLane) - high * value);
    }
}

/// The chunk that the diagonal of the panel [first, last) crosses, all its rows at once.
KESTROVA_INLINE bool factorPanel(float* rows, int first, int last) {
    for (int j = first; j < last; ++j) {
        float* column = rows + j * kChunk;
        const float pivot = column[j - first];
        if (!(pivot > 0 && pivot <= std::numeric_limits<float>::max())) return false;
        const float root = std::sqrt(pivot);
        for (int i = 0; i < j - first; ++i) column[i] = 0;
        eliminateColumn(rows, rows, j, last, first, 1 / root);
        column[j - first] = root;
    }
    return true;
}

}  // namespace

// From the left, chunk by chunk: each is complete before the next begins.
KESTROVA_KERNEL bool factorPivots(const FrontMatrix& front, int begin, int end, float* packed) {
    const int pivots = end - begin;
    for (int first = 0; first < pivots; first += kPanel) {
        const int last = std::min(first + kPanel, pivots);
        const std::int64_t row = begin + first;
        float* rows = chunk(packed, first / kChunk);
        loadChunk(front, begin, last, row, rows);
        for (int panel = 0; panel < first; panel += kPanel) {
            const float* own = chunk(packed, panel / kChunk);
            updateChunk(rows, own, panel, panel + kPanel);
            for (int j = panel; j < panel + kPanel; ++j) {
                eliminateColumn(rows, own, j, panel + kPanel, panel, 1 / own[j * kChunk + j - panel]);
            }
        }
        updateChunk(rows, rows, first, last);
        if (!factorPanel(rows, first, last)) return false;
        storeChunk(rows, front, begin, last, row);
    }
    return true;
}

KESTROVA_KERNEL void solveRows(const FrontMatrix& front, int begin, int end, float* packed, std::int64_t firstChunk,
                               std::int64_t lastChunk) {
    if (firstChunk >= lastChunk) return;
    const int pivots = end - begin;
    float inverse[kBlock];
    for (int j = 0; j < pivots; ++j) inverse[j] = 1 / chunk(packed, j / kPanel)[j * kChunk + j % kPanel];
    for (std::int64_t q = firstChunk; q < lastChunk; ++q) {
        const std::int64_t row = begin + q * kChunk;
        float* rows = chunk(packed, q);
        loadChunk(front, begin, pivots, row, rows);
        for (int first = 0; first < pivots; first += kPanel) {
            const int last = std::min(first + kPanel, pivots);
            const float* own = chunk(packed, first / kChunk);
            updateChunk(rows, own, first, last);
            for (int j = first; j < last; ++j) eliminateColumn(rows, own, j, last, first, inverse[j]);
        }
        storeChunk(rows, front, begin, pivots, row);
    }
}

KESTROVA_KERNEL void eliminateBlock(const FrontMatrix& front, int begin, int end, const float* packed,
                                    std::int64_t first, std::int64_t last) {
    eliminate(front, begin, end - begin, packed, first, last);
}

KESTROVA_KERNEL void substituteForward(const float* pivotColumns, std::int64_t order, std::int64_t pivots, float* v) {
    const float* column = pivotColumns;  // of pivot j, moved so that element i is column[i]
    for (std::int64_t j = 0; j < pivots; ++j, column += order - j) {
        const float x = v[j] / column[j];
        v[j] = x;
        for (std::int64_t i = j + 1; i < order; ++i) v[i] -= column[i] * x;
    }
}

KESTROVA_KERNEL void substituteBackward(const float* pivotColumns, std::int64_t order, std::int64_t pivots, float* v) {
    const float* column = pivotColumns + pivots * order - pivots * (pivots + 1) / 2;
    for (std::int64_t j = pivots; j-- > 0;) {
        column -= order - j - 1;
        Lane low = {}, high = {};
        std::int64_t i = j + 1;
        for (; i + kChunk <= order; i += kChunk) {
            low += lane(column + i) * lane(v + i);
            high += lane(column + i + kLane) * lane(v + i + kLane);
        }
        low += high;
        float sum = v[j];
        for (int l = 0; l < kLane; ++l) sum -= low[l];
        for (; i < order; ++i) sum -= column[i] * v[i];
        v[j] = sum / column[j];
    }
}

}  // namespace kestrova::solver
