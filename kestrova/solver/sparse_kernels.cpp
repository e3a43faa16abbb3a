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

constexpr int kTileColumns = 4;

/// Floats side by side in one register of that many bytes.
template <int kBytes>
struct Register {
    static constexpr int kFloats = kBytes / sizeof(float);
    typedef float Vector __attribute__((vector_size(kBytes)));
    Vector floats;

    /// They stand at any address.
    static KESTROVA_INLINE Register at(const float* p) {
        Register value;
        std::memcpy(&value.floats, p, sizeof value.floats);
        return value;
    }
    KESTROVA_INLINE void put(float* p) const { std::memcpy(p, &floats, sizeof floats); }

    KESTROVA_INLINE Register operator*(float b) const { return {floats * b}; }
    KESTROVA_INLINE Register operator*(Register b) const { return {floats * b.floats}; }
    KESTROVA_INLINE Register operator+(Register b) const { return {floats + b.floats}; }
    KESTROVA_INLINE Register operator-(Register b) const { return {floats - b.floats}; }
};

/// Twice as many.
template <class Half>
struct Pair {
    static constexpr int kFloats = 2 * Half::kFloats;
    Half low, high;

    static KESTROVA_INLINE Pair at(const float* p) { return {Half::at(p), Half::at(p + Half::kFloats)}; }
    KESTROVA_INLINE void put(float* p) const {
        low.put(p);
        high.put(p + Half::kFloats);
    }

    KESTROVA_INLINE Pair operator*(float b) const { return {low * b, high * b}; }
    KESTROVA_INLINE Pair operator*(Pair b) const { return {low * b.low, high * b.high}; }
    KESTROVA_INLINE Pair operator+(Pair b) const { return {low + b.low, high + b.high}; }
    KESTROVA_INLINE Pair operator-(Pair b) const { return {low - b.low, high - b.high}; }
};

/// A chunk's rows of one column, in registers as the processor has them: wider ones would be kept in memory.
using Lane512 = Register<64>;
using Lane256 = Pair<Register<32>>;
using Lane128 = Pair<Pair<Register<16>>>;

static_assert(kPanel == kChunk && Lane512::kFloats == kChunk);

/// Chunk q of the packed rows: element (row, pivot) stands at pivot * kChunk + row.
KESTROVA_INLINE float* chunk(float* packed, std::int64_t q) { return packed + q * kChunk * kBlock; }
KESTROVA_INLINE const float* chunk(const float* packed, std::int64_t q) { return packed + q * kChunk * kBlock; }

template <class Lane>
struct Kernels {
    /// Subtracts from `kTileColumns` columns, of which [first, last) are written, the product of their rows of the
    /// packed pivots with all rows below. `base` is the row where the packing begins.
    static KESTROVA_INLINE void eliminateTile(const FrontMatrix& front, std::int64_t base, int pivots,
                                              const float* packed, std::int64_t tile, std::int64_t first,
                                              std::int64_t last) {
        float* columns[kTileColumns];
        for (int c = 0; c < kTileColumns; ++c) columns[c] = front.column(std::min(tile + c, front.order - 1));
        const float* own = chunk(packed, (tile - base) / kChunk) + (tile - base) % kChunk;
        const bool whole = first <= tile && tile + kTileColumns <= last;
        for (std::int64_t q = (tile - base) / kChunk; base + q * kChunk < front.order; ++q) {
            const float* rows = chunk(packed, q);
            Lane sum[kTileColumns] = {};
            for (int k = 0; k < pivots; ++k) {
                const Lane column = Lane::at(rows + k * kChunk);
                for (int c = 0; c < kTileColumns; ++c) {
                    const float value = own[k * kChunk + c];
                    sum[c] = sum[c] + column * value;
                }
            }
            const std::int64_t row = base + q * kChunk;
            if (whole && row >= tile + kTileColumns - 1 && row + kChunk <= front.order) {
                for (int c = 0; c < kTileColumns; ++c) {
                    (Lane::at(columns[c] + row) - sum[c]).put(columns[c] + row);
                }
                continue;
            }
            for (int c = 0; c < kTileColumns; ++c) {
                const std::int64_t column = tile + c;
                if (column < first || column >= last) continue;
                float values[kChunk];
                sum[c].put(values);
                const std::int64_t end = std::min(row + kChunk, front.order);
                for (std::int64_t i = std::max(row, column); i < end; ++i) columns[c][i] -= values[i - row];
            }
        }
    }

