#pragma once

#include <gtest/gtest.h>
#include <omp.h>

#include <cmath>
#include <memory>
#include <vector>

#include "kestrova/detail/domain_transform.h"
#include "kestrova/rows/exponential.h"
#include "tests/support/planes.h"

/// The domain transform as it is defined, sample by sample.

constexpr float kSigmaS = 8.0f;
constexpr float kSigmaR = 4259.71f;

// A filter made without its printed line and without its number of threads.
inline std::unique_ptr<DomainTransformFilter> quietFilter(float sigmaS = kSigmaS, float sigmaR = kSigmaR) {
    const int threads = omp_get_max_threads();
    testing::internal::CaptureStdout();
    auto filter = std::make_unique<DomainTransformFilter>(sigmaS, sigmaR);
    testing::internal::GetCapturedStdout();
    omp_set_num_threads(threads);
    return filter;
}

struct Size {
    int rows, cols, channels;
};

inline std::vector<Size> imageSizes() {
    std::vector<Size> sizes;
    for (const cv::Size& s : testSizes()) {
        for (int channels : {1, 2, 3}) sizes.push_back({s.height, s.width, channels});
    }
    sizes.push_back({19, 23, 4});
    sizes.push_back({19, 23, 5});
    sizes.push_back({5, 1000, 2});
    sizes.push_back({1000, 5, 2});
    sizes.push_back({15, 16, 2});
    sizes.push_back({67, 255, 2});
    return sizes;
}

inline cv::Mat testImage(const Size& s, unsigned seed = 3) {
    return randomPlane(s.rows, s.cols, CV_32FC(s.channels), 0, 65535, seed);
}

inline float& at(cv::Mat& m, int y, int x, int c) { return m.ptr<float>(y)[x * m.channels() + c]; }
inline float at(const cv::Mat& m, int y, int x, int c) { return m.ptr<float>(y)[x * m.channels() + c]; }

