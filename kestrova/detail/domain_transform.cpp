#include "kestrova/detail/domain_transform.h"

#include <omp.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <iostream>
#include <type_traits>
#include <vector>

#include "kestrova/detail/domain_transform_passes.h"
#include "kestrova/detail/domain_transform_workspace.h"
#include "kestrova/frame/failure.h"
#include "kestrova/frame/kernel.h"
#include "kestrova/frame/kestrova.h"
#include "kestrova/frame/memory_failure.h"
#include "kestrova/frame/parallel.h"
#include "kestrova/frame/plane_checks.h"

using namespace kestrova::frame;
using namespace kestrova::detail::domain_transform;

namespace {

KESTROVA_KERNEL void differenceRow(const float* from, const float* to, float* d, int n) noexcept {
    for (int i = 0; i < n; ++i) d[i] = to[i] - from[i];
}

KESTROVA_KERNEL void sumAbsRow(const float* d, float* sum, int n, int channels) noexcept {
    if (channels == 2) {
        for (int x = 0; x < n; ++x) sum[x] = std::abs(d[2 * x]) + std::abs(d[2 * x + 1]);
        return;
    }
    for (int x = 0; x < n; ++x) {
        float s = 0;
        for (int c = 0; c < channels; ++c) s += std::abs(d[x * channels + c]);
        sum[x] = s;
    }
}

void sumAlongRows(cv::Mat& d) {
    parallelRows(d.rows, d.cols, [&](int y) noexcept {
        float* row = d.ptr<float>(y);
        for (int x = 1; x < d.cols; ++x) row[x] += row[x - 1];
    });
}

// Each pixel becomes the mean of those whose running distance `ct` is within `radius` of its own. Where no pixel of the
// row lies above the first one's upper bound, that bound's index is 0, and the first pixel is left without a mean
// (0/0).
template <class Channels>
void averageRow(float* row, const float* ct, float radius, float* sums, int cols, Channels channels) noexcept {
    std::fill_n(sums, channels, 0.0f);
    for (int i = 0; i < cols * channels; ++i) sums[i + channels] = sums[i] + row[i];

    const auto firstAbove = [=](float bound, int from) {
        while (from < cols && !(ct[from] > bound)) ++from;
        return from;
    };
    int lower = firstAbove(ct[0] - radius, 0) % cols;
    int upper = firstAbove(ct[0] + radius, 0) % cols;
    for (int x = 0; x < cols; ++x) {
        if (x > 0) {
            lower = firstAbove(ct[x] - radius, lower);
            upper = firstAbove(ct[x] + radius, upper);
        }
        const float count = static_cast<float>(upper - lower);
        for (int c = 0; c < channels; ++c)
            row[x * channels + c] = (sums[upper * channels + c] - sums[lower * channels + c]) / count;
    }
}

void averageRowOf(int channels, float* row, const float* ct, float radius, float* sums, int cols) noexcept {
    switch (channels) {
        case 1: return averageRow(row, ct, radius, sums, cols, std::integral_constant<int, 1>());
        case 2: return averageRow(row, ct, radius, sums, cols, std::integral_constant<int, 2>());
        case 3: return averageRow(row, ct, radius, sums, cols, std::integral_constant<int, 3>());
    }
    averageRow(row, ct, radius, sums, cols, channels);
}

void checkFloat(const cv::Mat& in) {
    checkPlane(in);
    if (in.depth() != CV_32F) fail("ERROR - DomainTransformFilter::filter - in.depth()!=CV_32F");
}

bool oneDistanceAPixel(const cv::Mat& image, const cv::Mat& distances) {
    checkPlanes(image, distances);
    return image.depth() == CV_32F && distances.type() == CV_32FC1 && image.size() == distances.size();
}

}  // namespace

DomainTransformFilter::DomainTransformFilter(float sigmaS, float sigmaR) : m_sigmaS(sigmaS), m_sigmaR(sigmaR) {
    orFailWithoutMemory("ERROR - DomainTransformFilter::DomainTransformFilter - not enough memory",
                        [this] { m_workspace = std::make_unique<Workspace>(); });
    const int cores = omp_get_num_procs();
    omp_set_num_threads(cores);
    omp_set_nested(1);
    omp_set_dynamic(0);
    if (Kestrova::printing()) std::cout << "system has " << cores << " cores" << std::endl;
}

DomainTransformFilter::~DomainTransformFilter() = default;

bool DomainTransformFilter::filter(const cv::Mat& in, cv::Mat& out, int mode) {
    if (mode == 0) return filterRF(in, out, m_sigmaS, m_sigmaR);
    if (mode == 1) return filterNC(in, out, m_sigmaS, m_sigmaR);
    return true;
}

bool DomainTransformFilter::diffX(const cv::Mat& in, cv::Mat& dx) {
    checkFloat(in);
    orFailWithoutMemory("ERROR - DomainTransformFilter::diffX - not enough memory",
                        [&] { dx.create(in.size(), in.type()); });
    const int n = std::max(in.cols - 1, 0) * in.channels();
    parallelRows(in.rows, n, [&](int y) noexcept {
        const float* row = in.ptr<float>(y);
        differenceRow(row, row + in.channels(), dx.ptr<float>(y), n);
    });
    return true;
}

