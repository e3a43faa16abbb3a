#include "kestrova/resample/resample.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cstdint>
#include <memory>

#include "kestrova/frame/failure.h"
#include "kestrova/primitives/memory.h"
#include "kestrova/primitives/resize.h"
#include "kestrova/rows/pyramid_rows.h"

using namespace kestrova::frame;
using namespace kestrova::rows;

namespace {

bool allocatedLike(const cv::Mat& in, const cv::Mat& out) {
    return out.data != nullptr && !out.empty() && out.type() == in.type();
}

struct ResizeFailures {
    const char* memory;
    const char* type;
};

template <class T, class Resize>
void resizePlane(const cv::Mat& in, cv::Mat& out, double factor, double shift, int interp, uchar* scratch,
                 const Resize& resize) {
    resize(in.ptr<T>(), {in.cols, in.rows}, static_cast<int>(in.step), {0, 0, in.cols, in.rows}, out.ptr<T>(),
           static_cast<int>(out.step), {0, 0, out.cols, out.rows}, factor, factor, shift, shift, interp, scratch);
}

void resizeBy(const cv::Mat& in, cv::Mat& out, double factor, double shift, int interp, int scratchMargin,
              const ResizeFailures& failures) {
    int scratchSize = 0;
    ippiResizeGetBufSize({0, 0, in.cols, in.rows}, {0, 0, out.cols, out.rows}, 1, interp, &scratchSize);
    const std::unique_ptr<uchar, void (*)(void*)> scratch(ippsMalloc_8u(scratchSize + scratchMargin), ippsFree);
    if (!scratch) fail(failures.memory);
    switch (in.type()) {
        case CV_8UC1:
            resizePlane<uchar>(in, out, factor, shift, interp, scratch.get(), ippiResizeSqrPixel_8u_C1R);
            break;
        case CV_16UC1:
            resizePlane<ushort>(in, out, factor, shift, interp, scratch.get(), ippiResizeSqrPixel_16u_C1R);
            break;
        case CV_32FC1:
            resizePlane<float>(in, out, factor, shift, interp, scratch.get(), ippiResizeSqrPixel_32f_C1R);
            break;
        default: fail(failures.type);
    }
}

// The columns right of, and the rows below, what the factor fills of `out`.
void extendBeyond(cv::Mat& out, std::int64_t filledCols, std::int64_t filledRows) {
    const auto beyond = [](int size, std::int64_t filled) {
        return static_cast<int>(std::max<std::int64_t>(size - filled, 0));
    };
    extendBorder(out, 0, 0, beyond(out.cols, filledCols), beyond(out.rows, filledRows));
}

constexpr int kReducingMargin = 1024;

}  // namespace

void downSize2X(const cv::Mat& in, cv::Mat& outHalf, int interp) {
    if (!allocatedLike(in, outHalf)) fail("ERROR - downSize2X - outHalf must be allocated!");
    if (interp == kPyramidStep)
        cv::pyrDown(in, outHalf, outHalf.size(), cv::BORDER_REFLECT_101);
    else
        resizeBy(in, outHalf, 0.5, 0.25, interp, kReducingMargin,
                 {"ERROR - down2X - ippsMalloc_8u(pBufferSize)", "ERROR - down2X - type"});
    extendBeyond(outHalf, in.cols / 2, in.rows / 2);
}

void upSize2X(const cv::Mat& in, cv::Mat& out2X, int interp) {
    if (!allocatedLike(in, out2X)) failTraced("upSize2X", 103, "out2X is not allocated");
    if (interp == kPyramidStep && PyramidRows::fit(in, out2X))
        PyramidRows::enlarge(in, out2X);
    else if (interp == kPyramidStep)
        cv::pyrUp(in, out2X, out2X.size(), cv::BORDER_REFLECT_101);
    else
        resizeBy(in, out2X, 2.0, -0.5, interp, 0, {"ERROR - up2X - ippsMalloc_8u(pBufferSize)", "ERROR - up2X - type"});
    extendBeyond(out2X, std::int64_t{2} * in.cols, std::int64_t{2} * in.rows);
}

void downSizeNX(const cv::Mat& in, cv::Mat& out, int n, int interp) {
    if (!allocatedLike(in, out)) fail("downSizeNX - out is not allocated");
    if (n == 1) in.copyTo(out);
    if (n <= 1) return;
    resizeBy(in, out, 1.0 / n, (1.0 / n) * 0.5, interp, kReducingMargin,
             {"ERROR - downSizeNX - ippsMalloc_8u(pBufferSize)", "ERROR - downSizeNX - type"});
    extendBeyond(out, in.cols / n, in.rows / n);
}

void upSizeNX(const cv::Mat& in, cv::Mat& outNX, int n, int interp) {
    if (!allocatedLike(in, outNX)) fail("ERROR - upSizeNX - outNX is not allocated");
    if (n == 1) in.copyTo(outNX);
    if (n <= 1) return;
    resizeBy(in, outNX, n, -1.0 / n, interp, 0, {"ERROR - upNX - ippsMalloc_8u(pBufferSize)", "ERROR - upNX - type"});
    extendBeyond(outNX, std::int64_t{n} * in.cols, std::int64_t{n} * in.rows);
}

void extendBorder(cv::Mat& m, int left, int top, int right, int bottom) {
    // A margin as wide as the plane has no inner column or row to take.
    if (left < m.cols)
        for (int i = 0; i < left; ++i) m.col(left).copyTo(m.col(i));
    if (right < m.cols)
        for (int i = 0; i < right; ++i) m.col(m.cols - right - 1).copyTo(m.col(m.cols - right + i));
    if (top < m.rows)
        for (int i = 0; i < top; ++i) m.row(top).copyTo(m.row(i));
    // Bounded by `top`, not by `bottom`: what the resizes leave in their additional rows stays, and results hang on it.
    if (bottom > 0 && bottom < m.rows)
        for (int i = 0; i < std::min(top, bottom); ++i) m.row(m.rows - bottom - 1).copyTo(m.row(m.rows - bottom + i));
}
