#include "kestrova/filters/conv_pyr.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <climits>
#include <cstddef>
#include <vector>

#include "kestrova/filters/conv_pyr_rows.h"
#include "kestrova/frame/failure.h"
#include "kestrova/frame/memory_failure.h"
#include "kestrova/frame/overlap.h"
#include "kestrova/frame/parallel.h"
#include "kestrova/frame/plane_checks.h"

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
    checkElements(kernel);
    cv::Mat taps;
    kernel.convertTo(taps, CV_32F);
    return {taps.begin<float>(), taps.end<float>()};
}

cv::Size halfSize(const cv::Mat& plane) { return {plane.cols / 2 + plane.cols % 2, plane.rows / 2 + plane.rows % 2}; }

void checkWidth(const cv::Mat& plane, const char* failure) {
    constexpr int kMostFloats = INT_MAX / int(sizeof(float));
    if (plane.cols > kMostFloats) fail(failure);
}

// Of the passes, only the constructors allocate.

/// A plane filtered into another one.
class FilterPass {
public:
    FilterPass(const cv::Mat& source, const cv::Mat& kernel, Grid grid, const cv::Mat& dst)
        : m_dst(dst), m_strips(Strips::onePerThread(dst.rows, workOf(dst.cols, 8))) {
        const std::vector<float> taps = tapsOf(kernel);
        m_rows.reserve(static_cast<std::size_t>(m_strips.count()));
        for (int s = 0; s < m_strips.count(); ++s) m_rows.emplace_back(source, taps, grid);
    }

    FilterPass(const FilterPass&) = delete;
    FilterPass(FilterPass&&) = default;

    void run() noexcept {
        forEachStripWith(m_strips, m_rows, [&](int first, int end, FilteredRows& rows) noexcept {
            for (int y = first; y < end; ++y) rows.make(y, m_dst.ptr<float>(y));
        });
    }

private:
    cv::Mat m_dst;
    Strips m_strips;
    std::vector<FilteredRows> m_rows;  ///< one a strip
};

/// The sum of a plane filtered with `k3`, and of one of half the size enlarged by zeros and filtered with `k2`.
class SynthesisPass {
public:
    SynthesisPass(const cv::Mat& low, const cv::Mat& k2, const cv::Mat& src, const cv::Mat& k3, const cv::Mat& dst)
        : m_dst(dst), m_strips(Strips::onePerThread(dst.rows, workOf(dst.cols, 8))), m_halfCols(low.cols) {
        const std::vector<float> lowTaps = tapsOf(k2), ownTaps = tapsOf(k3);
        m_rows.reserve(static_cast<std::size_t>(m_strips.count()));
        for (int s = 0; s < m_strips.count(); ++s)
            m_rows.push_back({{src, ownTaps, Grid::kSame},
                              {low, lowTaps, Grid::kDoubled},
                              std::vector<float>(2 * static_cast<std::size_t>(m_halfCols))});
    }

    SynthesisPass(const SynthesisPass&) = delete;
    SynthesisPass(SynthesisPass&&) = default;

    void run() noexcept {
        forEachStripWith(m_strips, m_rows, [&](int first, int end, Rows& rows) noexcept {
            for (int y = first; y < end; ++y) {
                float* const sum = m_dst.ptr<float>(y);
                float* const even = rows.enlargedRow.data();
                rows.own.make(y, sum);
                rows.enlarged.make(y, even);
                addInterleavedRow(even, even + m_halfCols, sum, m_dst.cols);
            }
        });
    }

private:
    struct Rows {
        FilteredRows own, enlarged;
        std::vector<float> enlargedRow;  ///< the even columns, then the odd ones
    };

    cv::Mat m_dst;
    Strips m_strips;
    int m_halfCols;
    std::vector<Rows> m_rows;  ///< one a strip
};

}  // namespace

ConvPyr::ConvPyr(const cv::Mat& k1, const cv::Mat& k2, const cv::Mat& k3) : m_k1(k1), m_k2(k2), m_k3(k3) {}
ConvPyr::ConvPyr(const ConvPyr&) = default;
ConvPyr& ConvPyr::operator=(const ConvPyr&) = default;