bool DomainTransformFilter::diffY(const cv::Mat& in, cv::Mat& dy) {
    checkFloat(in);
    orFailWithoutMemory("ERROR - DomainTransformFilter::diffY - not enough memory",
                        [&] { dy.create(in.size(), in.type()); });
    const int n = std::max(in.cols - 1, 0) * in.channels();
    parallelRows(in.rows - 1, n,
                 [&](int y) noexcept { differenceRow(in.ptr<float>(y), in.ptr<float>(y + 1), dy.ptr<float>(y), n); });
    return true;
}

bool DomainTransformFilter::sumAbs(const cv::Mat& d, cv::Mat& sum) {
    checkFloat(d);
    orFailWithoutMemory("ERROR - DomainTransformFilter::sumAbs - not enough memory", [&] {
        sum.create(d.size(), CV_32FC1);
        sum.setTo(0);
    });
    parallelRows(d.rows - 1, d.cols * d.channels(),
                 [&](int y) noexcept { sumAbsRow(d.ptr<float>(y), sum.ptr<float>(y), d.cols - 1, d.channels()); });
    return true;
}

void DomainTransformFilter::Workspace::measure(const cv::Mat& in, float ratio) {
    dH.create(in.size(), CV_32FC1);
    dV.create(in.size(), CV_32FC1);
    const int cols = in.cols, channels = in.channels(), n = (cols - 1) * channels;
    const auto rowOfDifferences = [n] { return std::vector<float>(static_cast<std::size_t>(n)); };
    forEachStrip(Strips(in.rows, workOf(cols, 4 * channels)), rowOfDifferences,
                 [&](int begin, int end, auto& d) noexcept {
                     const auto distances = [&](const float* from, const float* to, float* sum) {
                         differenceRow(from, to, d.data(), n);
                         sumAbsRow(d.data(), sum, cols - 1, channels);
                         sum[cols - 1] = 0;
                         distanceRow(sum, ratio, cols);
                     };
                     for (int y = begin; y < end; ++y) {
                         if (y == in.rows - 1) {
                             for (cv::Mat* D : {&dH, &dV}) {
                                 std::fill_n(D->ptr<float>(y), cols, 0.0f);
                                 distanceRow(D->ptr<float>(y), ratio, cols);
                             }
                             continue;
                         }
                         const float* row = in.ptr<float>(y);
                         distances(row, row + channels, dH.ptr<float>(y));
                         distances(row, in.ptr<float>(y + 1), dV.ptr<float>(y));
                     }
                 });
}

bool DomainTransformFilter::filterRF(const cv::Mat& in, cv::Mat& out, float sigmaS, float sigmaR) {
    checkFloat(in);
    orFailWithoutMemory("ERROR - DomainTransformFilter::filterRF - not enough memory", [&] {
        Workspace& w = *m_workspace;
        if (!in.empty()) w.measure(in, sigmaS / sigmaR);
        out.create(in.size(), in.type());
        if (in.empty()) return;
        in.copyTo(out);
        for (float sigma : recursiveWidths(sigmaS)) {
            passRows(out, DistanceWeights{w.dH, weightFactor(sigma)});
            passColumns(out, DistanceWeights{w.dV, weightFactor(sigma)}, w.V);
        }
    });
    return true;
}

bool DomainTransformFilter::recursivePass(cv::Mat& image, const cv::Mat& D, float sigma) {
    if (!oneDistanceAPixel(image, D)) fail("ERROR - DomainTransformFilter::recursivePass - D does not fit the image");
    if (image.empty()) return true;
    orFailWithoutMemory("ERROR - DomainTransformFilter::recursivePass - not enough memory", [&] {
        passRows(image, DistanceWeights{D, weightFactor(sigma)});
    });
    return true;
}

bool DomainTransformFilter::filterNC(const cv::Mat& in, cv::Mat& out, float sigmaS, float sigmaR) {
    checkFloat(in);
    if (in.channels() > 4) fail("ERROR - DomainTransformFilter::filterNC - in.channels()>4");
    orFailWithoutMemory("ERROR - DomainTransformFilter::filterNC - not enough memory", [&] {
        if (!in.empty()) m_workspace->measure(in, sigmaS / sigmaR);
        out.create(in.size(), in.type());
        if (in.empty()) return;
        cv::Mat ctH = m_workspace->dH, ctV, turned;
        cv::transpose(m_workspace->dV, ctV);
        sumAlongRows(ctH);
        sumAlongRows(ctV);
        in.copyTo(out);
        for (int i : {2, 1, 0}) {
            const float radius = static_cast<float>(static_cast<double>(roundWidth(sigmaS, i)) * std::sqrt(3.0));
            boxPass(out, ctH, radius);
            cv::transpose(out, turned);
            boxPass(turned, ctV, radius);
            cv::transpose(turned, out);
        }
    });
    return true;
}

bool DomainTransformFilter::boxPass(cv::Mat& image, const cv::Mat& ct, float radius) {
    if (!oneDistanceAPixel(image, ct)) fail("ERROR - DomainTransformFilter::boxPass - ct does not fit the image");
    if (image.empty()) return true;
    const int cols = image.cols, channels = image.channels();
    const auto rowOfSums = [=] { return std::vector<float>((static_cast<std::size_t>(cols) + 1) * channels); };
    orFailWithoutMemory("ERROR - DomainTransformFilter::boxPass - not enough memory", [&] {
        forEachStrip(Strips(image.rows, workOf(cols, 4 * channels)), rowOfSums,
                     [&](int begin, int end, auto& sums) noexcept {
                         for (int y = begin; y < end; ++y)
                             averageRowOf(channels, image.ptr<float>(y), ct.ptr<float>(y), radius, sums.data(), cols);
                     });
    });
    return true;
}
