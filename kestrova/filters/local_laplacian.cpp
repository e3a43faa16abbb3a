#include "kestrova/filters/local_laplacian.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <limits>
#include <new>
#include <opencv2/imgproc.hpp>
#include <vector>

#include "kestrova/curves/table_memory.h"
#include "kestrova/curves/table_smoothing.h"
#include "kestrova/filters/local_laplacian_stages.h"
#include "kestrova/frame/failure.h"
#include "kestrova/frame/memory_failure.h"
#include "kestrova/frame/overlap.h"
#include "kestrova/frame/plane_checks.h"
#include "kestrova/frame/saturate.h"
#include "kestrova/frame/zero16.h"
#include "kestrova/primitives/primitives.h"

using namespace kestrova::curves;
using namespace kestrova::filters;
using namespace kestrova::frame;

namespace {

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();

int saturated(long long v) { return static_cast<int>(std::clamp<long long>(v, INT_MIN, INT_MAX)); }

// Truncated towards zero; NaN is 0.
int saturated(float v) {
    if (std::isnan(v)) return 0;
    return v >= 0x1p31f ? INT_MAX : v < -0x1p31f ? INT_MIN : static_cast<int>(v);
}

// The levels of a pyramid down to a single pixel.
int levelsOf(cv::Size size) {
    int levels = 1;
    for (int longer = std::max(size.width, size.height); longer > 1; longer = (longer + 1) / 2) ++levels;
    return levels;
}

// Levels beyond a single pixel are all alike: equal channels, whose Laplacian coefficients are zero, are interpolated,
// which may truncate to one less, and added.
template <class References>
void addSinglePixels(const cv::Mat& g, int count, cv::Mat& result) {
    const int coefficient =
        interpolated(kLaplacianZero, kLaplacianZero, choiceAt<References>(g.at<ushort>(0, 0)).part) - kLaplacianZero;
    ushort& pixel = result.at<ushort>(0, 0);
    pixel = clamp16(pixel + count * coefficient);
}

// Filters `in` into `out`, which has its size and type and lies apart from it.
template <class References>
void filter(const cv::Mat& in, cv::Mat& out, const ushort* remap, int levels) {
    constexpr int K = References::kCount;
    const int planes = std::min(levels, levelsOf(in.size())), top = planes - 1;
    const RemappedPlane<K> remappedIn = remapped<References>(in, remap);
    std::vector<cv::Mat> gaussian(planes), result(planes);
    std::vector<StoredPlane<K>> pyramid(planes);  // from level 2 on
    PairPlane chosen;                             // of level 1
    gaussian[0] = in;
    result[0] = out;
    for (int l = 1; l < planes; ++l) {
        cv::pyrDown(gaussian[l - 1], gaussian[l]);
        const cv::Size size = gaussian[l].size();
        result[l].create(size, CV_16UC1);
        if (l == 1)
            chosen = {size.width, std::unique_ptr<ushort[]>(new ushort[2 * gaussian[l].total()])};
        else
            pyramid[l] = {size.height, size.width};
    }

    if (top == 0)
        coarsestCoefficients<References>(in, remappedIn, result[0]);
    else
        finestLevels<References>(remappedIn, gaussian[1], result[0], chosen, pyramid[std::min(2, top)]);
    if (top == 1)
        coarsestCoefficients<References>(gaussian[1], chosen, result[1]);
    else if (top > 1)
        coefficients<References>(gaussian[1], chosen, pyramid[2], result[1]);
    for (int l = 2; l < top; ++l) {
        reduce(pyramid[l], pyramid[l + 1]);
        coefficients<References>(gaussian[l], pyramid[l], pyramid[l + 1], result[l]);
    }
    if (top > 1) coarsestCoefficients<References>(gaussian[top], pyramid[top], result[top]);

    if (levels > planes) addSinglePixels<References>(gaussian[top], levels - planes, result[top]);
    for (int l = top - 1; l >= 0; --l) addEnlarged(result[l + 1], result[l]);
}

}  // namespace