    static KESTROVA_INLINE void eliminateBlock(const FrontMatrix& front, int begin, int end, const float* packed,
                                               std::int64_t first, std::int64_t last) {
        const std::int64_t tiles = begin + (first - begin) / kTileColumns * kTileColumns;
        for (std::int64_t tile = tiles; tile < last; tile += kTileColumns) {
            eliminateTile(front, begin, end - begin, packed, tile, first, last);
        }
    }

    /// Copies a chunk's rows of `columns` columns from `begin` on; zero where there is no row and above the diagonal.
    static KESTROVA_INLINE void loadChunk(const FrontMatrix& front, std::int64_t begin, int columns, std::int64_t row,
                                          float* rows) {
        const std::int64_t count = std::min(kChunk, front.order - row);
        for (int j = 0; j < columns; ++j) {
            const float* column = front.column(begin + j) + row;
            const std::int64_t diagonal = begin + j - row;
            if (diagonal <= 0 && count == kChunk) {
                Lane::at(column).put(rows + j * kChunk);
                continue;
            }
            for (std::int64_t i = 0; i < kChunk; ++i)
                rows[j * kChunk + i] = i >= diagonal && i < count ? column[i] : 0.0f;
        }
    }

    /// The way back.
    static KESTROVA_INLINE void storeChunk(const float* rows, const FrontMatrix& front, std::int64_t begin, int columns,
                                           std::int64_t row) {
        const std::int64_t count = std::min(kChunk, front.order - row);
        for (int j = 0; j < columns; ++j) {
            float* column = front.column(begin + j) + row;
            const std::int64_t diagonal = begin + j - row;
            if (diagonal <= 0 && count == kChunk) {
                Lane::at(rows + j * kChunk).put(column);
                continue;
            }
            for (std::int64_t i = std::max<std::int64_t>(diagonal, 0); i < count; ++i) column[i] = rows[j * kChunk + i];
        }
    }

    /// Subtracts from a chunk's columns [first, last), no more than a panel's, what the pivots before them contribute.
    /// `own` is the chunk of these columns' rows.
    static KESTROVA_INLINE void updateChunk(float* rows, const float* own, int first, int last) {
        if (first == 0) return;
        for (int tile = first; tile < last; tile += kTileColumns) {
            Lane sum[kTileColumns] = {};
            for (int k = 0; k < first; ++k) {
                const Lane column = Lane::at(rows + k * kChunk);
                for (int c = 0; c < kTileColumns; ++c) {
                    const float value = own[k * kChunk + tile - first + c];
                    sum[c] = sum[c] + column * value;
                }
            }
            for (int c = 0; c < std::min(kTileColumns, last - tile); ++c) {
                float* column = rows + (tile + c) * kChunk;
                (Lane::at(column) - sum[c]).put(column);
            }
        }
    }

    /// Divides column j of a chunk by its pivot's root and eliminates it from the columns up to `last`, whose rows are
    /// `own`.
    static KESTROVA_INLINE void eliminateColumn(float* rows, const float* own, int j, int last, int panel,
                                                float inverse) {
        const Lane column = Lane::at(rows + j * kChunk) * inverse;
        column.put(rows + j * kChunk);
        for (int c = j + 1; c < last; ++c) {
            (Lane::at(rows + c * kChunk) - column * own[j * kChunk + c - panel]).put(rows + c * kChunk);
        }
    }

