#include "kestrova/filters/tguidedfilter.h"

#include <initializer_list>

#include "kestrova/filters/guided_fit.h"
#include "kestrova/filters/guided_model.h"
#include "kestrova/frame/failure.h"
#include "kestrova/frame/memory_failure.h"
#include "kestrova/frame/overlap.h"
#include "kestrova/frame/plane_checks.h"

using namespace kestrova::filters;
using namespace kestrova::frame;

namespace {

constexpr const char* kNoMemory = "ERROR - TGuidedFilter::setup - not enough memory";

void checkEstimate(const cv::Mat& p, int r) {
    if (p.type() != CV_32FC1) fail("ERROR - TGuidedFilter::setup - p.type()!=CV_32FC1");
    if (p.empty()) fail("ERROR - TGuidedFilter::setup - p.empty()");
    stepOf(p);
    if (!GuidedFit::isRadius(r)) fail("ERROR - TGuidedFilter::setup - r<0 || r>32767");
}

void checkGuide(const cv::Mat& guide, const cv::Mat& p) {
    if (guide.type() != CV_32FC1) fail("ERROR - TGuidedFilter::setup - guide.type()!=CV_32FC1");
    checkPlane(guide);
    if (guide.size() != p.size()) fail("ERROR - TGuidedFilter::setup - guide.size()!=p.size()");
}

/// The means of the coefficients, slopes first. They take the place of those of `before` where these have their size.
std::vector<cv::Mat> fittedModel(const std::vector<cv::Mat>& guide, const cv::Mat& p, int r, float eps,
                                 std::initializer_list<const cv::Mat*> before) {
    std::vector<cv::Mat> model;
    for (const cv::Mat* plane : before) model.push_back(outputLike(*plane, p.size(), CV_32FC1));

    fitModel(guide, p, r, eps, model);
    return model;
}

}  // namespace

void TGuidedFilter::setup(const std::vector<cv::Mat>& guide, const cv::Mat& p, int r, float eps) {
    switch (guide.size()) {
        case 1: return gFc1_estimate(guide[0], p, r, eps);
        case 3: return gFc3_estimate(guide, p, r, eps);
        default: fail("ERROR - TGuidedFilter::setup - input vector size is not correct.");
    }
}

void TGuidedFilter::proc(const std::vector<cv::Mat>& guide, cv::Mat& q) const {
    switch (guide.size()) {
        case 1: return gFc1_applyLoop(guide[0], q);
        case 3: return gFc3_applyLoop(guide, q);
        default: fail("ERROR - TGuidedFilter::proc - input vector size is not correct.");
    }
}

void TGuidedFilter::gFc1_estimate(const cv::Mat& I, const cv::Mat& p, int r, float eps) {
    checkEstimate(p, r);
    checkGuide(I, p);
    orFailWithoutMemory(kNoMemory, [&] {
        const std::vector<cv::Mat> model = fittedModel({I}, p, r, eps, {&m_a0, &m_b});
        m_a0 = model[0];
        m_b = model[1];
    });
}

void TGuidedFilter::gFc3_estimate(const std::vector<cv::Mat>& guide, const cv::Mat& p, int r, float eps) {
    if (guide.size() != 3) fail("ERROR - TGuidedFilter::setup - input vector size is not correct.");
    checkEstimate(p, r);
    for (const cv::Mat& plane : guide) checkGuide(plane, p);
    orFailWithoutMemory(kNoMemory, [&] {
        const std::vector<cv::Mat> model = fittedModel(guide, p, r, eps, {&m_a0, &m_a1, &m_a2, &m_b});
        m_a0 = model[0];
        m_a1 = model[1];
        m_a2 = model[2];
        m_b = model[3];
    });
}
