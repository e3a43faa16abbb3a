#include "kestrova/curves/tlut1d.h"

#include <cstring>

#include "kestrova/curves/detail_curves.h"
#include "kestrova/curves/table_memory.h"
#include "kestrova/curves/table_smoothing.h"
#include "kestrova/frame/failure.h"
#include "kestrova/frame/memory_failure.h"
#include "kestrova/frame/overlap.h"
#include "kestrova/frame/parallel.h"
#include "kestrova/frame/plane_checks.h"
#include "kestrova/primitives/primitives.h"
#include "kestrova/rows/lookup_row.h"

using namespace kestrova::curves;
using namespace kestrova::frame;
using namespace kestrova::rows;

namespace {

void checkTypes(int inType, int outType) {
    const auto known = [](int type) { return type == CV_8UC1 || type == CV_16UC1; };
    if (!known(inType) || !known(outType)) fail("ERROR - TLut1D::TLut1D - type");
}

// `in` as a plane of `type` that may be read while `out` is written: itself where that is so, else a copy.
cv::Mat sourceFor(const cv::Mat& out, const cv::Mat& in, int type) {
    const bool inPlace = in.data == out.data && in.step == out.step && type == out.type();
    const std::size_t size = std::size_t(CV_ELEM_SIZE(type));
    const bool readable = aligned(in.data, size) && in.step % size == 0;
    if (readable && (inPlace || !overlap(in, out))) return in;
    cv::Mat copy(in.rows, in.cols, type);
    for (int r = 0; r < in.rows; ++r) std::memcpy(copy.ptr(r), in.ptr(r), in.cols * size);
    return copy;
}

}  // namespace

TLut1D::TLut1D(int inType, int outType) : m_inType(inType), m_outType(outType) {
    checkTypes(inType, outType);
    const int entries = inType == CV_8UC1 ? 256 : kEntries16;
    m_owner = orFailWithoutMemory("ERROR - TLut1D::TLut1D - not enough memory",
                                  [=] { return outType == CV_8UC1 ? newTable8U(entries) : newTable16U(entries); });
    m_lut_p = m_owner.get();
}

TLut1D::TLut1D(const TLut1D& other) = default;
TLut1D& TLut1D::operator=(const TLut1D& other) = default;
TLut1D::~TLut1D() = default;

uchar* TLut1D::lut8U() { return static_cast<uchar*>(m_lut_p); }
ushort* TLut1D::lut16U() { return static_cast<ushort*>(m_lut_p); }
void TLut1D::curve(int* const, int* const, int, int) {}

void TLut1D::apply(const cv::Mat& in, cv::Mat out) {
    checkTypes(m_inType, m_outType);
    if (in.empty()) return;
    checkPlane(in);
    if (in.elemSize() < std::size_t(CV_ELEM_SIZE(m_inType)))
        fail("ERROR - TLut1D::apply - in.elemSize()<elemSize of m_inType");
    orFailWithoutMemory("ERROR - TLut1D::apply - not enough memory", [&] {
        out.create(in.rows, in.cols, m_outType);
        const cv::Mat from = sourceFor(out, in, m_inType);
        const IppiSize size = {in.cols, in.rows};
        const int fromStep = stepOf(from), outStep = stepOf(out);
        if (m_inType == CV_8UC1 && m_outType == CV_8UC1) {
            ippiLUTPalette_8u_C1R(from.ptr(), fromStep, out.ptr(), outStep, size, lut8U(), 8);
        } else if (m_inType == CV_16UC1 && m_outType == CV_16UC1) {
            ippiLUTPalette_16u_C1R(from.ptr<ushort>(), fromStep, out.ptr<ushort>(), outStep, size, lut16U(), 16);
        } else if (m_inType == CV_8UC1) {
            const ushort* const table = lut16U();
            parallelRows(in.rows, in.cols,
                         [&](int r) noexcept { lookUpRow(from.ptr(r), out.ptr<ushort>(r), in.cols, table); });
        } else {
            // With 8 bits the low byte of the source alone is looked up; this is intentional.
            ippiLUTPalette_16u8u_C1R(from.ptr<ushort>(), fromStep, out.ptr(), outStep, size, lut8U(), 8);
        }
    });
}

void TLut1D::apply(cv::Mat inOut) { apply(inOut, inOut); }

TLut8U::TLut8U(float kMin, float kMax, int threshold, float blurScale) : TLut1D(CV_8UC1, CV_8UC1) {
    setKRange(kMin, kMax, threshold, blurScale);
}

void TLut8U::setKRange(float kMin, float kMax, int threshold, float blurScale) {
    m_kMin = kMin;
    m_kMax = kMax;
    m_threshold = threshold;
    m_blurScale = blurScale;
}

void TLut8U::setupLinearThreshold(float k, float t, float baseK, float baseT) {
    float work[256];
    const float sigma = drawDetailCurve({k, t, baseK, baseT, m_kMin, m_kMax, m_threshold, m_blurScale}, lut8U());
    if (sigma > 0) smoothLUT8U(lut8U(), 256, sigma, 2, work);
}

TLut16U::TLut16U(float kMin, float kMax, int threshold, float blurScale) : TLut1D(CV_16UC1, CV_16UC1) {
    setKRange(kMin, kMax, threshold, blurScale);
}

void TLut16U::setKRange(float kMin, float kMax, int threshold, float blurScale) {
    m_kMin = kMin;
    m_kMax = kMax;
    m_threshold = threshold;
    m_blurScale = blurScale;
}

void TLut16U::setupLinearThreshold(float k, float t, float baseK, float baseT) {
    const std::unique_ptr<float[]> work(new float[kEntries16]);
    const float sigma = drawDetailCurve({k, t, baseK, baseT, m_kMin, m_kMax, m_threshold, m_blurScale}, lut16U());
    if (sigma > 0) smoothLUT16U(lut16U(), kEntries16, sigma, 2, work.get());
}
