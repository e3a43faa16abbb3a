#include "kestrova/resample/resample.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <memory>

#include "kestrova/frame/failure.h"
#include "kestrova/frame/memory_failure.h"
#include "kestrova/frame/overlap.h"
#include "kestrova/frame/plane_checks.h"
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
IppStatus resizePlane(const cv::Mat& in, cv::Mat& out, double factor, double shift, int interp, uchar* scratch,
                      const Resize& resize) {
    return resize(in.ptr<T>(), {in.cols, in.rows}, stepOf(in), {0, 0, in.cols, in.rows}, out.ptr<T>(), stepOf(out),
                  {0, 0, out.cols, out.rows}, factor, factor, shift, shift, interp, scratch);
}

IppStatus resizeByType(const cv::Mat& in, cv::Mat& out, double factor, double shift, int interp, uchar* scratch,
                       const char* typeFailure) {
    switch (in.type()) {
        case CV_8UC1: return resizePlane<uchar>(in, out, factor, shift, interp, scratch, ippiResizeSqrPixel_8u_C1R);
        case CV_16UC1: return resizePlane<ushort>(in, out, factor, shift, interp, scratch, ippiResizeSqrPixel_16u_C1R);
        case CV_32FC1: return resizePlane<float>(in, out, factor, shift, interp, scratch, ippiResizeSqrPixel_32f_C1R);
        default: fail(typeFailure);
    }
}

void resizeBy(const cv::Mat& in, cv::Mat& out, double factor, double shift, int interp, int scratchMargin,
              const ResizeFailures& failures) {
    int scratchSize = 0;
    ippiResizeGetBufSize({0, 0, in.cols, in.rows}, {0, 0, out.cols, out.rows}, 1, interp, &scratchSize);
    const std::unique_ptr<uchar, void (*)(void*)> scratch(ippsMalloc_8u(scratchSize + scratchMargin), ippsFree);
    if (!scratch) fail(failures.memory);
    // Any other status, that of an unknown code for one, leaves the output unwritten without a message.
    if (resizeByType(in, out, factor, shift, interp, scratch.get(), failures.type) == ippStsNoMemErr)
        fail(failures.memory);
}

void fillMargins(cv::Mat& m, int left, int top, int right, int bottom) {
    for (int i = 0; i < left; ++i) m.col(left).copyTo(m.col(i));
    for (int i = 0; i < right; ++i) m.col(m.cols - right - 1).copyTo(m.col(m.cols - right + i));
    for (int i = 0; i < top; ++i) m.row(top).copyTo(m.row(i));
    // Bounded by `top`, not by `bottom`: intentional, since the resizes rely on their additional rows staying.
    for (int i = 0; i < std::min(top, bottom); ++i) m.row(m.rows - bottom - 1).copyTo(m.row(m.rows - bottom + i));
}

// The columns right of what the factor fills of `out`; a plane of which it fills none stays as it is.
void extendBeyond(cv::Mat& out, std::int64_t filledCols) {
    if (filledCols > 0 && filledCols < out.cols) fillMargins(out, 0, 0, static_cast<int>(out.cols - filledCols), 0);
}

constexpr int kReducingMargin = 1024;

void pyramidStepUp(const cv::Mat& in, cv::Mat& out) {
    if (PyramidRows::fit(in, out)) return PyramidRows::enlarge(in, out);
    const bool ownLastRow = out.rows % 2 == 1 && in.depth() <= CV_16S && std::abs(out.rows - 2 * in.rows) == 1;
    const cv::Mat lastRow = ownLastRow ? lastOddRow(in, out.size()) : cv::Mat();
    cv::pyrUp(in, out, out.size(), cv::BORDER_REFLECT_101);
    if (ownLastRow) lastRow.copyTo(out.row(out.rows - 1));
}

}  // namespace

void downSize2X(const cv::Mat& in, cv::Mat& outHalf, int interp) {
    const ResizeFailures failures = {"ERROR - down2X - ippsMalloc_8u(pBufferSize)", "ERROR - down2X - type"};
    if (!allocatedLike(in, outHalf)) fail("ERROR - downSize2X - outHalf must be allocated!");
    checkPlanes(in, outHalf);
    if (in.empty()) fail("ERROR - downSize2X - in.empty()");
    orFailWithoutMemory(failures.memory, [&] {
        if (interp == kPyramidStep)
            cv::pyrDown(in, outHalf, outHalf.size(), cv::BORDER_REFLECT_101);
        else
            resizeBy(in, outHalf, 0.5, 0.25, interp, kReducingMargin, failures);
        extendBeyond(outHalf, in.cols / 2);
    });
}

void upSize2X(const cv::Mat& in, cv::Mat& out2X, int interp) {
    const ResizeFailures failures = {"ERROR - up2X - ippsMalloc_8u(pBufferSize)", "ERROR - up2X - type"};
    if (!allocatedLike(in, out2X)) failTraced("upSize2X", 103, "out2X is not allocated");
    checkPlanes(in, out2X);
    if (in.empty()) fail("ERROR - upSize2X - in.empty()");
    orFailWithoutMemory(failures.memory, [&] {
        if (interp == kPyramidStep)
            pyramidStepUp(in, out2X);
        else
            resizeBy(in, out2X, 2.0, -0.5, interp, 0, failures);
        extendBeyond(out2X, std::int64_t{2} * in.cols);
    });
}

void downSizeNX(const cv::Mat& in, cv::Mat& out, int n, int interp) {
    const ResizeFailures failures = {"ERROR - downSizeNX - ippsMalloc_8u(pBufferSize)", "ERROR - downSizeNX - type"};
    if (!allocatedLike(in, out)) fail("downSizeNX - out is not allocated");
    if (n < 1) return;
    checkPlanes(in, out);
    if (n > 1 && in.empty()) fail("ERROR - downSizeNX - in.empty()");
    orFailWithoutMemory(failures.memory, [&] {
        if (n == 1) return assignCopy(in, out);
        resizeBy(in, out, 1.0 / n, (1.0 / n) * 0.5, interp, kReducingMargin, failures);
        extendBeyond(out, in.cols / n);
    });
}

void upSizeNX(const cv::Mat& in, cv::Mat& outNX, int n, int interp) {
    const ResizeFailures failures = {"ERROR - upNX - ippsMalloc_8u(pBufferSize)", "ERROR - upNX - type"};
    if (!allocatedLike(in, outNX)) fail("ERROR - upSizeNX - outNX is not allocated");
    if (n < 1) return;
    checkPlanes(in, outNX);
    if (n > 1 && in.empty()) fail("ERROR - upSizeNX - in.empty()");
    orFailWithoutMemory(failures.memory, [&] {
        if (n == 1) return assignCopy(in, outNX);
        resizeBy(in, outNX, n, -1.0 / n, interp, 0, failures);
        extendBeyond(outNX, std::int64_t{n} * in.cols);
    });
}

void extendBorder(cv::Mat& m, int left, int top, int right, int bottom) {
    checkPlane(m);
    if (left > 0 && left >= m.cols) fail("ERROR - extendBorder - left>=m.cols");
    if (right > 0 && right >= m.cols) fail("ERROR - extendBorder - right>=m.cols");
    if (top > 0 && top >= m.rows) fail("ERROR - extendBorder - top>=m.rows");
    if (bottom > 0 && top > 0 && bottom >= m.rows) fail("ERROR - extendBorder - bottom>=m.rows");
    fillMargins(m, left, top, right, bottom);
}
