#include <opencv2/imgproc.hpp>

#include <vector>

#include "kestrova/filters/free_filters.h"
#include "kestrova/frame/failure.h"
#include "kestrova/frame/memory_failure.h"
#include "kestrova/frame/overlap.h"
#include "kestrova/frame/plane_checks.h"
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

/// A plane of the images, and what its passes need.
struct PlaneWork {
    cv::Mat whole, target;
    cv::Mat reduced;  ///< the copy that the passes work on, if there is one
    cv::Mat result;   ///< `target` itself where it may be written at once

    PlaneWork(const TImage& in, const TImage& out, int plane, const Reduction& reduction, const TProgress* progress)
        : whole(in.toMat(plane)), target(out.toMat(plane)) {
        if (whole.empty()) fail("ERROR - tFilterBox - in_p has no pixels");
        if (out.size() == in.size() && target.empty()) fail("ERROR - tFilterBox - out_p has no pixels");
        const bool onCopy = reduction.factor > 1;
        if (onCopy) reduced.create(reduction.size, whole.type());
        // A plane between is spared where neither the host can stop the passes nor OpenCV's resize the memory run out.
        const bool atOnce = target.size() == whole.size() && (onCopy ? !inPlace() : !progress);
        result = atOnce ? target : cv::Mat(whole.size(), whole.type());
    }

    bool inPlace() const { return overlap(whole, target); }
    bool isWritten() const { return result.data == target.data; }
};

/// True if `progress` stopped the work; `result` means nothing then.
template <class Element>
bool blurPlane(PlaneWork& work, MirroredBox<Element>& box, bool onCopy, int iterations, TProgress* progress) {
    if (onCopy) cv::resize(work.whole, work.reduced, work.reduced.size(), 0, 0, cv::INTER_LINEAR);
    cv::Mat& blurred = onCopy ? work.reduced : work.result;
    const cv::Mat* from = onCopy ? &work.reduced : &work.whole;
    for (int i = 0; i < iterations; ++i, from = &blurred) {
        box.filter({from->ptr<Element>(), stepOf(*from)}, {blurred.ptr<Element>(), stepOf(blurred)});
        if (progress && progress->prog()) return true;
    }
    if (onCopy) cv::resize(work.reduced, work.result, work.whole.size(), 0, 0, cv::INTER_LINEAR);
    return false;
}

/// True if `progress` stopped the work. Memory is taken before anything is written; in place nothing is written before
/// OpenCV's last resize either.
template <class Element>
bool blur(const TImage& in, TImage& out, int planes, const Reduction& reduction, int iterations, TProgress* progress) {
    std::vector<PlaneWork> works;
    for (int plane = 0; plane < planes; ++plane) works.emplace_back(in, out, plane, reduction, progress);
    MirroredBox<Element> box({reduction.size.width, reduction.size.height}, reduction.radius);
    std::vector<int> finished;
    finished.reserve(works.size());
    bool stopped = false;
    for (int plane = 0; plane < planes && !stopped; ++plane) {
        PlaneWork& work = works[static_cast<std::size_t>(plane)];
        stopped = blurPlane(work, box, reduction.factor > 1, iterations, progress);
        if (stopped || work.isWritten()) continue;
        if (work.inPlace())
            finished.push_back(plane);
        else
            out.fromMat(work.result, plane);
    }
    for (int plane : finished) out.fromMat(works[static_cast<std::size_t>(plane)].result, plane);
    return stopped;
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
        const bool stopped = orFailWithoutMemory("ERROR - tFilterBox - not enough memory", [&] {
            return type == TImage::IM_Y16U ? blur<ushort>(*in_p, *out_p, 1, reduction, iterations, progress)
                                           : blur<uchar>(*in_p, *out_p, 2, reduction, iterations, progress);
        });
        if (stopped) return true;
    }
    return progress && progress->prog();
}
