#include "kestrova/filters/guided_upsize.h"

#include <algorithm>
#include <iostream>

#include "kestrova/filters/tguidedfilter.h"
#include "kestrova/frame/failure.h"
#include "kestrova/frame/kestrova.h"
#include "kestrova/frame/memory_failure.h"
#include "kestrova/frame/overlap.h"
#include "kestrova/frame/plane_checks.h"
#include "kestrova/resample/resample.h"
#include "kestrova/rows/unit_plane.h"

using namespace kestrova::frame;
using namespace kestrova::rows;

namespace {

// A guide narrower than the factor has no column for the first of the small plane.
void checkWidth(const cv::Mat& guide, int n, const char* failure) {
    if (guide.cols < n) fail(failure);
}

void checkScale(const cv::Mat& guide, const cv::Mat& low, const char* failure) {
    if (hasUnitScale(guide) && !hasUnitScale(low)) fail(failure);
}

template <class Reduce>
cv::Mat reducedUnitPlane(const cv::Mat& guide, cv::Size size, const Reduce& reduce) {
    cv::Mat small = cv::Mat::zeros(size, guide.type());  // which an unknown interpolation code leaves as it is
    reduce(guide, small);
    return unitPlane(small);
}

template <class Reduce>
void enlargeGuidedByY(const cv::Mat& guide, const cv::Mat& low, cv::Mat& out, int r, float eps, const Reduce& reduce) {
    TGuidedFilter filter;
    filter.setup({reducedUnitPlane(guide, low.size(), reduce)}, unitPlane(low), r, eps);
    filter.proc({guide}, out);
}

template <class Enlarge>
void enlargePlain(cv::Size size, const cv::Mat& low, cv::Mat& out, const char* noLow, const Enlarge& enlarge) {
    if (low.empty()) fail(noLow);
    cv::Mat plane = outputLike(out, size, low.type());
    enlarge(sourceBeside(plane, low, StillRead::kAnyRow), plane);
    out = plane;
}

void checkColourGuide(const std::vector<cv::Mat>& guide) {
    if (guide.size() != 3) fail("ERROR - upSizeNXGuidedByRGB - Guide data need to be RGB...");
    if (guide[1].type() != guide[0].type() || guide[2].type() != guide[0].type())
        fail("ERROR - upSizeNXGuidedByRGB - Guide data need to use same data type...");
}

cv::Rect sharedRectangle(const cv::Mat& a, const cv::Mat& b) {
    return {0, 0, std::min(a.cols, b.cols), std::min(a.rows, b.rows)};
}

void filterAtOneSize(const std::vector<cv::Mat>& guide, const cv::Mat& low, cv::Mat& out, int r, float eps) {
    const cv::Rect shared = sharedRectangle(guide[0], low);
    std::vector<cv::Mat> part, unit;
    for (const cv::Mat& plane : guide) {
        if (plane.cols < shared.width || plane.rows < shared.height)
            fail("ERROR - upSizeNXGuidedByRGB - Guide data need to cover the same rectangle...");
        part.push_back(plane(shared));
        unit.push_back(unitPlane(part.back()));
    }
    TGuidedFilter filter;
    filter.setup(unit, unitPlane(low(shared)), r, eps);
    unit.clear();
    filter.proc(part, out);
}

void report(const char* line) {
    if (Kestrova::printing()) std::cout << line << std::endl;
}

void enlargeGuidedByRGB(const std::vector<cv::Mat>& guide, const cv::Mat& low, cv::Mat& out, int n, int interp, int r,
                        float eps) {
    if (hasUnitScale(guide[0]) && (guide[1].size() != guide[0].size() || guide[2].size() != guide[0].size()))
        fail("ERROR - upSizeNXGuidedByRGB - Guide data need to have the same size...");
    for (const cv::Mat& plane : guide) checkWidth(plane, n, "ERROR - upSizeNXGuidedByRGB - guide.cols < n");
    std::vector<cv::Mat> unit;
    for (const cv::Mat& plane : guide) {
        // With the caller's `interp`, other than with one guide plane: this is intentional.
        unit.push_back(reducedUnitPlane(plane, low.size(),
                                        [=](const cv::Mat& in, cv::Mat& small) { downSizeNX(in, small, n, interp); }));
    }
    TGuidedFilter filter;
    report("Kestrova::upSizeNXGuidedByRGB: Before guidefilter setup...");
    filter.setup(unit, unitPlane(low), r, eps);
    report("Kestrova::upSizeNXGuidedByRGB: After guidefilter setup...");
    unit.clear();
    filter.proc(guide, out);
    report("Kestrova::upSizeNXGuidedByRGB: After guidefilter proc...");
}

}  // namespace