struct LocalLaplacian::RemapTable {
    const std::shared_ptr<void> owner = newTable16U(kEntries16);
    ushort* const entries = static_cast<ushort*>(owner.get());
    // What the entries are built from; at first, and while they are being built, nothing equals it.
    float alpha = kNan, blur = kNan;
};

LocalLaplacian::LocalLaplacian() {
    try {
        m_table = std::make_shared<RemapTable>();
    } catch (const std::bad_alloc&) {
        fail("ERROR - LocalLaplacian::LocalLaplacian - !m_remap_p");
    }
    m_remap_p = m_table->entries;
}

LocalLaplacian::LocalLaplacian(const LocalLaplacian&) = default;
LocalLaplacian& LocalLaplacian::operator=(const LocalLaplacian&) = default;
LocalLaplacian::~LocalLaplacian() = default;

template <class References>
bool LocalLaplacian::proc(const cv::Mat& in, cv::Mat& out, float alpha, float blur, int levels) {
    if (in.type() != CV_16UC1) fail("ERROR - LocalLaplacian::proc - in.type()!=CV_16UC1");
    if (in.rows < 1 || in.cols < 1) fail("ERROR - LocalLaplacian::proc - in.empty()");
    if (levels < 1) fail("ERROR - LocalLaplacian::proc - levels<1");
    checkPlane(in);
    m_alpha = alpha;
    m_blur = blur;
    m_levels = levels;
    orFailWithoutMemory("ERROR - LocalLaplacian::proc - not enough memory", [&] {
        calRemapLut();
        ApartOutput output(out, in.size(), CV_16UC1, {in});
        filter<References>(in, output.filled, m_remap_p, levels);
        output.assignTo(out);
    });
    return true;
}

bool LocalLaplacian::proc10K(const cv::Mat& in, cv::Mat& out, float alpha, float blur, int levels) {
    return proc<TenReferences>(in, out, alpha, blur, levels);
}
bool LocalLaplacian::proc16K(const cv::Mat& in, cv::Mat& out, float alpha, float blur, int levels) {
    return proc<SixteenReferences>(in, out, alpha, blur, levels);
}
bool LocalLaplacian::proc24K(const cv::Mat& in, cv::Mat& out, float alpha, float blur, int levels) {
    return proc<TwentyFourReferences>(in, out, alpha, blur, levels);
}

void LocalLaplacian::calRemapLut() {
    if (m_table->alpha == m_alpha && m_table->blur == m_blur) return;
    m_table->alpha = kNan;
    const long long t = saturated(m_alpha * 32768.0f);
    const long long a = std::abs(t), h = a / 2, peak = t >= 0 ? h : -h;
    const int levels[] = {0,       saturated(kZero16 - a), saturated(kZero16 - h),
                          kZero16, saturated(kZero16 + h), saturated(kZero16 + a),
                          65535};
    const int values[] = {kZero16, kZero16, saturated(kZero16 + peak), kZero16, saturated(kZero16 - peak),
                          kZero16, kZero16};
    const IppiSize row = {kEntries16, 1};
    constexpr int kStep = kEntries16 * int(sizeof(ushort));
    // The curve ends below its last level: entry 65535 stays the identity; this is intentional.
    ippiImageRamp_16u_C1R(m_remap_p, kStep, row, 0.0f, 1.0f, ippAxsHorizontal);
    if (ippiLUT_Linear_16u_C1IR(m_remap_p, kStep, row, values, levels, 7) == ippStsNoMemErr) throw std::bad_alloc();
    const float sigma = static_cast<float>(a) * m_blur;
    if (sigma > 1) smoothLUT16U(m_remap_p, kEntries16, sigma, 2);
    m_table->alpha = m_alpha;
    m_table->blur = m_blur;
}

int LocalLaplacian::clamp(int v, int lo, int hi) { return v < lo ? lo : std::min(v, hi); }

int LocalLaplacian::levelJ(int a, int b, float f) {
    const float octaves = std::log(static_cast<float>(std::min(a, b)) * f) / std::log(2.0f);
    const int n = std::max(saturated(octaves + 0.5f), 1);
    return saturated(n + 1LL);
}
