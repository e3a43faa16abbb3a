#include "kestrova/filters/conv_pyr.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cstddef>
#include <initializer_list>
#include <vector>

#include "kestrova/filters/conv_pyr_rows.h"
#include "kestrova/frame/failure.h"
#include "kestrova/frame/overlap.h"
#include "kestrova/frame/parallel.h"

using namespace kestrova::filters;
using namespace kestrova::frame;

namespace {

// OpenCV refuses a depth or a kernel on a single pixel just as on a plane.
void letOpenCVRefuse(const cv::Mat& plane, const cv::Mat& kernel) {
    const cv::Mat pixel = plane.empty() ? plane : plane(cv::Rect(0, 0, 1, 1)).clone();
    cv::Mat filtered;
    cv::sepFilter2D(pixel, filtered, CV_32F, kernel, kernel, {-1, -1}, 0, cv::BORDER_CONSTANT);
}

std::vector<float> tapsOf(const cv::Mat& kernel) {
    cv::Mat taps;
    kernel.convertTo(taps, CV_32F);
    return {taps.begin<float>(), taps.end<float>()};
}

cv::Size halfSize(const cv::Mat& plane) { return {plane.cols / 2 + plane.cols % 2, plane.rows / 2 + plane.rows % 2}; }

/// The plane `dst`, made `CV_32FC1` of `size`; one apart where it lies over a plane that is still to be read.
cv::Mat writable(cv::Mat& dst, cv::Size size, std::initializer_list<cv::Mat> sources) {
    dst.create(size, CV_32FC1);
    const bool apart = std::any_of(sources.begin(), sources.end(), [&](const cv::Mat& m) { return overlap(m, dst); });
    return apart ? cv::Mat(size, CV_32FC1) : dst;
}

std::vector<FilteredRows> filteredRows(int strips, const cv::Mat& source, const cv::Mat& kernel, Grid grid) {
    std::vector<FilteredRows> rows;
    rows.reserve(static_cast<std::size_t>(strips));
    for (int i = 0; i < strips; ++i) rows.emplace_back(source, tapsOf(kernel), grid);
    return rows;
}

void filterPlane(const cv::Mat& source, const cv::Mat& kernel, Grid grid, cv::Mat& dst) {
    const int strips = stripCount(dst.rows, dst.cols);
    std::vector<FilteredRows> filtered = filteredRows(strips, source, kernel, grid);
    parallelStrips(strips, dst.rows, [&](int first, int end, int strip) noexcept {
        FilteredRows& rows = filtered[static_cast<std::size_t>(strip)];
        for (int y = first; y < end; ++y) rows.make(y, dst.ptr<float>(y));
    });
}

}  // namespace

ConvPyr::ConvPyr(const cv::Mat& k1, const cv::Mat& k2, const cv::Mat& k3) : m_k1(k1), m_k2(k2), m_k3(k3) {}
ConvPyr::ConvPyr(const ConvPyr&) = default;
ConvPyr& ConvPyr::operator=(const ConvPyr&) = default;

bool ConvPyr::proc(const cv::Mat& in, cv::Mat& out) {
    std::size_t coarsest = 0;
    for (int side = std::max(in.rows, in.cols); side >= 2; side /= 2) ++coarsest;
    if (coarsest > 0) {
        letOpenCVRefuse(in, m_k1);
        letOpenCVRefuse(in, m_k2);
    }
    letOpenCVRefuse(in, m_k3);
    if (in.channels() != 1) fail("ERROR - ConvPyr::proc - in.channels() != 1");

    std::vector<cv::Mat> down(coarsest + 1), up(coarsest + 1);
    down[0] = in;
    up[0] = writable(out, in.size(), {in});
    // The largest plane of the way down lies where the result comes last: touching a new one took a third of the time.
    if (coarsest > 0) down[1] = up[0](cv::Rect({}, halfSize(down[0])));
    for (std::size_t l = 1; l <= coarsest; ++l) pyrDown(down[l - 1], down[l]);
    up[coarsest].create(down[coarsest].size(), CV_32FC1);
    filterPlane(down[coarsest], m_k3, Grid::kSame, up[coarsest]);
    for (std::size_t l = coarsest; l > 0; --l) pyrUp(up[l], down[l - 1], up[l - 1]);
    up[0].copyTo(out);
    return true;
}

bool ConvPyr::pyrDown(const cv::Mat& src, cv::Mat& dst) {
    letOpenCVRefuse(src, m_k1);
    if (src.channels() != 1) fail("ERROR - ConvPyr::pyrDown - src.channels() != 1");
    const cv::Mat source = src;  // `dst` may be the very object
    cv::Mat half = writable(dst, halfSize(source), {source});
    filterPlane(source, m_k1, Grid::kHalved, half);
    half.copyTo(dst);
    ++m_level;
    return true;
}

bool ConvPyr::pyrUp(const cv::Mat& low, const cv::Mat& src, cv::Mat& dst) {
    letOpenCVRefuse(src, m_k2);
    letOpenCVRefuse(src, m_k3);
    if (src.channels() != 1) fail("ERROR - ConvPyr::pyrUp - src.channels() != 1");
    if (low.type() != CV_32FC1 || low.size() != halfSize(src))
        fail("ERROR - ConvPyr::pyrUp - low is not CV_32FC1 of half the size of src");
    const cv::Mat coarse = low, source = src;  // `dst` may be one of the very objects
    cv::Mat sum = writable(dst, source.size(), {coarse, source});
    const int strips = stripCount(sum.rows, sum.cols);
    std::vector<FilteredRows> own = filteredRows(strips, source, m_k3, Grid::kSame);
    std::vector<FilteredRows> enlarged = filteredRows(strips, coarse, m_k2, Grid::kDoubled);
    cv::Mat enlargedRow(strips, 2 * coarse.cols, CV_32FC1);
    parallelStrips(strips, sum.rows, [&](int first, int end, int strip) noexcept {
        const auto i = static_cast<std::size_t>(strip);
        float* even = enlargedRow.ptr<float>(strip);
        for (int y = first; y < end; ++y) {
            own[i].make(y, sum.ptr<float>(y));
            enlarged[i].make(y, even);
            addInterleavedRow(even, even + coarse.cols, sum.ptr<float>(y), sum.cols);
        }
    });
    sum.copyTo(dst);
    --m_level;
    return true;
}
