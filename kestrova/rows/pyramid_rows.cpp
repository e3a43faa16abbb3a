#include "kestrova/rows/pyramid_rows.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>

#include "kestrova/frame/failure.h"
#include "kestrova/frame/kernel.h"
#include "kestrova/frame/parallel.h"

namespace kestrova::rows {

using namespace frame;

namespace {

// Columns 2x and 2x + 1; sums[-1] and sums[n] exist.
KESTROVA_KERNEL void enlargeColumns(const int* __restrict sums, ushort* __restrict out, int n) noexcept {
    for (int x = 0; x < n; ++x) {
        out[2 * x] = static_cast<ushort>((sums[x - 1] + 6 * sums[x] + sums[x + 1] + 32) >> 6);
        out[2 * x + 1] = static_cast<ushort>((sums[x] + sums[x + 1] + 8) >> 4);
    }
}

bool isStep(int from, int to) { return std::abs(to - 2 * from) == to % 2; }

}  // namespace

KESTROVA_KERNEL void sumEvenRow(const ushort* __restrict above, const ushort* __restrict centre,
                                const ushort* __restrict below, int* __restrict sums, int n) noexcept {
    for (int x = 0; x < n; ++x) sums[x] = above[x] + 6 * centre[x] + below[x];
}

KESTROVA_KERNEL void sumOddRow(const ushort* __restrict above, const ushort* __restrict below, int* __restrict sums,
                               int n) noexcept {
    for (int x = 0; x < n; ++x) sums[x] = 4 * (above[x] + below[x]);
}

cv::Mat lastOddRow(const cv::Mat& in, cv::Size out) {
    constexpr int kAtOnce = 4;
    const int nearest = std::min(in.rows, 2);
    cv::Mat tail(2 * nearest, out.width, in.type());
    cv::pyrUp(in.rowRange(in.rows - nearest, in.rows), tail, tail.size(), cv::BORDER_REFLECT_101);
    cv::Mat even = tail.row(tail.rows - 2);
    if (out.height < 2 * in.rows) {
        const std::size_t elements = static_cast<std::size_t>(out.width) * static_cast<std::size_t>(in.channels());
        std::memcpy(even.data, tail.ptr(tail.rows - 1), elements / kAtOnce * kAtOnce * in.elemSize1());
    }
    if (out.width > 2 * in.cols) even.col(out.width - 2).copyTo(even.col(out.width - 1));
    return even;
}

bool PyramidRows::fit(const cv::Mat& in, const cv::Mat& out) {
    return in.type() == CV_16UC1 && out.type() == CV_16UC1 && !in.empty() && isStep(in.cols, out.cols) &&
           isStep(in.rows, out.rows);
}

void PyramidRows::check(const cv::Mat& in, const cv::Mat& out) {
    if (out.empty() || in.type() != out.type()) failTraced("upSize2X", 103, "out2X is not allocated");
    CV_Assert(fit(in, out));
}

void PyramidRows::enlarge(const cv::Mat& in, cv::Mat& out) {
    PyramidRows rows(in, out.size());
    forEachStrip(
        Strips(out.rows, out.cols), [&] { return rows; },
        [&](int first, int end, PyramidRows& own) noexcept {
            for (int y = first; y < end; ++y) own.compute(y, out.ptr<ushort>(y));
        });
}

PyramidRows::PyramidRows(const cv::Mat& in, cv::Size out)
    : m_in(in),
      m_lastRow(out.height % 2 == 1 ? lastOddRow(in, out) : cv::Mat()),
      m_out(out),
      m_column(static_cast<std::size_t>(in.cols) + 2) {}

void PyramidRows::compute(int y, ushort* out) noexcept {
    const int w = m_in.cols, last = m_in.rows - 1;
    if (y == m_out.height - 1 && !m_lastRow.empty()) {
        std::copy_n(m_lastRow.ptr<ushort>(), m_out.width, out);
        return;
    }
    const int k = y / 2;
    int* const sums = m_column.data() + 1;
    const ushort* const centre = m_in.ptr<ushort>(k);
    const ushort* const below = m_in.ptr<ushort>(std::min(k + 1, last));
    if (y == 2 * k)
        sumEvenRow(m_in.ptr<ushort>(k > 0 ? k - 1 : std::min(1, last)), centre, below, sums, w);
    else
        sumOddRow(centre, below, sums, w);
    sums[-1] = sums[std::min(1, w - 1)];
    sums[w] = sums[w - 1];

    const int pairs = m_out.width / 2;
    enlargeColumns(sums, out, std::min(w, pairs));
    if (m_out.width % 2 == 0) return;
    // Half a pair, or an additional column, which repeats the one before.
    const int x = m_out.width - 1;
    out[x] = w > pairs ? static_cast<ushort>((sums[w - 2] + 6 * sums[w - 1] + sums[w] + 32) >> 6) : out[x - 1];
}

}  // namespace kestrova::rows
