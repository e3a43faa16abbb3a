#include "kestrova/filters/conv_pyr_rows.h"

#include <algorithm>

#include "kestrova/frame/kernel.h"

namespace kestrova::filters {

// ---- Row kernels

namespace {

template <class T>
KESTROVA_KERNEL void loadRow(const T* __restrict in, float* __restrict out, int n) noexcept {
    for (int x = 0; x < n; ++x) out[x] = static_cast<float>(in[x]);
}

template <class T>
KESTROVA_KERNEL void splitRow(const T* __restrict in, float* __restrict even, float* __restrict odd, int n) noexcept {
    for (int x = 0; x < n / 2; ++x) {
        even[x] = static_cast<float>(in[2 * x]);
        odd[x] = static_cast<float>(in[2 * x + 1]);
    }
    if (n % 2 != 0) even[n / 2] = static_cast<float>(in[n - 1]);
}

template <int kLines, bool kBegin>
KESTROVA_KERNEL void addLines(const float* const* lines, const float* weights, float begin, float* __restrict out,
                              int n) noexcept {
    const float* line[kLines];
    float weight[kLines];
    for (int i = 0; i < kLines; ++i) {
        line[i] = lines[i];
        weight[i] = weights[i];
    }
    for (int x = 0; x < n; ++x) {
        float sum = kBegin ? begin : out[x];
        for (int i = 0; i < kLines; ++i) sum += weight[i] * line[i][x];
        out[x] = sum;
    }
}

constexpr std::size_t kLinesAtOnce = 5;

template <bool kBegin>
void addUpTo5Lines(std::size_t count, const float* const* lines, const float* weights, float begin, float* out,
                   int n) noexcept {
    switch (count) {
        case 1: addLines<1, kBegin>(lines, weights, begin, out, n); break;
        case 2: addLines<2, kBegin>(lines, weights, begin, out, n); break;
        case 3: addLines<3, kBegin>(lines, weights, begin, out, n); break;
        case 4: addLines<4, kBegin>(lines, weights, begin, out, n); break;
        case 5: addLines<5, kBegin>(lines, weights, begin, out, n); break;
    }
}

}  // namespace

KESTROVA_KERNEL void addInterleavedRow(const float* __restrict even, const float* __restrict odd, float* __restrict out,
                                       int n) noexcept {
    for (int x = 0; x < n / 2; ++x) {
        out[2 * x] += even[x];
        out[2 * x + 1] += odd[x];
    }
    if (n % 2 != 0) out[n - 1] += even[n / 2];
}

void WeightedSum::into(float* out, int n) const noexcept {
    if (m_lines.empty()) std::fill_n(out, n, m_begin);
    for (std::size_t i = 0; i < m_lines.size(); i += kLinesAtOnce) {
        const std::size_t count = std::min(m_lines.size() - i, kLinesAtOnce);
        (i == 0 ? addUpTo5Lines<true> : addUpTo5Lines<false>)(count, m_lines.data() + i, m_weights.data() + i, m_begin,
                                                              out, n);
    }
}

// ---- Filtered rows

namespace {

bool isEven(int position) { return position % 2 == 0; }

// Of a position that may be negative.
int floorHalf(int position) { return (position - (isEven(position) ? 0 : 1)) / 2; }

int widthOf(const cv::Mat& source, Grid grid) {
    switch (grid) {
        case Grid::kHalved: return source.cols / 2 + source.cols % 2;
        case Grid::kDoubled: return 2 * source.cols;
        default: return source.cols;
    }
}

}  // namespace

FilteredRows::FilteredRows(const cv::Mat& source, const std::vector<float>& taps, Grid grid)
    : m_source(source),
      m_taps(taps),
      m_grid(grid),
      m_width(widthOf(source, grid)),
      m_anchor(static_cast<int>(taps.size() / 2)),
      m_even(grid == Grid::kHalved ? m_width : source.cols, taps.size()),
      m_odd(grid == Grid::kHalved ? m_width : 0, taps.size()),
      m_along(taps.size()),
      m_alongOdd(taps.size()),
      m_across(taps.size()),
      m_filtered(taps.size() * static_cast<std::size_t>(m_width)) {
    int offset = -m_anchor;
    for (float tap : taps) {
        const bool even = isEven(offset);
        switch (grid) {
            case Grid::kSame: m_along.add(tap, m_even.pixels() + offset); break;
            case Grid::kHalved: m_along.add(tap, (even ? m_even : m_odd).pixels() + floorHalf(offset)); break;
            // From an odd column the pixels lie at odd offsets. The zeros left out count across the lines.
            case Grid::kDoubled:
                if (even)
                    m_along.add(tap, m_even.pixels() + offset / 2);
                else
                    m_alongOdd.add(tap, m_even.pixels() + floorHalf(offset + 1));
        }
        m_filteredZero += tap * 0.0f;
        ++offset;
    }
}

template <class T>
void FilteredRows::load(int row) noexcept {
    const T* in = m_source.ptr<T>(row);
    if (m_grid == Grid::kHalved)
        splitRow(in, m_even.pixels(), m_odd.pixels(), m_source.cols);
    else
        loadRow(in, m_even.pixels(), m_source.cols);
}

void FilteredRows::filterAlong(int row, float* out) noexcept {
    switch (m_source.depth()) {
        case CV_8U: load<uchar>(row); break;
        case CV_16U: load<ushort>(row); break;
        case CV_16S: load<short>(row); break;
        default: load<float>(row);
    }
    if (m_grid == Grid::kDoubled) {
        m_along.into(out, m_source.cols);
        m_alongOdd.into(out + m_source.cols, m_source.cols);
    } else {
        m_along.into(out, m_width);
    }
}

const float* FilteredRows::filteredLine(int row) noexcept {
    float* line = m_filtered.data() + static_cast<std::size_t>(row) % m_taps.size() * static_cast<std::size_t>(m_width);
    if (row >= m_next) {
        filterAlong(row, line);
        m_next = row + 1;
    }
    return line;
}

void FilteredRows::make(int y, float* out) noexcept {
    m_across.clear();
    int position = (m_grid == Grid::kHalved ? 2 * y : y) - m_anchor;
    for (float tap : m_taps) {
        const bool between = m_grid == Grid::kDoubled && !isEven(position);
        const int row = m_grid == Grid::kDoubled ? position / 2 : position;
        if (between || row < 0 || row >= m_source.rows)
            m_across.addZeros(tap * m_filteredZero);
        else
            m_across.add(tap, filteredLine(row));
        ++position;
    }
    m_across.into(out, m_width);
}

}  // namespace kestrova::filters
