#include "kestrova/curves/detail_curves.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "kestrova/curves/table_memory.h"
#include "kestrova/curves/table_smoothing.h"
#include "kestrova/frame/parallel.h"
#include "kestrova/frame/zero16.h"
#include "kestrova/primitives/primitives.h"

namespace kestrova::curves {

using namespace frame;

namespace {

constexpr int kMiddle8 = 128;
constexpr float kTwoThirds = 0x1.555556p-1f;

// Half width of the centre for T in -1..1: a step above 0, a dead zone below. A table of 2 `middle` entries has room
// for middle - 1 levels; NaN is no width.
int halfWidthOf(float T, float slope, int middle, const DetailCurve& curve) {
    const float full = static_cast<float>(curve.threshold) * T;
    const float width = slope > 1 ? full / slope : full;
    const float most = static_cast<float>(middle - 1);
    return std::isnan(width) ? 0 : static_cast<int>(std::min(std::max(width, -most), most));
}

template <class Pixel>
void shapeCentre(Pixel* table, int middle, int n) {
    if (n > 0) {
        std::fill_n(table + middle, n, table[middle + n]);
        std::fill_n(table + middle - n, n, table[middle - n]);
    } else if (n < 0) {
        std::fill_n(table + middle + n, -2 * n + 1, static_cast<Pixel>(middle));
    }
}

float sigmaOf(int n, const DetailCurve& curve) {
    const float sigma = static_cast<float>(std::abs(n)) * curve.blurScale;
    return sigma > 1 ? sigma : 0.0f;
}

// Dead zones of the 16-bit curve are damped, those of the base alike.
float damped(float t) { return static_cast<float>(double(t) * 0.4); }

bool sameCurve(const DetailCurve& a, const DetailCurve& b) { return std::memcmp(&a, &b, sizeof a) == 0; }

}  // namespace

float drawDetailCurve(const DetailCurve& curve, uchar* table) {
    const float k = curve.k, t = curve.t, baseK = curve.baseK, baseT = curve.baseT;
    const float K = (k >= 0 ? 1.0f - baseK : baseK + 1.0f) * k + baseK;
    const float T = (t >= 0 ? 1.0f - baseT : baseT + 1.0f) * t + baseT;
    const float slope = lineSlope(K, curve.kMin, curve.kMax);
    const int n = halfWidthOf(T, slope, kMiddle8, curve);
    ippiImageRamp_8u_C1R(table, 256, {256, 1}, lineOffset(slope, kMiddle8), slope, ippAxsHorizontal);
    shapeCentre(table, kMiddle8, n);
    return sigmaOf(n, curve);
}

float drawDetailCurve(const DetailCurve& curve, ushort* table) {
    const float k = curve.k, t = curve.t, baseK = curve.baseK;
    const float baseT = curve.baseT < 0 ? damped(curve.baseT) : curve.baseT;
    const float K = (k >= 0 ? 1.5f - baseK : baseK + 1.5f) * k * kTwoThirds + baseK;
    const float ownT = t >= 0 ? (1.5f - baseT) * t * kTwoThirds : damped(t) * (baseT + 1.5f) * kTwoThirds;
    const float T = ownT + baseT;
    const float slope = lineSlope(K, curve.kMin, curve.kMax);
    const int n = halfWidthOf(T, slope, kZero16, curve);
    ippiImageRamp_16u_C1R(table, kEntries16 * 2, {kEntries16, 1}, lineOffset(slope, kZero16), slope, ippAxsHorizontal);
    shapeCentre(table, kZero16, n);
    return sigmaOf(n, curve);
}

DetailCurves::DetailCurves(const std::vector<DetailCurve>& curves, const std::function<void()>& beside) {
    std::vector<DetailCurve> distinct;
    std::vector<std::size_t> which;
    for (const DetailCurve& curve : curves) {
        const auto same = [&](const DetailCurve& other) { return sameCurve(curve, other); };
        const auto found = std::find_if(distinct.begin(), distinct.end(), same);
        which.push_back(static_cast<std::size_t>(found - distinct.begin()));
        if (found == distinct.end()) distinct.push_back(curve);
    }
    m_entries.reset(new ushort[distinct.size() * kEntries16]);
    for (const std::size_t i : which) m_table.push_back(&m_entries[i * kEntries16]);
    constexpr std::size_t kRoom = smoothingRoom(kEntries16);
    const std::unique_ptr<float[]> work(new float[distinct.size() * kRoom]);

    const int count = static_cast<int>(distinct.size());
    // As few bunches as there can be, with any number of threads: six tables side by side take little longer than one.
    const int bunches = (count + kTablesSideBySide - 1) / kTablesSideBySide, tasks = bunches + (beside ? 1 : 0);
    const int bunch = (count + bunches - 1) / std::max(bunches, 1);
    parallelTasks(workerCount(tasks), tasks, [&](int task, int) noexcept {
        if (task == bunches) return beside();
        TableToSmooth tables[kTablesSideBySide];
        const int first = task * bunch, n = std::min(bunch, count - first);
        for (int i = 0; i < n; ++i) {
            const std::size_t at = static_cast<std::size_t>(first) + static_cast<std::size_t>(i);
            ushort* const table = &m_entries[at * kEntries16];
            tables[i] = {table, drawDetailCurve(distinct[at], table)};
        }
        smoothLUTs16U(tables, n, kEntries16, 2, &work[static_cast<std::size_t>(first) * kRoom]);
    });
}

}  // namespace kestrova::curves
