#include <algorithm>
#include <cmath>
#include <vector>

#include <gtest/gtest.h>

#include "kestrova/filters/tguidedfilter.h"
#include "tests/support/planes.h"

// The model beside one that is computed in long double throughout. Means of floats are rounded to float and products of
// means taken from them: in a bright plane, where the variance is small, that costs some 2^-24 over it and eps.

namespace {

constexpr float kEps = 0.001f;
using Exact = std::vector<long double>;

/// A bright plane of tiles with a little noise, dark on its left.
cv::Mat picture(cv::Size size, std::uint32_t seed) {
    cv::Mat plane = randomPlane(size.height, size.width, CV_32FC1, 0, 0.04, seed);
    for (int y = 0; y < size.height; ++y) {
        for (int x = 0; x < size.width; ++x) {
            const float tile = 0.02f * static_cast<float>((x / 16 * 7 + y / 16 * 3 + static_cast<int>(seed)) % 8);
            plane.at<float>(y, x) += x < size.width / 4 ? 0.1f * tile : 0.75f + tile;
        }
    }
    return plane;
}

Exact exact(const cv::Mat& plane) {
    Exact values;
    for (int y = 0; y < plane.rows; ++y)
        for (int x = 0; x < plane.cols; ++x) values.push_back(static_cast<long double>(plane.at<float>(y, x)));
    return values;
}

/// Means over windows with repeated borders, across and then down.
Exact boxMeans(const Exact& plane, cv::Size size, int r) {
    const auto at = [&](const Exact& of, int y, int x) {
        return of[static_cast<std::size_t>(std::clamp(y, 0, size.height - 1) * size.width +
                                           std::clamp(x, 0, size.width - 1))];
    };
    Exact across, means;
    for (int y = 0; y < size.height; ++y) {
        for (int x = 0; x < size.width; ++x) {
            long double sum = 0;
            for (int i = -r; i <= r; ++i) sum += at(plane, y, x + i);
            across.push_back(sum / (2 * r + 1));
        }
    }
    for (int y = 0; y < size.height; ++y) {
        for (int x = 0; x < size.width; ++x) {
            long double sum = 0;
            for (int i = -r; i <= r; ++i) sum += at(across, y + i, x);
            means.push_back(sum / (2 * r + 1));
        }
    }
    return means;
}

Exact product(const Exact& a, const Exact& b) {
    Exact values(a);
    for (std::size_t i = 0; i < a.size(); ++i) values[i] *= b[i];
    return values;
}

struct Model {
    Exact a, b;
};

Model exactModel(const cv::Mat& I, const cv::Mat& p, int r) {
    const Exact i = exact(I), q = exact(p);
    const Exact meanI = boxMeans(i, I.size(), r), meanP = boxMeans(q, I.size(), r);
    const Exact meanIP = boxMeans(product(i, q), I.size(), r), meanII = boxMeans(product(i, i), I.size(), r);
    Model fit{meanI, meanI};
    for (std::size_t x = 0; x < i.size(); ++x) {
        fit.a[x] = (meanIP[x] - meanI[x] * meanP[x]) / (meanII[x] - meanI[x] * meanI[x] + kEps);
        fit.b[x] = meanP[x] - fit.a[x] * meanI[x];
    }
    return {boxMeans(fit.a, I.size(), r), boxMeans(fit.b, I.size(), r)};
}

struct Errors {
    double slope = 0;        ///< the largest
    double otherLevels = 0;  ///< the part of the pixels of 16 bits that come out one level off
};

Errors errorsOf(const cv::Mat& I, const cv::Mat& p, int r) {
    TGuidedFilter filter;
    filter.setup({I}, p, r, kEps);
    cv::Mat words, result;
    I.convertTo(words, CV_16U, 65535);
    filter.proc({words}, result);
    const Model expected = exactModel(I, p, r);
    Errors errors;
    int other = 0;
    for (int y = 0; y < I.rows; ++y) {
        for (int x = 0; x < I.cols; ++x) {
            const auto i = static_cast<std::size_t>(y * I.cols + x);
            const double error = std::fabs(static_cast<double>(filter.m_a0.at<float>(y, x) - expected.a[i]));
            errors.slope = std::max(errors.slope, error);
            const long double level = words.at<ushort>(y, x) * expected.a[i] + expected.b[i] * 65535;
            const int off = std::abs(static_cast<int>(std::nearbyint(level)) - result.at<ushort>(y, x));
            EXPECT_LE(off, 1) << y << ", " << x;
            other += off != 0;
        }
    }
    errors.otherLevels = other / static_cast<double>(I.total());
    return errors;
}

TEST(TGuidedFilterAccuracy, TheModelIsThatOfExactArithmeticUpToTheRoundingOfMeans) {
    const cv::Size size(260, 170);
    for (int r : {1, 2, 8, 40, 200}) {
        const Errors errors = errorsOf(picture(size, 1), picture(size, 2), r);
        EXPECT_LT(errors.slope, 1.5e-4) << r;
        // Beside the rounding of a level there is that of the slope and of b, 2^-25 of full scale each.
        EXPECT_LT(errors.otherLevels, r < 4 ? 0.005 : 0.003) << r;
    }
}

}  // namespace
