#include <opencv2/imgproc.hpp>

#include "kestrova/filters/free_filters.h"
#include "kestrova/frame/failure.h"
#include "kestrova/frame/tprogress.h"
#include "kestrova/image/timage.h"
#include "kestrova/rows/box_mirrored.h"

using namespace kestrova::frame;
using namespace kestrova::rows;

namespace {

constexpr float kPer54 = 0x1.2f684cp-6f;

/// The copy that the passes work on.
struct Reduction {
    int factor;
    cv::Size size;
    int radius;

    Reduction(const TSize& whole, int wholeRadius)
        : factor(1 + static_cast<int>(static_cast<float>(wholeRadius) * kPer54)),
          size(whole.width / factor, whole.height / factor),
          radius(wholeRadius / factor) {}
};

void blurOnce(const cv::Mat& from, cv::Mat& to, int radius) {
    to.create(from.size(), from.type());
    if (from.type() == CV_16UC1)
        filterBoxMirrored(from.ptr<ushort>(), from.step, to.ptr<ushort>(), to.step, {from.cols, from.rows}, radius);
    else
        filterBoxMirrored(from.ptr(), from.step, to.ptr(), to.step, {from.cols, from.rows}, radius);
}

/// True if `progress` stopped the work; the plane of `out` is then as it was.
bool blurPlane(const TImage& in, TImage& out, int plane, const Reduction& reduction, int iterations,
               TProgress* progress) {
    const cv::Mat whole = in.toMat(plane), target = out.toMat(plane);
    const bool bReduced = reduction.factor > 1;
    // Written at once, without a plane between, where nobody can stop the passes.
    const bool bDirect = target.size() == whole.size() && (bReduced || !progress);
    cv::Mat result = bDirect ? target : cv::Mat();

    cv::Mat current = whole;
    if (bReduced) cv::resize(whole, current, reduction.size, 0, 0, cv::INTER_LINEAR);
    cv::Mat& blurred = bReduced ? current : result;
    for (int i = 0; i < iterations; ++i) {
        blurOnce(current, blurred, reduction.radius);
        current = blurred;
        if (progress && progress->prog()) return true;
    }
    if (bReduced) cv::resize(current, result, whole.size(), 0, 0, cv::INTER_LINEAR);
    if (!bDirect) out.fromMat(result, plane);
    return false;
}

}  // namespace

bool tFilterBox(const TImage* in_p, TImage* out_p, int radius, int iterations, TProgress* progress) {
    if (!in_p || !out_p) fail("ERROR - tFilterBox - !in_p || !out_p");
    if (in_p->type() != out_p->type()) fail("tFilterBox - in_p->type() != out_p->type()");
    if (radius < 1 || iterations < 1) {
        out_p->copyFrom(*in_p);
    } else {
        const TImage::IMTYPE type = in_p->type();
        if (type != TImage::IM_Y16U && type != TImage::IM_C8U) fail("tFilterBox - type not supported");
        const Reduction reduction(in_p->size(), radius);
        if (reduction.size.empty()) fail("ERROR - tFilterBox - image smaller than reduction factor");
        const int planes = type == TImage::IM_C8U ? 2 : 1;
        if (in_p->toMat(0).empty() || in_p->toMat(planes - 1).empty()) fail("ERROR - tFilterBox - in_p has no pixels");
        for (int plane = 0; plane < planes; ++plane)
            if (blurPlane(*in_p, *out_p, plane, reduction, iterations, progress)) return true;
    }
    return progress && progress->prog();
}
