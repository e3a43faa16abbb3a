#include "kestrova/filters/tguidedfilter.h"

#include <cstring>

#include "kestrova/filters/guided_fit.h"
#include "kestrova/frame/failure.h"
#include "kestrova/frame/memory_failure.h"

using namespace kestrova::filters;
using namespace kestrova::frame;
using namespace kestrova::rows;

namespace {

void checkEstimate(const cv::Mat* guide, int guides, const cv::Mat& p, int r) {
    if (p.type() != CV_32FC1) fail("ERROR - TGuidedFilter::setup - p.type()!=CV_32FC1");
    if (p.empty()) fail("ERROR - TGuidedFilter::setup - p.empty()");
    for (int k = 0; k < guides; ++k) {
        if (guide[k].type() != CV_32FC1) fail("ERROR - TGuidedFilter::setup - guide.type()!=CV_32FC1");
        if (guide[k].size() != p.size()) fail("ERROR - TGuidedFilter::setup - guide.size()!=p.size()");
    }
    if (!GuidedFit::isRadius(r)) fail("ERROR - TGuidedFilter::setup - r<0 || r>32767");
}

/// The means of the coefficients into the planes of the model, which stay as they are where there is no memory.
void estimate(const std::vector<cv::Mat>& guide, const cv::Mat& p, int r, float eps,
              const std::vector<cv::Mat*>& model) {
    orFailWithoutMemory("ERROR - TGuidedFilter::setup - not enough memory", [&] {
        GuidedFit fit(guide, p, r, eps, BoxBorder::kReplicated);
        std::vector<cv::Mat> planes;
        for (const cv::Mat* plane : model) {
            planes.push_back(*plane);
            planes.back().create(fit.size(), CV_32FC1);
        }
        fit.sweep([&](int y, int x, int n, const float* const* means) noexcept {
            for (std::size_t k = 0; k < planes.size(); ++k)
                std::memcpy(planes[k].ptr<float>(y, x), means[k], sizeof(float) * static_cast<std::size_t>(n));
        });
        for (std::size_t k = 0; k < planes.size(); ++k) *model[k] = planes[k];
    });
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
    checkEstimate(&I, 1, p, r);
    estimate({I}, p, r, eps, {&m_a0, &m_b});
}

void TGuidedFilter::gFc3_estimate(const std::vector<cv::Mat>& guide, const cv::Mat& p, int r, float eps) {
    if (guide.size() != 3) fail("ERROR - TGuidedFilter::setup - input vector size is not correct.");
    checkEstimate(guide.data(), 3, p, r);
    estimate(guide, p, r, eps, {&m_a0, &m_a1, &m_a2, &m_b});
}