bool ConvPyr::proc(const cv::Mat& in, cv::Mat& out) {
    checkPlane(in);
    checkWidth(in, "ERROR - ConvPyr::proc - in.cols>INT_MAX/4");
    orFailWithoutMemory("ERROR - ConvPyr::proc - not enough memory", [&] {
        std::size_t coarsest = 0;
        for (int side = std::max(in.rows, in.cols); side >= 2; side /= 2) ++coarsest;
        if (coarsest > 0) {
            letOpenCVRefuse(in, m_k1);
            letOpenCVRefuse(in, m_k2);
        }
        letOpenCVRefuse(in, m_k3);
        if (in.channels() != 1) fail("ERROR - ConvPyr::proc - in.channels() != 1");

        ApartOutput output(out, in.size(), CV_32FC1, {in});
        std::vector<cv::Mat> down(coarsest + 1), up(coarsest + 1);
        down[0] = in;
        up[0] = output.filled;
        // The largest plane of the way down lies where the result comes last: touching a new one took a third of the
        // time.
        if (coarsest > 0) down[1] = up[0](cv::Rect({}, halfSize(in)));
        for (std::size_t l = 2; l <= coarsest; ++l) down[l].create(halfSize(down[l - 1]), CV_32FC1);
        for (std::size_t l = 1; l <= coarsest; ++l) up[l].create(down[l].size(), CV_32FC1);

        std::vector<FilterPass> analysis;
        std::vector<SynthesisPass> synthesis;
        analysis.reserve(coarsest);
        synthesis.reserve(coarsest);
        for (std::size_t l = 1; l <= coarsest; ++l) analysis.emplace_back(down[l - 1], m_k1, Grid::kHalved, down[l]);
        FilterPass ofCoarsest(down[coarsest], m_k3, Grid::kSame, up[coarsest]);
        for (std::size_t l = coarsest; l > 0; --l) synthesis.emplace_back(up[l], m_k2, down[l - 1], m_k3, up[l - 1]);

        for (FilterPass& pass : analysis) pass.run();
        ofCoarsest.run();
        for (SynthesisPass& pass : synthesis) pass.run();
        output.assignTo(out);
    });
    return true;
}

bool ConvPyr::pyrDown(const cv::Mat& src, cv::Mat& dst) {
    checkPlane(src);
    checkWidth(src, "ERROR - ConvPyr::pyrDown - src.cols>INT_MAX/4");
    orFailWithoutMemory("ERROR - ConvPyr::pyrDown - not enough memory", [&] {
        letOpenCVRefuse(src, m_k1);
        if (src.channels() != 1) fail("ERROR - ConvPyr::pyrDown - src.channels() != 1");
        ApartOutput output(dst, halfSize(src), CV_32FC1, {src});
        FilterPass(src, m_k1, Grid::kHalved, output.filled).run();
        output.assignTo(dst);
    });
    ++m_level;
    return true;
}

bool ConvPyr::pyrUp(const cv::Mat& low, const cv::Mat& src, cv::Mat& dst) {
    checkPlanes(low, src);
    checkWidth(src, "ERROR - ConvPyr::pyrUp - src.cols>INT_MAX/4");
    orFailWithoutMemory("ERROR - ConvPyr::pyrUp - not enough memory", [&] {
        letOpenCVRefuse(src, m_k2);
        letOpenCVRefuse(src, m_k3);
        if (src.channels() != 1) fail("ERROR - ConvPyr::pyrUp - src.channels() != 1");
        if (low.type() != CV_32FC1 || low.size() != halfSize(src))
            fail("ERROR - ConvPyr::pyrUp - low is not CV_32FC1 of half the size of src");
        ApartOutput output(dst, src.size(), CV_32FC1, {low, src});
        SynthesisPass(low, m_k2, src, m_k3, output.filled).run();
        output.assignTo(dst);
    });
    --m_level;
    return true;
}
