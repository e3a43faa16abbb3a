#include "kestrova/detail/domain_transform.h"

#include <omp.h>

#include <cmath>
#include <iostream>
#include <limits>
#include <vector>

#include "kestrova/frame/failure.h"
#include "kestrova/frame/parallel.h"

struct DomainTransformFilter::Workspace {};

DomainTransformFilter::DomainTransformFilter(float sigmaS, float sigmaR)
    : m_sigmaS(sigmaS), m_sigmaR(sigmaR), m_workspace(new Workspace) {
    const int cores = omp_get_num_procs();
    omp_set_num_threads(cores);
    omp_set_nested(1);
    omp_set_dynamic(0);
    std::cout << "system has " << cores << " cores" << std::endl;
}

DomainTransformFilter::~DomainTransformFilter() = default;

bool DomainTransformFilter::filter(const cv::Mat& in, cv::Mat& out, int mode) {
    if (mode == 0) return filterRF(in, out, m_sigmaS, m_sigmaR);
    if (mode == 1) return filterNC(in, out, m_sigmaS, m_sigmaR);
    return true;
}

bool DomainTransformFilter::diffX(const cv::Mat& in, cv::Mat& dx) {
    dx.create(in.size(), in.type());
    const int channels = in.channels();
    parallelRows(in.rows, in.cols * channels, [&](int y) noexcept {
        const float* row = in.ptr<float>(y);
        float* d = dx.ptr<float>(y);
        for (int i = 0; i < (in.cols - 1) * channels; ++i) d[i] = row[i + channels] - row[i];
    });
    return true;
}

bool DomainTransformFilter::diffY(const cv::Mat& in, cv::Mat& dy) {
    dy.create(in.size(), in.type());
    const int channels = in.channels();
    parallelRows(in.rows - 1, in.cols * channels, [&](int y) noexcept {
        const float* row = in.ptr<float>(y);
        const float* below = in.ptr<float>(y + 1);
        float* d = dy.ptr<float>(y);
        for (int i = 0; i < (in.cols - 1) * channels; ++i) d[i] = below[i] - row[i];
    });
    return true;
}

bool DomainTransformFilter::sumAbs(const cv::Mat& d, cv::Mat& sum) {
    sum.create(d.size(), CV_32FC1);
    sum.setTo(0);
    const int channels = d.channels();
    parallelRows(d.rows - 1, d.cols * channels, [&](int y) noexcept {
        const float* row = d.ptr<float>(y);
        float* s = sum.ptr<float>(y);
        for (int x = 0; x < d.cols - 1; ++x) {
            for (int c = 0; c < channels; ++c) s[x] += std::abs(row[x * channels + c]);
        }
    });
    return true;
}

namespace {

const double kSqrt3 = std::sqrt(3.0);
const double kWidth = 1.0 / std::sqrt(64.0 - 1.0);

void distances(cv::Mat& sum, float ratio) {
    parallelRows(sum.rows, sum.cols, [&](int y) noexcept {
        float* d = sum.ptr<float>(y);
        for (int x = 0; x < sum.cols; ++x) d[x] = 1.0f + ratio * d[x];
    });
}

void commonStage(DomainTransformFilter& filter, const cv::Mat& in, cv::Mat& out, float sigmaS, float sigmaR,
                 cv::Mat& dH, cv::Mat& dVt) {
    if (in.depth() != CV_32F) fail("ERROR - DomainTransformFilter::filter - in.depth()!=CV_32F");
    out.create(in.size(), in.type());
    cv::Mat d, dV;
    filter.diffX(in, d);
    filter.sumAbs(d, dH);
    filter.diffY(in, d);
    filter.sumAbs(d, dV);
    distances(dH, sigmaS / sigmaR);
    distances(dV, sigmaS / sigmaR);
    cv::transpose(dV, dVt);
}

}  // namespace

bool DomainTransformFilter::filterRF(const cv::Mat& in, cv::Mat& out, float sigmaS, float sigmaR) {
    cv::Mat dH, dVt, turned;
    if (in.empty()) {
        out.create(in.size(), in.type());
        return true;
    }
    commonStage(*this, in, out, sigmaS, sigmaR, dH, dVt);
    in.copyTo(out);
    float sigma = sigmaS;
    for (int power : {4, 2, 1}) {
        sigma = static_cast<float>(static_cast<double>(sigma) * kSqrt3 * power * kWidth);
        recursivePass(out, dH, sigma);
        cv::transpose(out, turned);
        recursivePass(turned, dVt, sigma);
        cv::transpose(turned, out);
    }
    return true;
}

