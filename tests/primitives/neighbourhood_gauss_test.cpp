#include <cstdlib>

#include "kestrova/primitives/neighbourhood.h"
#include "tests/primitives/neighbourhood.h"
#include "tests/support/threads.h"

namespace {

const int kKernel5[5][5] = {
    {2, 7, 12, 7, 2}, {7, 31, 52, 31, 7}, {12, 52, 127, 52, 12}, {7, 31, 52, 31, 7}, {2, 7, 12, 7, 2}};
const int kKernel3[3][3] = {{1, 2, 1}, {2, 4, 2}, {1, 2, 1}};

struct Gauss {
    IppiMaskSize code;
    int radius, total;
    int weight(int i, int j) const { return radius == 2 ? kKernel5[i][j] : kKernel3[i][j]; }
};
const Gauss kGausses[] = {{ippMskSize5x5, 2, 571}, {ippMskSize3x3, 1, 16}};

Surrounded surrounded(cv::Size size, const Gauss& gauss, int type) {
    const int side = 2 * gauss.radius + 1;
    return Surrounded(size, {side, side}, {gauss.radius, gauss.radius}, type);
}

template <class Element, class Pixel>
cv::Mat filtered(const Surrounded& src, const Pixel& pixel) {
    cv::Mat dst(src.region.size(), src.region.type());
    for (int y = 0; y < dst.rows; ++y)
        for (int x = 0; x < dst.cols; ++x) dst.at<Element>(y, x) = pixel(src.frame, y, x);
    return dst;
}

template <class Element>
using Filter = IppStatus (*)(const Element*, int, Element*, int, IppiSize, IppiMaskSize);

template <class Element>
void expectFiltered(Filter<Element> filter, const Gauss& gauss, const Surrounded& src, const cv::Mat& expected) {
    withThreadCounts([&](int) {
        cv::Mat dst = asSubPlane(cv::Mat(src.region.size(), src.region.type(), cv::Scalar(0)));
        ASSERT_EQ(filter(src.region.ptr<Element>(), stepOf(src.region), dst.ptr<Element>(), stepOf(dst), sizeOf(dst),
                         gauss.code),
                  ippStsNoErr);
        EXPECT_TRUE(samePixels(expected, dst));
    });
}

TEST(FilterGaussTest, BytesAreRoundedToNearestHalvesUp) {
    for (const Gauss& gauss : kGausses) {
        for (cv::Size size : testSizes()) {
            const Surrounded src = surrounded(size, gauss, CV_8UC1);
            const auto pixel = [&](const cv::Mat& frame, int y, int x) {
                int sum = 0;
                for (int i = 0; i <= 2 * gauss.radius; ++i)
                    for (int j = 0; j <= 2 * gauss.radius; ++j)
                        sum += gauss.weight(i, j) * frame.at<uchar>(y + i, x + j);
                return static_cast<uchar>((2 * sum + gauss.total) / (2 * gauss.total));
            };
            expectFiltered(ippiFilterGauss_8u_C1R, gauss, src, filtered<uchar>(src, pixel));
        }
    }
}

TEST(FilterGaussTest, FloatsAreSummedInTheDocumentedOrder) {
    for (const Gauss& gauss : kGausses) {
        const int r = gauss.radius;
        for (cv::Size size : testSizes()) {
            const Surrounded src(cancellingFloats(size.height + 2 * r, size.width + 2 * r), size, {r, r});
            const auto pixel = [&](const cv::Mat& frame, int y, int x) {
                const auto column = [&](int j) {
                    double sum = 0;
                    for (int d = r; d > 0; --d)
                        sum += gauss.weight(r + d, j) *
                               (double(frame.at<float>(y + r - d, x + j)) + double(frame.at<float>(y + r + d, x + j)));
                    return sum + gauss.weight(r, j) * double(frame.at<float>(y + r, x + j));
                };
                double sum = 0;
                for (int d = r; d > 0; --d) sum += column(r - d) + column(r + d);
                return static_cast<float>((sum + column(r)) * (1.0 / gauss.total));
            };
            expectFiltered(ippiFilterGauss_32f_C1R, gauss, src, filtered<float>(src, pixel));
        }
    }
}

TEST(FilterGaussTest, AnImpulseGivesTheKernel) {
    cv::Mat impulse(9, 9, CV_32FC1, cv::Scalar(0));
    impulse.at<float>(4, 4) = 571;
    cv::Mat dst(5, 5, CV_32FC1);
    ippiFilterGauss_32f_C1R(impulse.ptr<float>(2) + 2, stepOf(impulse), dst.ptr<float>(), stepOf(dst), {5, 5},
                            ippMskSize5x5);
    for (int i = 0; i < 5; ++i)
        for (int j = 0; j < 5; ++j) EXPECT_EQ(dst.at<float>(i, j), kKernel5[i][j]);
}

TEST(FilterGaussTest, AConstantStaysItself) {
    for (float value : {0.1f, 1.0f / 3.0f, 65535.0f}) {
        const cv::Mat src(24, 34, CV_32FC1, cv::Scalar(value));
        cv::Mat dst(20, 30, CV_32FC1);
        ippiFilterGauss_32f_C1R(src.ptr<float>(2) + 2, stepOf(src), dst.ptr<float>(), stepOf(dst), sizeOf(dst),
                                ippMskSize5x5);
        EXPECT_TRUE(samePixels(cv::Mat(20, 30, CV_32FC1, cv::Scalar(value)), dst));
    }
}

TEST(FilterGaussTest, ChecksItsArguments) {
    for (const Gauss& gauss : kGausses) {
        const Surrounded bytes = surrounded({5, 3}, gauss, CV_8UC1), floats = surrounded({5, 3}, gauss, CV_32FC1);
        expectRegionChecks({bytes.region, cv::Mat(3, 5, CV_8UC1)}, [&](const auto& p, IppiSize size) {
            return ippiFilterGauss_8u_C1R(p[0], p[0].step, p[1], p[1].step, size, gauss.code);
        });
        expectRegionChecks({floats.region, cv::Mat(3, 5, CV_32FC1)}, [&](const auto& p, IppiSize size) {
            return ippiFilterGauss_32f_C1R(p[0], p[0].step, p[1], p[1].step, size, gauss.code);
        });
    }
    const cv::Mat src(5, 5, CV_8UC1, cv::Scalar(1));
    uchar dst = 9;
    for (int code : {0, 13, 34, 77})
        EXPECT_EQ(ippiFilterGauss_8u_C1R(src.ptr(2) + 2, 5, &dst, 1, {1, 1}, static_cast<IppiMaskSize>(code)),
                  ippStsMaskSizeErr);
    EXPECT_EQ(dst, 9);
}

}  // namespace
