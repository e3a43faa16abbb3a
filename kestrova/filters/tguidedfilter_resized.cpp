#include <memory>
#include <new>

#include "kestrova/filters/tguidedfilter.h"
#include "kestrova/frame/failure.h"
#include "kestrova/frame/memory_failure.h"
#include "kestrova/frame/plane_checks.h"
#include "kestrova/primitives/arithmetic.h"
#include "kestrova/primitives/memory.h"
#include "kestrova/primitives/resize.h"

using namespace kestrova::frame;

// The model applied to planes of floats, its coefficients resized to their size.

namespace {

constexpr const char* kNoMemory = "ERROR - TGuidedFilter::apply - not enough memory";

void checkGuide(const cv::Mat& I, const cv::Mat& first) {
    if (I.type() != CV_32FC1) fail("ERROR - TGuidedFilter::apply - guide.type()!=CV_32FC1");
    if (I.empty()) fail("ERROR - TGuidedFilter::apply - guide.empty()");
    stepOf(I);
    if (I.size() != first.size()) fail("ERROR - TGuidedFilter::apply - guide sizes differ");
}

void checkModel(const cv::Mat& coefficients, const cv::Mat& first) {
    if (coefficients.empty() || coefficients.size() != first.size())
        fail("ERROR - TGuidedFilter::apply - there is no model of a guide like this");
}

/// Resizes planes of coefficients to the size of the guide.
class Resizer {
public:
    Resizer(cv::Size from, cv::Size to, int interpolation)
        : m_from{0, 0, from.width, from.height}, m_to{0, 0, to.width, to.height}, m_interpolation(interpolation) {
        int bytes = 0;
        ippiResizeGetBufSize(m_from, m_to, 1, m_interpolation, &bytes);
        m_buffer.reset(ippsMalloc_8u(bytes));
        if (!m_buffer) throw std::bad_alloc();
    }

    void resize(const cv::Mat& plane, cv::Mat& out) const {
        out.create(m_to.height, m_to.width, CV_32FC1);
        const double xFactor = static_cast<double>(m_to.width) / static_cast<double>(m_from.width);
        const double yFactor = static_cast<double>(m_to.height) / static_cast<double>(m_from.height);
        const IppStatus status = ippiResizeSqrPixel_32f_C1R(
            plane.ptr<float>(), {m_from.width, m_from.height}, stepOf(plane), m_from, out.ptr<float>(), stepOf(out),
            m_to, xFactor, yFactor, 0.0, 0.0, m_interpolation, m_buffer.get());
        if (status == ippStsNoMemErr) throw std::bad_alloc();
        if (status != ippStsNoErr) fail("ERROR - TGuidedFilter::apply - the model cannot be resized");
    }

private:
    struct Free {
        void operator()(uchar* block) const { ippsFree(block); }
    };
    IppiRect m_from, m_to;
    int m_interpolation;
    std::unique_ptr<uchar, Free> m_buffer;
};

void multiply(const cv::Mat& factor, cv::Mat& product) {
    ippiMul_32f_C1IR(factor.ptr<float>(), stepOf(factor), product.ptr<float>(), stepOf(product),
                     {product.cols, product.rows});
}

void add(const cv::Mat& term, cv::Mat& sum) {
    ippiAdd_32f_C1IR(term.ptr<float>(), stepOf(term), sum.ptr<float>(), stepOf(sum), {sum.cols, sum.rows});
}

}  // namespace

void TGuidedFilter::gFc1_apply(const cv::Mat& I, cv::Mat& q) const {
    checkGuide(I, I);
    checkModel(m_a0, m_a0);
    checkModel(m_b, m_a0);
    orFailWithoutMemory(kNoMemory, [&] {
        const Resizer resizer(m_a0.size(), I.size(), IPPI_INTER_CUBIC);
        cv::Mat term, result = q;
        resizer.resize(m_a0, term);
        multiply(I, term);
        resizer.resize(m_b, result);  // after the last use of the guide, which may be this plane
        add(term, result);
        q = result;
    });
}

void TGuidedFilter::gFc3_apply(const std::vector<cv::Mat>& guide, cv::Mat& q) const {
    if (guide.size() != 3) fail("ERROR - TGuidedFilter::apply - guide.size()!=3");
    for (const cv::Mat& plane : guide) checkGuide(plane, guide[0]);
    const cv::Mat* slopes[] = {&m_a0, &m_a1, &m_a2};
    for (const cv::Mat* slope : slopes) checkModel(*slope, m_a0);
    checkModel(m_b, m_a0);
    orFailWithoutMemory(kNoMemory, [&] {
        const Resizer resizer(m_a0.size(), guide[0].size(), IPPI_INTER_NN);
        cv::Mat terms[3], result = q;
        for (int k = 0; k < 3; ++k) {
            resizer.resize(*slopes[k], terms[k]);
            multiply(guide[static_cast<std::size_t>(k)], terms[k]);
        }
        resizer.resize(m_b, result);  // after the last use of the guide, which may hold this plane
        for (const cv::Mat& term : terms) add(term, result);
        q = result;
    });
}
