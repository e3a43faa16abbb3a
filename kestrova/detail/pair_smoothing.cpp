#include "kestrova/detail/pair_smoothing.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "kestrova/frame/kernel.h"
#include "kestrova/frame/saturate.h"

namespace kestrova::detail::domain_transform {

using namespace frame;

namespace {

constexpr int kLanes = 16;
constexpr int kChannels = 2;
constexpr int kLine = kChannels * kLanes;
constexpr int kTile = kLanes * kLine;

// Columns of tiles that a piece of a pass along columns has: their pixels fill a cache line of a plane.
constexpr int kColumnsAPiece = 2;

int tilesOf(int pixels) { return (pixels + kLanes - 1) / kLanes; }

typedef float Four __attribute__((vector_size(16)));

inline Four fourAt(const float* at) {
    Four four;
    std::memcpy(&four, at, sizeof four);
    return four;
}

inline void put(float* at, Four four) { std::memcpy(at, &four, sizeof four); }

// to[x][y] = from[y][x] of 16 x 16 elements of 32 bits.
KESTROVA_KERNEL void transpose(const float* __restrict from, std::ptrdiff_t fromStep, float* __restrict to,
                               std::ptrdiff_t toStep) noexcept {
    for (int y = 0; y < kLanes; y += 4) {
        for (int x = 0; x < kLanes; x += 4) {
            const float* const source = from + y * fromStep + x;
            const Four a = fourAt(source), b = fourAt(source + fromStep), c = fourAt(source + 2 * fromStep),
                       d = fourAt(source + 3 * fromStep);
            const Four ac0 = __builtin_shufflevector(a, c, 0, 4, 1, 5), ac2 = __builtin_shufflevector(a, c, 2, 6, 3, 7);
            const Four bd0 = __builtin_shufflevector(b, d, 0, 4, 1, 5), bd2 = __builtin_shufflevector(b, d, 2, 6, 3, 7);
            float* const target = to + x * toStep + y;
            put(target, __builtin_shufflevector(ac0, bd0, 0, 4, 1, 5));
            put(target + toStep, __builtin_shufflevector(ac0, bd0, 2, 6, 3, 7));
            put(target + 2 * toStep, __builtin_shufflevector(ac2, bd2, 0, 4, 1, 5));
            put(target + 3 * toStep, __builtin_shufflevector(ac2, bd2, 2, 6, 3, 7));
        }
    }
}

// Draws each of `count` lines towards the line before it, the first towards `last`, which becomes the last one. The
// lines follow one another up or down the memory, and so do their weights.
template <int kDirection>
KESTROVA_KERNEL void drawLines(float* lines, const float* weights, int count, float* last) noexcept {
    constexpr int kFours = kLanes / 4;
    Four before[kChannels * kFours];
    for (int i = 0; i < kChannels * kFours; ++i) before[i] = fourAt(last + 4 * i);
    for (int n = 0; n < count; ++n) {
        for (int i = 0; i < kFours; ++i) {
            const Four weight = fourAt(weights + 4 * i);
            for (int c = 0; c < kChannels; ++c) {
                float* const at = lines + c * kLanes + 4 * i;
                const Four pixel = fourAt(at);
                Four& drawn = before[c * kFours + i];
                drawn = (drawn - pixel) * weight + pixel;
                put(at, drawn);
            }
        }
        lines += kDirection * kLine;
        weights += kDirection * kLanes;
    }
    for (int i = 0; i < kChannels * kFours; ++i) put(last + 4 * i, before[i]);
}

// Not a kernel: gathers take longer than loads one by one.
void lookUp(const int* sums, const float* table, float* weights, int n) noexcept {
    for (int i = 0; i < n; ++i) weights[i] = table[sums[i]];
}

// There and back over `count` lines. `begin(x)` is called before the 16 lines from x on are read on the way there,
// `end(x)` after they have been written on the way back.
template <class Begin, class End>
void pass(float* lines, const int* sums, int count, const float* table, float* weights, const Begin& begin,
          const End& end) noexcept {
    float last[kLine];
    for (int x = 0; x < count; x += kLanes) {
        const int n = std::min(kLanes, count - x);
        begin(x);
        lookUp(sums + std::ptrdiff_t{x} * kLanes, table, weights + std::ptrdiff_t{x} * kLanes, n * kLanes);
        if (x == 0) std::copy_n(lines, kLine, last);
        const int first = std::max(x, 1);
        drawLines<1>(lines + std::ptrdiff_t{first} * kLine, weights + std::ptrdiff_t{first} * kLanes, x + n - first,
                     last);
    }
    // A line is drawn with the weight of the one behind it.
    for (int x = (count - 1) / kLanes * kLanes; x >= 0; x -= kLanes) {
        const int lastLine = std::min(x + kLanes, count - 1) - 1;
        if (lastLine >= x)
            drawLines<-1>(lines + std::ptrdiff_t{lastLine} * kLine, weights + std::ptrdiff_t{lastLine + 1} * kLanes,
                          lastLine + 1 - x, last);
        end(x);
    }
}

// Of 16 x 16 pixels: the pixels as lines of a column of tiles, and the sums of their differences.
KESTROVA_KERNEL void measureTile(const ushort* first, const ushort* second, std::ptrdiff_t step, float* tile, int* sumX,
                                 int* sumY) noexcept {
    for (int y = 0; y < kLanes; ++y) {
        const ushort *a = first + y * step, *b = second + y * step;
        const ushort *aBelow = a + step, *bBelow = b + step;
        for (int x = 0; x < kLanes; ++x) {
            tile[y * kLine + x] = a[x];
            tile[y * kLine + kLanes + x] = b[x];
            sumX[y * kLanes + x] = std::abs(a[x + 1] - a[x]) + std::abs(b[x + 1] - b[x]);
            sumY[y * kLanes + x] = std::abs(aBelow[x] - a[x]) + std::abs(bBelow[x] - b[x]);
        }
    }
}

KESTROVA_KERNEL void roundLines(const float* lines, ushort* rounded, int count) noexcept {
    for (int i = 0; i < count * kLine; ++i) rounded[i] = sat16(lines[i]);
}

// Row `y` of a plane of which the last pixels repeat, `n` of them.
void copyRow(const cv::Mat& plane, int y, ushort* row, int n) noexcept {
    const ushort* const from = plane.ptr<ushort>(std::min(y, plane.rows - 1));
    const int real = std::min(plane.cols, n);
    std::copy_n(from, real, row);
    std::fill(row + real, row + n, from[real - 1]);
}

ushort* rowOf(const cv::Mat& plane, int y) { return reinterpret_cast<ushort*>(plane.data + y * plane.step[0]); }

// 16 pixels of row `y` from column `x` on go to the planes of the block that have them.
void putRow(const PlacedBlock& block, std::size_t plane, int y, int x, const ushort* pixels) noexcept {
    const cv::Mat& own = block.own[plane];
    const int shared = static_cast<int>(block.weights.size());
    const int begin = clampInt(shared - x, 0, kLanes), end = std::min(shared + own.cols - x, kLanes);
    if (begin == 0 && end == kLanes) {
        std::memcpy(rowOf(own, y) + x - shared, pixels, kLanes * sizeof *pixels);
        return;
    }
    if (begin > 0) std::copy_n(pixels, begin, rowOf(block.shared[plane], y) + x);
    if (begin < end) std::copy(pixels + begin, pixels + end, rowOf(own, y) + x + begin - shared);
}

}  // namespace

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
      m_image(1, static_cast<std::size_t>(m_columns * m_lines) * kLine),
      m_sumX(1, static_cast<std::size_t>(m_bands) * m_columns * kLanes * kLanes),
      m_sumY(1, static_cast<std::size_t>(m_columns * m_lines) * kLanes) {}

std::array<int, PairSmoothing::kSteps> PairSmoothing::pieces() const {
    const int columns = (m_columns + kColumnsAPiece - 1) / kColumnsAPiece;
    return {m_bands, columns, m_bands, columns, m_bands, columns};
}

float* PairSmoothing::tile(int column, int band) const {
    return m_image.row(0) + (column * m_lines + static_cast<std::ptrdiff_t>(band) * kLanes) * kLine;
}

void PairSmoothing::run(int step, int piece, const PlacedBlock& block, const WeightTables& tables,
                        PairScratch& scratch) const noexcept {
    const float* const table = tables[static_cast<std::size_t>(step / 2)].data();
    if (step % 2 == 0) {
        if (step == 0) measure(piece, block, scratch);
        passAlongRows(piece, step == 0, table, scratch);
        return;
    }
    const int end = std::min((piece + 1) * kColumnsAPiece, m_columns);
    for (int column = piece * kColumnsAPiece; column < end; ++column)
        passAlongColumns(column, step == kSteps - 1 ? &block : nullptr, table, scratch);
}

// Pixels beyond the block repeat its last ones, so that they differ from them by 0. In its last row all sums are 0, in
// its last column too.
void PairSmoothing::measure(int band, const PlacedBlock& block, PairScratch& scratch) const noexcept {
    const int top = band * kLanes, lastRow = m_size.height - 1 - top, lastColumn = m_size.width - 1;
    const std::ptrdiff_t step = scratch.m_pixels.row(1) - scratch.m_pixels.row(0);
    for (int y = 0; y <= kLanes; ++y) {
        for (int p = 0; p < kChannels; ++p) {
            ushort* const row = scratch.m_pixels.row(static_cast<std::size_t>(p * (kLanes + 1) + y));
            copyRow(block.in[static_cast<std::size_t>(p)], std::min(top + y, m_size.height - 1), row, m_size.width);
            std::fill_n(row + m_size.width, (m_columns + 1) * kLanes - m_size.width, row[lastColumn]);
        }
    }
    for (int column = 0; column < m_columns; ++column) {
        const int x = column * kLanes;
        float pixels[kTile], lines[kTile / 2];
        int sumX[kLanes * kLanes];
        int* const sumY = m_sumY.row(0) + (column * m_lines + top) * kLanes;
        measureTile(scratch.m_pixels.row(0) + x, scratch.m_pixels.row(kLanes + 1) + x, step, pixels, sumX, sumY);
        if (lastRow < kLanes) std::fill_n(sumX + lastRow * kLanes, kLanes, 0);
        if (lastColumn < x + kLanes)
            for (int y = 0; y < kLanes; ++y) sumY[y * kLanes + lastColumn - x] = 0;

        float sums[kLanes * kLanes];
        std::memcpy(sums, sumX, sizeof sums);
        transpose(sums, kLanes, lines, kLanes);
        std::memcpy(m_sumX.row(0) + (static_cast<std::ptrdiff_t>(band) * m_columns + column) * kLanes * kLanes, lines,
                    sizeof sums);
        for (int c = 0; c < kChannels; ++c)
            transpose(pixels + c * kLanes, kLine, scratch.m_lines.row(0) + x * kLine + c * kLanes, kLine);
    }
}

void PairSmoothing::passAlongRows(int band, bool bMeasured, const float* table, PairScratch& scratch) const noexcept {
    float* const lines = scratch.m_lines.row(0);
    const auto transposeTile = [](const float* from, float* to) noexcept {
        for (int c = 0; c < kChannels; ++c) transpose(from + c * kLanes, kLine, to + c * kLanes, kLine);
    };
    const auto takeTile = [&](int x) noexcept {
        if (!bMeasured) transposeTile(tile(x / kLanes, band), lines + std::ptrdiff_t{x} * kLine);
    };
    const auto putTile = [&](int x) noexcept {
        transposeTile(lines + std::ptrdiff_t{x} * kLine, tile(x / kLanes, band));
    };
    const int* const sums = m_sumX.row(0) + static_cast<std::ptrdiff_t>(band) * m_columns * kLanes * kLanes;
    pass(lines, sums, m_size.width, table, scratch.m_weights.row(0), takeTile, putTile);
}

void PairSmoothing::passAlongColumns(int column, const PlacedBlock* out, const float* table,
                                     PairScratch& scratch) const noexcept {
    float* const lines = tile(column, 0);
    const auto putRows = [&](int y) noexcept {
        if (!out) return;
        ushort rounded[kTile];
        const int n = std::min(kLanes, out->own[0].rows - y);
        if (n < 1) return;
        roundLines(lines + std::ptrdiff_t{y} * kLine, rounded, n);
        for (int r = 0; r < n; ++r)
            for (std::size_t p = 0; p < kChannels; ++p)
                putRow(*out, p, y + r, column * kLanes, rounded + r * kLine + static_cast<int>(p) * kLanes);
    };
    const int* const sums = m_sumY.row(0) + column * m_lines * kLanes;
    pass(
        lines, sums, m_size.height, table, scratch.m_weights.row(0), [](int) noexcept {}, putRows);
}

}  // namespace kestrova::detail::domain_transform
