#include "kestrova/filters/tguidedfilter.h"
#include "kestrova/frame/failure.h"
#include "kestrova/frame/plane_checks.h"
#include "kestrova/primitives/arithmetic.h"
#include "kestrova/primitives/neighbourhood.h"

using namespace kestrova::frame;

namespace {

void checkCovers(const cv::Mat& plane, IppiPoint at, IppiSize region) {
    if (plane.type() != CV_32FC1) fail("ERROR - TGuidedFilter::calcov2 - type()!=CV_32FC1");
    stepOf(plane);
    if (region.width > plane.cols - at.x || region.height > plane.rows - at.y)
        fail("ERROR - TGuidedFilter::calcov2 - a region is larger than its plane");
}

void checkWindows(const cv::Mat& wide, IppiSize wideRoi, IppiSize innerRoi, IppiSize mask, IppiPoint anchor) {
    if (wideRoi.width < 1 || wideRoi.height < 1 || innerRoi.width < 1 || innerRoi.height < 1)
        fail("ERROR - TGuidedFilter::calcov2 - a region is empty");
    if (anchor.x < 0 || anchor.y < 0 || anchor.x >= mask.width || anchor.y >= mask.height)
        fail("ERROR - TGuidedFilter::calcov2 - the anchor is outside the mask");
    if (innerRoi.width > wide.cols - mask.width + 1 || innerRoi.height > wide.rows - mask.height + 1)
        fail("ERROR - TGuidedFilter::calcov2 - the windows of innerRoi are not inside tmpWide");
}

}  // namespace

void TGuidedFilter::calvar2(cv::Mat& out, const cv::Mat& X, const cv::Mat& meanX, cv::Mat& tmpWide, cv::Mat& tmpInner,
                            IppiSize wideRoi, IppiSize innerRoi, IppiSize mask, IppiPoint anchor, bool offset) const {
    calcov2(out, X, X, meanX, meanX, tmpWide, tmpInner, wideRoi, innerRoi, mask, anchor, offset);
}

void TGuidedFilter::calcov2(cv::Mat& out, const cv::Mat& X, const cv::Mat& Y, const cv::Mat& meanX,
                            const cv::Mat& meanY, cv::Mat& tmpWide, cv::Mat& tmpInner, IppiSize wideRoi,
                            IppiSize innerRoi, IppiSize mask, IppiPoint anchor, bool offset) const {
    const IppiPoint at = offset ? anchor : IppiPoint{0, 0};
    checkWindows(tmpWide, wideRoi, innerRoi, mask, anchor);
    for (const cv::Mat& plane : {X, Y, tmpWide}) checkCovers(plane, {0, 0}, wideRoi);
    for (const cv::Mat& plane : {meanX, meanY, tmpInner}) checkCovers(plane, {0, 0}, innerRoi);
    checkCovers(out, at, innerRoi);

    ippiMul_32f_C1R(X.ptr<float>(), stepOf(X), Y.ptr<float>(), stepOf(Y), tmpWide.ptr<float>(), stepOf(tmpWide),
                    wideRoi);
    float* result = out.ptr<float>(at.y, at.x);
    if (ippiFilterBox_32f_C1R(tmpWide.ptr<float>(anchor.y, anchor.x), stepOf(tmpWide), result, stepOf(out), innerRoi,
                              mask, anchor) == ippStsNoMemErr)
        fail("ERROR - TGuidedFilter::calcov2 - not enough memory");
    ippiMul_32f_C1R(meanX.ptr<float>(), stepOf(meanX), meanY.ptr<float>(), stepOf(meanY), tmpInner.ptr<float>(),
                    stepOf(tmpInner), innerRoi);
    ippiSub_32f_C1IR(tmpInner.ptr<float>(), stepOf(tmpInner), result, stepOf(out), innerRoi);
}
