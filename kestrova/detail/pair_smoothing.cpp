#include "kestrova/detail/pair_smoothing.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "kestrova/frame/kernel.h"
#include "kestrova/frame/saturate.h"
#include "kestrova/rows/prefetch.h"

namespace kestrova::detail::domain_transform {

using namespace frame;

namespace {

constexpr int kLanes = 32;
constexpr int kChannels = 2;
constexpr int kLineFloats = kChannels * kLanes;
constexpr int kTile = kLanes * kLineFloats;

int tilesOf(int pixels) { return (pixels + kLanes - 1) / kLanes; }

// Vectors as they lie in memory, on any float.
typedef float Four __attribute__((vector_size(16), aligned(4), may_alias));
typedef float Eight __attribute__((vector_size(32), aligned(4), may_alias));

// to[x][y] = from[y][x] of a tile's elements of 32 bits.
KESTROVA_KERNEL void transpose(const float* __restrict from, std::ptrdiff_t fromStep, float* __restrict to,
                               std::ptrdiff_t toStep) noexcept {
    const auto row = [](const float* at) { return *reinterpret_cast<const Four*>(at); };
    for (int y = 0; y < kLanes; y += 4) {
        for (int x = 0; x < kLanes; x += 4) {
            const float* const source = from + y * fromStep + x;
            const Four a = row(source), b = row(source + fromStep), c = row(source + 2 * fromStep),
                       d = row(source + 3 * fromStep);
            const Four ac0 = __builtin_shufflevector(a, c, 0, 4, 1, 5), ac2 = __builtin_shufflevector(a, c, 2, 6, 3, 7);
            const Four bd0 = __builtin_shufflevector(b, d, 0, 4, 1, 5), bd2 = __builtin_shufflevector(b, d, 2, 6, 3, 7);
            const auto column = [=](int i) -> Four& { return *reinterpret_cast<Four*>(to + (x + i) * toStep + y); };
            column(0) = __builtin_shufflevector(ac0, bd0, 0, 4, 1, 5);
            column(1) = __builtin_shufflevector(ac0, bd0, 2, 6, 3, 7);
            column(2) = __builtin_shufflevector(ac2, bd2, 0, 4, 1, 5);
            column(3) = __builtin_shufflevector(ac2, bd2, 2, 6, 3, 7);
        }
    }
}

// Draws each of `count` lines towards the line before it, the first towards `last`, which becomes the last one. The
// lines follow one another up or down the memory, and so do their weights.
template <int kDirection>
KESTROVA_KERNEL void drawLines(float* lines, const float* weights, int count, float* last) noexcept {
    constexpr int kEights = kLineFloats / 8, kEightsAChannel = kLanes / 8;
    Eight before[kEights];
#pragma GCC unroll 8
    for (int i = 0; i < kEights; ++i) before[i] = *reinterpret_cast<const Eight*>(last + 8 * i);
    for (int n = 0; n < count; ++n) {
#pragma GCC unroll 8
        for (int i = 0; i < kEights; ++i) {
            const Eight weight = *reinterpret_cast<const Eight*>(weights + 8 * (i % kEightsAChannel));
            Eight& pixel = *reinterpret_cast<Eight*>(lines + 8 * i);
            pixel = before[i] = (before[i] - pixel) * weight + pixel;
        }
        lines += kDirection * kLineFloats;
        weights += kDirection * kLanes;
    }
#pragma GCC unroll 8
    for (int i = 0; i < kEights; ++i) *reinterpret_cast<Eight*>(last + 8 * i) = before[i];
}

// Of a multiple of 4 sums. Loads one by one take less time than the processor's gather.
KESTROVA_KERNEL void lookUp(const ushort* sums, const float* table, float* weights, int n) noexcept {
    for (int i = 0; i < n; i += 4)
        *reinterpret_cast<Four*>(weights + i) =
            Four{table[sums[i]], table[sums[i + 1]], table[sums[i + 2]], table[sums[i + 3]]};
}

void lookUp(const SumsOfLines& sums, std::ptrdiff_t line, int lines, const float* table, float* weights) noexcept {
    const ushort* const lows = sums.lows.row(0) + line * kLanes;
    const std::uint32_t* const highs = sums.highs.row(0) + line;
    lookUp(lows, table, weights, lines * kLanes);
    for (int y = 0; y < lines; ++y) {
        if (highs[y] == 0) continue;
        for (int x = 0; x < kLanes; ++x)
            weights[y * kLanes + x] = table[lows[y * kLanes + x] + ((highs[y] >> x & 1) << 16)];
    }
}

KESTROVA_KERNEL int takeLows(const int* sums, ushort* lows) noexcept {
    int all = 0;
    for (int i = 0; i < kLanes * kLanes; ++i) {
        all |= sums[i];
        lows[i] = static_cast<ushort>(sums[i]);
    }
    return all;
}

// Puts the sums of a tile into the lines from `line` on.
void putSums(const int* sums, SumsOfLines& to, std::ptrdiff_t line) noexcept {
    std::uint32_t* const highs = to.highs.row(0) + line;
    std::fill_n(highs, kLanes, 0u);
    if (takeLows(sums, to.lows.row(0) + line * kLanes) >> 16 == 0) return;
    for (int y = 0; y < kLanes; ++y)
        for (int x = 0; x < kLanes; ++x) highs[y] |= static_cast<std::uint32_t>(sums[y * kLanes + x] >> 16) << x;
}

// There and back over `count` lines. `begin(x)` is called before the 32 lines from x on are read on the way there,
// `end(x)` after they have been written on the way back.
template <class Begin, class End>
void pass(float* lines, const SumsOfLines& sums, std::ptrdiff_t firstSums, int count, const float* table,
          float* weights, const Begin& begin, const End& end) noexcept {
    float last[kLineFloats];
    for (int x = 0; x < count; x += kLanes) {
        const int n = std::min(kLanes, count - x);
        begin(x);
        lookUp(sums, firstSums + x, n, table, weights + std::ptrdiff_t{x} * kLanes);
        if (x == 0) std::copy_n(lines, kLineFloats, last);
        const int first = std::max(x, 1);
        drawLines<1>(lines + std::ptrdiff_t{first} * kLineFloats, weights + std::ptrdiff_t{first} * kLanes,
                     x + n - first, last);
    }
    // A line is drawn with the weight of the one behind it.
    for (int x = (count - 1) / kLanes * kLanes; x >= 0; x -= kLanes) {
        const int lastLine = std::min(x + kLanes, count - 1) - 1;
        if (lastLine >= x)
            drawLines<-1>(lines + std::ptrdiff_t{lastLine} * kLineFloats,
                          weights + std::ptrdiff_t{lastLine + 1} * kLanes, lastLine + 1 - x, last);
        end(x);
    }
}

// Of a tile: the pixels as lines of a column of tiles, and the sums of their differences.
KESTROVA_KERNEL void measureTile(const ushort* first, const ushort* second, std::ptrdiff_t step, float* tile, int* sumX,
                                 int* sumY) noexcept {
    for (int y = 0; y < kLanes; ++y) {
        const ushort *a = first + y * step, *b = second + y * step;
        const ushort *belowA = a + step, *belowB = b + step;
        for (int x = 0; x < kLanes; ++x) {
            tile[y * kLineFloats + x] = a[x];
            tile[y * kLineFloats + kLanes + x] = b[x];
            sumX[y * kLanes + x] = std::abs(a[x + 1] - a[x]) + std::abs(b[x + 1] - b[x]);
            sumY[y * kLanes + x] = std::abs(belowA[x] - a[x]) + std::abs(belowB[x] - b[x]);
        }
    }
}

KESTROVA_KERNEL void roundLines(const float* lines, ushort* rounded, int count) noexcept {
    for (int i = 0; i < count * kLineFloats; ++i) rounded[i] = sat16(lines[i]);
}

// Row `y` of a plane of which the last pixels repeat, `n` of them.
void copyRow(const cv::Mat& plane, int y, ushort* row, int n) noexcept {
    const ushort* const from = plane.ptr<ushort>(std::min(y, plane.rows - 1));
    const int real = std::min(plane.cols, n);
    std::copy_n(from, real, row);
    std::fill(row + real, row + n, from[real - 1]);
}

// A tile's pixels of row `y` from column `x` on go to the planes of the block that have them.
void putRow(const PlacedBlock& block, std::size_t plane, int y, int x, const ushort* pixels) noexcept {
    const cv::Mat& own = block.own[plane];
    const int shared = static_cast<int>(block.weights.size());
    const int begin = clampInt(shared - x, 0, kLanes), end = std::min(shared + own.cols - x, kLanes);
    if (begin == 0 && end == kLanes) {
        std::memcpy(rowToWrite(own, y) + x - shared, pixels, kLanes * sizeof *pixels);
        return;
    }
    if (begin > 0) std::copy_n(pixels, begin, rowToWrite(block.shared[plane], y) + x);
    if (begin < end) std::copy(pixels + begin, pixels + end, rowToWrite(own, y) + x + begin - shared);
}

}  // namespace

SumsOfLines::SumsOfLines(std::size_t lines) : lows(1, lines * kLanes), highs(1, lines) {}

PairScratch::PairScratch(cv::Size block)
    : m_lines(1, static_cast<std::size_t>(tilesOf(block.width)) * kTile),
      m_weights(1, static_cast<std::size_t>(tilesOf(std::max(block.width, block.height))) * kLanes * kLanes),
      m_pixels(2 * (kLanes + 1), static_cast<std::size_t>(tilesOf(block.width) + 1) * kLanes) {}

// Columns of tiles lie some lines farther apart than they are long: at a distance of a power of two the tiles of a band
// would share the places of the cache.
PairSmoothing::PairSmoothing(cv::Size block)
    : m_size(block),
      m_bands(tilesOf(block.height)),
      m_columns(tilesOf(block.width)),
      m_lines(static_cast<std::ptrdiff_t>(m_bands) * kLanes + kLanes + 1),
      m_image(1, static_cast<std::size_t>(m_columns * m_lines) * kLineFloats),
      m_sumX(static_cast<std::size_t>(m_bands) * m_columns * kLanes),
      m_sumY(static_cast<std::size_t>(m_columns * m_lines)) {}

std::array<int, PairSmoothing::kSteps> PairSmoothing::pieces() const {
    return {m_bands, m_columns, m_bands, m_columns, m_bands, m_columns};
}

float* PairSmoothing::tile(int column, int band) const {
    return m_image.row(0) + (column * m_lines + static_cast<std::ptrdiff_t>(band) * kLanes) * kLineFloats;
}

void PairSmoothing::run(int step, int piece, const PlacedBlock& block, const WeightTables& tables,
                        PairScratch& scratch) noexcept {
    const float* const table = tables[static_cast<std::size_t>(step / 2)].data();
    if (step % 2 == 0) {
        if (step == 0) measure(piece, block, scratch);
        passAlongRows(piece, step == 0, table, scratch);
    } else {
        passAlongColumns(piece, step == kSteps - 1 ? &block : nullptr, table, scratch);
    }
}

// Pixels beyond the block repeat its last ones, so that they differ from them by 0. In its last row all sums are 0, in
// its last column too.
void PairSmoothing::measure(int band, const PlacedBlock& block, PairScratch& scratch) noexcept {
    const int top = band * kLanes, lastRow = m_size.height - 1 - top, lastColumn = m_size.width - 1;
    const std::ptrdiff_t step = scratch.m_pixels.row(1) - scratch.m_pixels.row(0);
    for (int y = 0; y <= kLanes; ++y) {
        for (int p = 0; p < kChannels; ++p) {
            ushort* const row =
                scratch.m_pixels.row(static_cast<std::size_t>(p) * (kLanes + 1) + static_cast<std::size_t>(y));
            copyRow(block.in[static_cast<std::size_t>(p)], std::min(top + y, m_size.height - 1), row, m_size.width);
            std::fill_n(row + m_size.width, (m_columns + 1) * kLanes - m_size.width, row[lastColumn]);
        }
    }
    for (int column = 0; column < m_columns; ++column) {
        const int x = column * kLanes;
        float pixels[kTile], sums[kTile / kChannels];
        int sumX[kLanes * kLanes], sumY[kLanes * kLanes];
        measureTile(scratch.m_pixels.row(0) + x, scratch.m_pixels.row(kLanes + 1) + x, step, pixels, sumX, sumY);
        if (lastRow < kLanes) std::fill_n(sumX + lastRow * kLanes, kLanes, 0);
        if (lastColumn < x + kLanes)
            for (int y = 0; y < kLanes; ++y) sumY[y * kLanes + lastColumn - x] = 0;

        float turned[kTile / kChannels];
        std::memcpy(sums, sumX, sizeof sums);
        transpose(sums, kLanes, turned, kLanes);
        std::memcpy(sumX, turned, sizeof sums);
        putSums(sumX, m_sumX, (static_cast<std::ptrdiff_t>(band) * m_columns + column) * kLanes);
        putSums(sumY, m_sumY, column * m_lines + top);
        for (int c = 0; c < kChannels; ++c)
            transpose(pixels + c * kLanes, kLineFloats, scratch.m_lines.row(0) + x * kLineFloats + c * kLanes,
                      kLineFloats);
    }
}

void PairSmoothing::passAlongRows(int band, bool measured, const float* table, PairScratch& scratch) noexcept {
    float* const lines = scratch.m_lines.row(0);
    const auto transposeTile = [](const float* from, float* to) noexcept {
        for (int c = 0; c < kChannels; ++c) transpose(from + c * kLanes, kLineFloats, to + c * kLanes, kLineFloats);
    };
    const auto takeTile = [&](int x) noexcept {
        if (measured) return;
        rows::prefetch(tile(std::min(x / kLanes + 1, m_columns - 1), band), kTile * sizeof(float));
        transposeTile(tile(x / kLanes, band), lines + std::ptrdiff_t{x} * kLineFloats);
    };
    const auto putTile = [&](int x) noexcept {
        transposeTile(lines + std::ptrdiff_t{x} * kLineFloats, tile(x / kLanes, band));
    };
    const std::ptrdiff_t firstSums = static_cast<std::ptrdiff_t>(band) * m_columns * kLanes;
    pass(lines, m_sumX, firstSums, m_size.width, table, scratch.m_weights.row(0), takeTile, putTile);
}

void PairSmoothing::passAlongColumns(int column, const PlacedBlock* out, const float* table,
                                     PairScratch& scratch) noexcept {
    float* const lines = tile(column, 0);
    const auto putRows = [&](int y) noexcept {
        if (!out) return;
        ushort rounded[kTile];
        const int n = std::min(kLanes, out->own[0].rows - y);
        if (n < 1) return;
        roundLines(lines + std::ptrdiff_t{y} * kLineFloats, rounded, n);
        for (int r = 0; r < n; ++r)
            for (std::size_t p = 0; p < kChannels; ++p)
                putRow(*out, p, y + r, column * kLanes, rounded + r * kLineFloats + static_cast<int>(p) * kLanes);
    };
    const auto takeLines = [&](int y) noexcept {
        rows::prefetch(lines + std::ptrdiff_t{y + kLanes} * kLineFloats, kTile * sizeof(float));
    };
    pass(lines, m_sumY, column * m_lines, m_size.height, table, scratch.m_weights.row(0), takeLines, putRows);
}

}  // namespace kestrova::detail::domain_transform