    /// The chunk that the diagonal of the panel [first, last) crosses, all its rows at once.
    static KESTROVA_INLINE bool factorPanel(float* rows, int first, int last) {
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

    /// From the left, chunk by chunk: each is complete before the next begins.
    static KESTROVA_INLINE bool factorPivots(const FrontMatrix& front, int begin, int end, float* packed) {
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

    static KESTROVA_INLINE void solveRows(const FrontMatrix& front, int begin, int end, float* packed,
                                          std::int64_t firstChunk, std::int64_t lastChunk) {
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

    /// Most rows are neighbours in the front, too.
    static KESTROVA_INLINE void addUpdate(const FrontMatrix& front, const float* update, const int* places,
                                          std::int64_t order, std::int64_t first, std::int64_t last) {
        std::int64_t j = std::lower_bound(places, places + order, first) - places;
        const float* from = update + j * order - j * (j - 1) / 2;
        for (; j < order && places[j] < last; ++j) {
            float* column = front.column(places[j]);
            for (std::int64_t i = j; i < order;) {
                const std::int64_t count = std::min(kChunk, order - i);
                if (count == kChunk && places[i + kChunk - 1] - places[i] == kChunk - 1) {
                    (Lane::at(column + places[i]) + Lane::at(from)).put(column + places[i]);
                } else {
                    for (std::int64_t k = 0; k < count; ++k) column[places[i + k]] += from[k];
                }
                i += count;
                from += count;
            }
        }
    }

    static KESTROVA_INLINE void substituteBackward(const float* pivotColumns, std::int64_t order, std::int64_t pivots,
                                                   float* v) {
        const float* column = pivotColumns + pivots * order - pivots * (pivots + 1) / 2;
        for (std::int64_t j = pivots; j-- > 0;) {
            column -= order - j - 1;
            Lane sums = {};
            std::int64_t i = j + 1;
            for (; i + kChunk <= order; i += kChunk) sums = sums + Lane::at(column + i) * Lane::at(v + i);
            float parts[kChunk];
            sums.put(parts);
            float sum = v[j];
            for (int l = 0; l < kChunk / 2; ++l) sum -= parts[l] + parts[l + kChunk / 2];
            for (; i < order; ++i) sum -= column[i] * v[i];
            v[j] = sum / column[j];
        }
    }
};

#if defined(__x86_64__) && defined(__GNUC__) && !defined(__clang__) && __GNUC__ >= 12 && !defined(KESTROVA_KERNEL_LEVEL)

int registerBytes() {
    static const int bytes = __builtin_cpu_supports("x86-64-v4") ? 64 : __builtin_cpu_supports("x86-64-v3") ? 32 : 16;
    return bytes;
}

/// Defines a function as the kernel of that name in registers as wide as the processor has.
#define KESTROVA_LANE_KERNEL(Result, name, parameters, arguments)                 \
    __attribute__((target("arch=x86-64-v4"))) static Result name##64 parameters { \
        return Kernels<Lane512>::name arguments;                                  \
    }                                                                             \
    __attribute__((target("arch=x86-64-v3"))) static Result name##32 parameters { \
        return Kernels<Lane256>::name arguments;                                  \
    }                                                                             \
    Result name parameters {                                                      \
        if (registerBytes() == 64) return name##64 arguments;                     \
        if (registerBytes() == 32) return name##32 arguments;                     \
        return Kernels<Lane128>::name arguments;                                  \
    }
#else
#define KESTROVA_LANE_KERNEL(Result, name, parameters, arguments) \
    KESTROVA_KERNEL Result name parameters { return Kernels<Lane256>::name arguments; }
#endif

}  // namespace

KESTROVA_LANE_KERNEL(bool, factorPivots, (const FrontMatrix& front, int begin, int end, float* packed),
                     (front, begin, end, packed))

KESTROVA_LANE_KERNEL(void, solveRows,
                     (const FrontMatrix& front, int begin, int end, float* packed, std::int64_t firstChunk,
                      std::int64_t lastChunk),
                     (front, begin, end, packed, firstChunk, lastChunk))

KESTROVA_LANE_KERNEL(void, eliminateBlock,
                     (const FrontMatrix& front, int begin, int end, const float* packed, std::int64_t first,
                      std::int64_t last),
                     (front, begin, end, packed, first, last))

KESTROVA_LANE_KERNEL(void, addUpdate,
                     (const FrontMatrix& front, const float* update, const int* places, std::int64_t order,
                      std::int64_t first, std::int64_t last),
                     (front, update, places, order, first, last))

KESTROVA_LANE_KERNEL(void, substituteBackward,
                     (const float* pivotColumns, std::int64_t order, std::int64_t pivots, float* v),
                     (pivotColumns, order, pivots, v))

KESTROVA_KERNEL void substituteForward(const float* pivotColumns, std::int64_t order, std::int64_t pivots, float* v) {
    const float* column = pivotColumns;  // of pivot j, moved so that element i is column[i]
    for (std::int64_t j = 0; j < pivots; ++j, column += order - j) {
        const float x = v[j] / column[j];
        v[j] = x;
        for (std::int64_t i = j + 1; i < order; ++i) v[i] -= column[i] * x;
    }
}

}  // namespace kestrova::solver