bool DomainTransformFilter::recursivePass(cv::Mat& image, const cv::Mat& D, float sigma) {
    cv::Mat V;
    cv::exp(D * (-std::sqrt(2.0) / static_cast<double>(sigma)), V);
    const int channels = image.channels();
    parallelRows(image.rows, image.cols * channels, [&](int y) noexcept {
        float* row = image.ptr<float>(y);
        const float* v = V.ptr<float>(y);
        for (int x = 1; x < image.cols; ++x) {
            for (int c = 0; c < channels; ++c) {
                float* p = row + x * channels + c;
                *p = (p[-channels] - *p) * v[x] + *p;
            }
        }
        for (int x = image.cols - 2; x >= 0; --x) {
            for (int c = 0; c < channels; ++c) {
                float* p = row + x * channels + c;
                *p = (p[channels] - *p) * v[x + 1] + *p;
            }
        }
    });
    return true;
}

bool DomainTransformFilter::filterNC(const cv::Mat& in, cv::Mat& out, float sigmaS, float sigmaR) {
    cv::Mat ctH, ctV, turned;
    if (in.empty()) {
        out.create(in.size(), in.type());
        return true;
    }
    commonStage(*this, in, out, sigmaS, sigmaR, ctH, ctV);
    for (cv::Mat* ct : {&ctH, &ctV}) {
        for (int y = 0; y < ct->rows; ++y) {
            float* row = ct->ptr<float>(y);
            for (int x = 1; x < ct->cols; ++x) row[x] += row[x - 1];
        }
    }
    in.copyTo(out);
    for (int power : {4, 2, 1}) {
        const float base = static_cast<float>(static_cast<double>(sigmaS) * kSqrt3 * power * kWidth);
        const float radius = static_cast<float>(static_cast<double>(base) * kSqrt3);
        boxPass(out, ctH, radius);
        cv::transpose(out, turned);
        boxPass(turned, ctV, radius);
        cv::transpose(turned, out);
    }
    return true;
}

bool DomainTransformFilter::boxPass(cv::Mat& image, const cv::Mat& ct, float radius) {
    const int cols = image.cols, channels = image.channels();
    std::vector<float> sums((static_cast<std::size_t>(cols) + 1) * channels);
    for (int y = 0; y < image.rows; ++y) {
        float* row = image.ptr<float>(y);
        const float* e = ct.ptr<float>(y);
        for (int i = 0; i < cols * channels; ++i) sums[i + channels] = sums[i] + row[i];

        const auto firstAbove = [&](int from, float bound) {
            while (from < cols && !(e[from] > bound)) ++from;
            return from;
        };
        int lower = 0, upper = 0;
        for (int x = 0; x < cols; ++x) {
            lower = firstAbove(lower, e[x] - radius);
            upper = firstAbove(upper, e[x] + radius);
            if (x == 0 && lower == cols) lower = 0;
            if (x == 0 && upper == cols) upper = 0;
            for (int c = 0; c < channels; ++c) {
                row[x * channels + c] =
                    (sums[upper * channels + c] - sums[lower * channels + c]) / static_cast<float>(upper - lower);
            }
        }
    }
    return true;
}

bool DomainTransformFilter::filterPair(cv::Mat& first, cv::Mat& second) {
    if (first.type() != CV_16UC1 || second.type() != CV_16UC1)
        fail("ERROR - DomainTransformFilter::filterPair - first.type()!=CV_16UC1 || second.type()!=CV_16UC1");
    if (first.size() != second.size()) fail("ERROR - DomainTransformFilter::filterPair - first.size()!=second.size()");
    if (first.empty()) return true;
    cv::Mat planes[] = {first, second};
    cv::Mat pair;
    cv::merge(planes, 2, pair);
    pair.convertTo(pair, CV_32F);
    filterRF(pair, pair, m_sigmaS, m_sigmaR);
    pair.convertTo(pair, CV_16U);
    cv::split(pair, planes);
    return true;
}