void upSize2XGuidedByY(cv::Mat guide, const cv::Mat& low, cv::Mat& out, bool useGuide, int interp, int r, float eps) {
    checkPlanes(guide, low);
    orFailWithoutMemory("ERROR - upSize2XGuidedByY - not enough memory", [&] {
        if (!useGuide) {
            enlargePlain(guide.size(), low, out, "ERROR - upSize2XGuidedByY - low.empty()",
                         [=](const cv::Mat& in, cv::Mat& big) { upSize2X(in, big, interp); });
            return;
        }
        checkWidth(guide, 2, "ERROR - upSize2XGuidedByY - guide.cols < 2");
        checkScale(guide, low, "ERROR - upSize2XGuidedByY - low.type() != CV_8UC1 && low.type() != CV_16UC1");
        enlargeGuidedByY(guide, low, out, r, eps,
                         [](const cv::Mat& in, cv::Mat& small) { downSize2X(in, small, kInterpCubic); });
    });
}

void upSizeNXGuidedByY(cv::Mat guide, const cv::Mat& low, cv::Mat& out, int n, bool useGuide, int interp, int r,
                       float eps) {
    if (n < 1) return;
    checkPlanes(guide, low);
    orFailWithoutMemory("ERROR - upSizeNXGuidedByY - not enough memory", [&] {
        // A plain copy also with `useGuide`, other than with three guide planes: this is intentional.
        if (n == 1) return assignCopy(low, out);
        if (!useGuide) {
            enlargePlain(guide.size(), low, out, "ERROR - upSizeNXGuidedByY - low.empty()",
                         [=](const cv::Mat& in, cv::Mat& big) { upSizeNX(in, big, n, interp); });
            return;
        }
        checkWidth(guide, n, "ERROR - upSizeNXGuidedByY - guide.cols < n");
        checkScale(guide, low, "ERROR - upSizeNXGuidedByY - low.type() != CV_8UC1 && low.type() != CV_16UC1");
        enlargeGuidedByY(guide, low, out, r, eps,
                         [=](const cv::Mat& in, cv::Mat& small) { downSizeNX(in, small, n, kInterpCubic); });
    });
}

void upSizeNXGuidedByRGB(std::vector<cv::Mat>& guide, const cv::Mat& low, cv::Mat& out, int n, bool useGuide,
                         int interp, int r, float eps) {
    checkColourGuide(guide);
    if (n < 1) return;
    checkPlanes(guide);
    checkPlane(low);
    orFailWithoutMemory("ERROR - upSizeNXGuidedByRGB - not enough memory", [&] {
        if (!useGuide && n == 1) return assignCopy(low, out);
        if (!useGuide) {
            enlargePlain(guide[0].size(), low, out, "ERROR - upSizeNXGuidedByRGB - low.empty()",
                         [=](const cv::Mat& in, cv::Mat& big) { upSizeNX(in, big, n, interp); });
            return;
        }
        checkScale(guide[0], low, "ERROR - upSizeNXGuidedByRGB - low.type() != CV_8UC1 && low.type() != CV_16UC1");
        if (n == 1)
            filterAtOneSize(guide, low, out, r, eps);
        else
            enlargeGuidedByRGB(guide, low, out, n, interp, r, eps);
    });
}

void filterGuidedByRGB(std::vector<cv::Mat>& guide, cv::Mat& p, int r, float eps) {
    checkColourGuide(guide);
    checkPlanes(guide);
    checkPlane(p);
    orFailWithoutMemory("ERROR - filterGuidedByRGB - not enough memory", [&] {
        // The result lands in `p` only where its type is the guide's; otherwise a new plane takes it, and is dropped.
        cv::Mat shared = p(sharedRectangle(guide[0], p));
        filterAtOneSize(guide, p, shared, r, eps);
    });
}
