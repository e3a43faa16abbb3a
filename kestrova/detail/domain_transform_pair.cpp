#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdlib>
#include <utility>
#include <vector>

#include "kestrova/detail/domain_transform.h"
#include "kestrova/detail/domain_transform_passes.h"
#include "kestrova/frame/failure.h"
#include "kestrova/frame/kernel.h"
#include "kestrova/frame/memory_failure.h"
#include "kestrova/frame/parallel.h"
#include "kestrova/frame/saturate.h"
#include "kestrova/frame/step.h"

using namespace kestrova::frame;
using namespace kestrova::detail::domain_transform;

namespace {

constexpr int kSums = 2 * 65535 + 1;

// The sums of absolute differences of two planes.
KESTROVA_KERNEL void pairSumRow(const ushort* first, const ushort* firstTo, const ushort* second,
                                const ushort* secondTo, int* sum, int n) noexcept {
    for (int x = 0; x < n; ++x) sum[x] = std::abs(firstTo[x] - first[x]) + std::abs(secondTo[x] - second[x]);
}

KESTROVA_KERNEL void interleaveRow(const ushort* first, const ushort* second, float* pair, int n) noexcept {
    for (int x = 0; x < n; ++x) {
        pair[2 * x] = first[x];
        pair[2 * x + 1] = second[x];
    }
}

KESTROVA_KERNEL void deinterleaveRow(const float* pair, ushort* first, ushort* second, int n) noexcept {
    for (int x = 0; x < n; ++x) {
        first[x] = sat16(pair[2 * x]);
        second[x] = sat16(pair[2 * x + 1]);
    }
}

}  // namespace

void DomainTransformFilter::Workspace::makeTables(float sigmaS, float ratio) {
    std::vector<float> distances(kSums), scaled(kSums);
    for (int sum = 0; sum < kSums; ++sum) distances[sum] = static_cast<float>(sum);
    distanceRow(distances.data(), ratio, kSums);
    const std::array<float, 3> widths = recursiveWidths(sigmaS);
    std::array<std::vector<float>, 3> weights;
    for (std::size_t i = 0; i < weights.size(); ++i) {
        weights[i].resize(kSums);
        expRow(distances.data(), weightFactor(widths[i]), scaled.data(), weights[i].data(), kSums);
    }
    tables = std::move(weights);
}

bool DomainTransformFilter::filterPair(cv::Mat& first, cv::Mat& second) {
    checkPlanes(first, second);
    if (first.type() != CV_16UC1 || second.type() != CV_16UC1)
        fail("ERROR - DomainTransformFilter::filterPair - first.type()!=CV_16UC1 || second.type()!=CV_16UC1");
    if (first.size() != second.size()) fail("ERROR - DomainTransformFilter::filterPair - first.size()!=second.size()");
    if (first.empty()) return true;
    orFailWithoutMemory("ERROR - DomainTransformFilter::filterPair - not enough memory",
                        [&] { smoothPair(first, second); });
    return true;
}

void DomainTransformFilter::smoothPair(cv::Mat& first, cv::Mat& second) {
    Workspace& w = *m_workspace;
    const int rows = first.rows, cols = first.cols;
    if (w.tables[0].empty()) w.makeTables(m_sigmaS, m_sigmaS / m_sigmaR);
    w.pair.create(first.size(), CV_32FC2);
    w.sumX.create(first.size(), CV_32SC1);
    w.sumY.create(first.size(), CV_32SC1);

    parallelRows(rows, 2 * cols, [&](int y) noexcept {
        const ushort *a = first.ptr<ushort>(y), *b = second.ptr<ushort>(y);
        int *dx = w.sumX.ptr<int>(y), *dy = w.sumY.ptr<int>(y);
        interleaveRow(a, b, w.pair.ptr<float>(y), cols);
        if (y == rows - 1) {
            std::fill_n(dx, cols, 0);
            std::fill_n(dy, cols, 0);
            return;
        }
        pairSumRow(a, a + 1, b, b + 1, dx, cols - 1);
        pairSumRow(a, first.ptr<ushort>(y + 1), b, second.ptr<ushort>(y + 1), dy, cols - 1);
        dx[cols - 1] = dy[cols - 1] = 0;
    });
    for (const std::vector<float>& table : w.tables) {
        passRows(w.pair, TableWeights{w.sumX, table.data()});
        passColumns(w.pair, TableWeights{w.sumY, table.data()}, w.V);
    }
    parallelRows(rows, 2 * cols, [&](int y) noexcept {
        deinterleaveRow(w.pair.ptr<float>(y), first.ptr<ushort>(y), second.ptr<ushort>(y), cols);
    });
}