namespace reference {

inline cv::Mat transposed(const cv::Mat& m) {
    cv::Mat t(m.cols, m.rows, m.type());
    for (int y = 0; y < m.rows; ++y)
        for (int x = 0; x < m.cols; ++x)
            for (int c = 0; c < m.channels(); ++c) at(t, x, y, c) = at(m, y, x, c);
    return t;
}

// 1 + ratio * (absolute differences to the pixel at (y + down, x + right), over the channels in order).
inline cv::Mat distances(const cv::Mat& in, int down, int right, float sigmaS, float sigmaR) {
    const float ratio = sigmaS / sigmaR;
    cv::Mat d(in.rows, in.cols, CV_32FC1);
    for (int y = 0; y < in.rows; ++y) {
        for (int x = 0; x < in.cols; ++x) {
            float sum = 0;
            if (y < in.rows - 1 && x < in.cols - 1) {
                for (int c = 0; c < in.channels(); ++c) {
                    const float difference = at(in, y + down, x + right, c) - at(in, y, x, c);
                    sum = sum + std::fabs(difference);
                }
            }
            const float scaled = ratio * sum;
            at(d, y, x, 0) = 1.0f + scaled;
        }
    }
    return d;
}

inline void recursivePass(cv::Mat& image, const cv::Mat& D, float sigma) {
    const float factor = static_cast<float>(-std::sqrt(2.0) / sigma);
    cv::Mat V(D.size(), CV_32FC1);
    for (int y = 0; y < D.rows; ++y)
        for (int x = 0; x < D.cols; ++x) at(V, y, x, 0) = kestrova::rows::exponential(at(D, y, x, 0) * factor);
    for (int y = 0; y < image.rows; ++y) {
        for (int c = 0; c < image.channels(); ++c) {
            for (int x = 1; x < image.cols; ++x)
                at(image, y, x, c) =
                    (at(image, y, x - 1, c) - at(image, y, x, c)) * at(V, y, x, 0) + at(image, y, x, c);
            for (int x = image.cols - 2; x >= 0; --x)
                at(image, y, x, c) =
                    (at(image, y, x + 1, c) - at(image, y, x, c)) * at(V, y, x + 1, 0) + at(image, y, x, c);
        }
    }
}

inline cv::Mat filterRF(const cv::Mat& in, float sigmaS, float sigmaR) {
    const cv::Mat dH = distances(in, 0, 1, sigmaS, sigmaR);
    const cv::Mat dVt = transposed(distances(in, 1, 0, sigmaS, sigmaR));
    const double k = 1.0 / std::sqrt(std::pow(4.0, 3.0) - 1.0);
    const double s = std::sqrt(3.0);
    cv::Mat out = in.clone();
    float sigma = sigmaS;
    for (int i = 2; i >= 0; --i) {
        sigma = static_cast<float>(static_cast<double>(sigma) * s * std::pow(2.0, i) * k);
        recursivePass(out, dH, sigma);
        cv::Mat T = transposed(out);
        recursivePass(T, dVt, sigma);
        out = transposed(T);
    }
    return out;
}

inline cv::Mat runningSums(const cv::Mat& d) {
    cv::Mat ct = d.clone();
    for (int y = 0; y < d.rows; ++y)
        for (int x = 1; x < d.cols; ++x) at(ct, y, x, 0) = at(ct, y, x - 1, 0) + at(d, y, x, 0);
    return ct;
}

inline void boxPass(cv::Mat& image, const cv::Mat& ct, float radius) {
    const int cols = image.cols;
    for (int y = 0; y < image.rows; ++y) {
        std::vector<float> e(ct.ptr<float>(y), ct.ptr<float>(y) + cols);
        e.push_back(std::numeric_limits<float>::infinity());
        const auto bounds = [&](float shift) {
            std::vector<int> index(cols, 0);
            for (int i = 0; i < cols; ++i) {
                if (e[i] > e[0] + shift) {
                    index[0] = i;
                    break;
                }
            }
            for (int x = 1; x < cols; ++x) {
                index[x] = index[x - 1];
                while (!(e[index[x]] > e[x] + shift)) ++index[x];
            }
            return index;
        };
        const std::vector<int> l = bounds(-radius), u = bounds(radius);
        for (int c = 0; c < image.channels(); ++c) {
            std::vector<float> sat(1, 0.0f);
            for (int x = 0; x < cols; ++x) sat.push_back(sat[x] + at(image, y, x, c));
            for (int x = 0; x < cols; ++x)
                at(image, y, x, c) = (sat[u[x]] - sat[l[x]]) / static_cast<float>(u[x] - l[x]);
        }
    }
}

inline cv::Mat filterNC(const cv::Mat& in, float sigmaS, float sigmaR) {
    const cv::Mat ctH = runningSums(distances(in, 0, 1, sigmaS, sigmaR));
    const cv::Mat ctV = runningSums(transposed(distances(in, 1, 0, sigmaS, sigmaR)));
    const double k = 1.0 / std::sqrt(std::pow(4.0, 3.0) - 1.0);
    cv::Mat out = in.clone();
    for (int i = 2; i >= 0; --i) {
        const float base = static_cast<float>(static_cast<double>(sigmaS) * std::sqrt(3.0) * std::pow(2.0, i) * k);
        const float radius = static_cast<float>(static_cast<double>(base) * std::sqrt(3.0));
        boxPass(out, ctH, radius);
        cv::Mat T = transposed(out);
        boxPass(T, ctV, radius);
        out = transposed(T);
    }
    return out;
}

inline void filterPair(cv::Mat& first, cv::Mat& second, float sigmaS, float sigmaR) {
    cv::Mat planes[] = {first, second}, pair;
    cv::merge(planes, 2, pair);
    pair.convertTo(pair, CV_32FC2);
    pair = filterRF(pair, sigmaS, sigmaR);
    pair.convertTo(pair, CV_16UC2);
    cv::split(pair, planes);
}

}  // namespace reference
