#include "photo/reduced.h"

#include <algorithm>
#include <cmath>

#include "photo/kernel.h"

namespace kestrova::photo {

namespace {

int floorDivided(int v, int n) { return v >= 0 ? v / n : -((-v + n - 1) / n); }

template <class Value>
KESTROVA_PHOTO_KERNEL void mixRows(const Value* upper, const Value* lower, float share, float* out, int n) noexcept {
    for (int i = 0; i < n; ++i) {
        const auto a = static_cast<float>(upper[i]);
        out[i] = a + share * (static_cast<float>(lower[i]) - a);
    }
}

KESTROVA_PHOTO_KERNEL void expandBy2(const float* cells, float* out, int pairs) noexcept {
    for (int i = 0; i < pairs; ++i) {
        const float c = cells[i], d = cells[i + 1] - c;
        out[2 * i] = c + d * 0.25f;
        out[2 * i + 1] = c + d * 0.75f;
    }
}

template <class Value>
void reduceCells(const cv::Mat& plane, cv::Point origin, int n, float scale, cv::Mat& into) {
    const int cellCols = (plane.cols + n - 1) / n, cellRows = (plane.rows + n - 1) / n;
    const int firstCol = origin.x / n, firstRow = origin.y / n;
    std::vector<float> sums(static_cast<std::size_t>(cellCols));
    for (int cy = 0; cy < cellRows; ++cy) {
        const int end = std::min(plane.rows, (cy + 1) * n);
        std::fill(sums.begin(), sums.end(), 0.0f);
        for (int y = cy * n; y < end; ++y) {
            const auto* in = plane.ptr<Value>(y);
            const int whole = plane.cols / n;
            for (int cx = 0; cx < whole; ++cx) {
                float sum = 0;
                for (int k = 0; k < n; ++k) sum += static_cast<float>(in[cx * n + k]);
                sums[cx] += sum;
            }
            for (int x = whole * n; x < plane.cols; ++x) sums[whole] += static_cast<float>(in[x]);
        }
        auto* out = into.ptr<float>(firstRow + cy) + firstCol;
        for (int cx = 0; cx < cellCols; ++cx) {
            const int pixels = (std::min(plane.cols, (cx + 1) * n) - cx * n) * (end - cy * n);
            out[cx] = sums[cx] * (scale / static_cast<float>(pixels));
        }
    }
}

}  // namespace

ReducedReader::ReducedReader(const Reduced& reduced, int x, int width)
    : m_reduced(reduced), m_x(x), m_width(width), m_firstCell(floorDivided(x - reduced.n / 2, reduced.n)) {
    const int lastCell = floorDivided(x + width - 1 - reduced.n / 2, reduced.n) + 1;
    m_cells.resize(static_cast<std::size_t>(lastCell - m_firstCell + 1));
    m_fractions.resize(static_cast<std::size_t>(reduced.n));
    for (int k = 0; k < reduced.n; ++k)
        m_fractions[k] = reduced.n == 1 ? 0 : (static_cast<float>(k) + 0.5f) / static_cast<float>(reduced.n);
    m_row.resize(static_cast<std::size_t>(width));
}

const float* ReducedReader::row(int y) {
    const cv::Mat& plane = m_reduced.plane;
    const int n = m_reduced.n;
    const int upperCell = floorDivided(y - n / 2, n);
    const float share = m_fractions[y - n / 2 - upperCell * n];
    const int upper = std::clamp(upperCell, 0, plane.rows - 1), lower = std::clamp(upperCell + 1, 0, plane.rows - 1);

    // Cells beyond the plane repeat its first and last one.
    const int count = static_cast<int>(m_cells.size());
    const int first = std::clamp(-m_firstCell, 0, count - 1);
    const int end = std::clamp(plane.cols - m_firstCell, first + 1, count);
    const int from = m_firstCell + first;
    if (plane.type() == CV_8UC1)
        mixRows(plane.ptr<uchar>(upper) + from, plane.ptr<uchar>(lower) + from, share, &m_cells[first], end - first);
    else
        mixRows(plane.ptr<float>(upper) + from, plane.ptr<float>(lower) + from, share, &m_cells[first], end - first);
    std::fill(m_cells.begin(), m_cells.begin() + first, m_cells[first]);
    std::fill(m_cells.begin() + end, m_cells.end(), m_cells[end - 1]);

    int x = 0;
    for (int cell = 0; x < m_width; ++cell) {
        int k = cell == 0 ? m_x - n / 2 - m_firstCell * n : 0;
        if (n == 2 && k == 0) {
            const int pairs = (m_width - x) / 2;
            expandBy2(&m_cells[cell], &m_row[x], pairs);
            x += 2 * pairs;
            cell += pairs;
            if (x == m_width) break;
        }
        const float c = m_cells[cell], d = m_cells[cell + 1] - c;
        const int stop = std::min(m_width, x + n - k);
        for (; x < stop; ++x, ++k) m_row[x] = c + d * m_fractions[k];
    }
    return m_row.data();
}

void reduceInto(const cv::Mat& plane, cv::Point origin, int n, cv::Mat& into) {
    reduceCells<ushort>(plane, origin, n, 1.0f / 65535, into);
}

void reduceFloatsInto(const cv::Mat& plane, cv::Point origin, int n, cv::Mat& into) {
    reduceCells<float>(plane, origin, n, 1, into);
}

}  // namespace kestrova::photo
