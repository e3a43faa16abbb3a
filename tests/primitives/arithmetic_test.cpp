#include "kestrova/primitives/arithmetic.h"

#include <cmath>
#include <limits>

#include "tests/primitives/region.h"
#include "tests/support/threads.h"

namespace {

std::vector<cv::Size> sizes() {
    std::vector<cv::Size> all = testSizes();
    all.push_back({1001, 203});
    return all;
}

/// Holds that `call(a, size)` makes each pixel v of one plane `rule(v)`.
template <class Element, class Call, class Rule>
void expectInPlace(int type, const Call& call, const Rule& rule) {
    for (cv::Size size : sizes()) {
        const cv::Mat src = randomPlane(size.height, size.width, type);
        cv::Mat expected = src.clone();
        for (int y = 0; y < size.height; ++y)
            for (int x = 0; x < size.width; ++x) expected.at<Element>(y, x) = rule(src.at<Element>(y, x));
        withThreadCounts([&](int) {
            cv::Mat plane = asSubPlane(src);
            ASSERT_EQ(call(PlaneArgument{plane}, sizeOf(plane)), ippStsNoErr);
            EXPECT_TRUE(samePixels(expected, plane));
        });
    }
    expectRegionChecks({asSubPlane(randomPlane(3, 5, type))},
                       [&](const auto& p, IppiSize size) { return call(p[0], size); });
}

TEST(ArithmeticTest, ConstantsInPlace) {
    const float c = 0.3f;
    expectInPlace<float>(
        CV_32FC1, [=](const auto& p, IppiSize size) { return ippiAddC_32f_C1IR(c, p, p.step, size); },
        [=](float v) { return v + c; });
    expectInPlace<float>(
        CV_32FC1, [=](const auto& p, IppiSize size) { return ippiSubC_32f_C1IR(c, p, p.step, size); },
        [=](float v) { return v - c; });
    expectInPlace<uchar>(
        CV_8UC1, [=](const auto& p, IppiSize size) { return ippiXorC_8u_C1IR(255, p, p.step, size); },
        [](uchar v) { return static_cast<uchar>(255 - v); });
    expectInPlace<uchar>(
        CV_8UC1, [=](const auto& p, IppiSize size) { return ippiXorC_8u_C1IR(0x5a, p, p.step, size); },
        [](uchar v) { return static_cast<uchar>(v ^ 0x5a); });
}

TEST(ArithmeticTest, DivisionByAConstantMultipliesByTheReciprocal) {
    const float value = 3.7f;
    const float reciprocal = 1.0f / value;
    expectInPlace<float>(
        CV_32FC1, [=](const auto& p, IppiSize size) { return ippiDivC_32f_C1IR(value, p, p.step, size); },
        [=](float v) { return v * reciprocal; });
    float pixel = 41.0f;
    ippiDivC_32f_C1IR(41.0f, &pixel, 4, {1, 1});
    EXPECT_EQ(pixel, 41.0f * (1.0f / 41.0f));
    EXPECT_NE(pixel, 1.0f);
}

TEST(ArithmeticTest, DivisionByTheConstantZeroWarnsAndMultipliesByInfinity) {
    const float infinity = std::numeric_limits<float>::infinity();
    float pixels[] = {2, -3, 0};
    EXPECT_EQ(ippiDivC_32f_C1IR(0, pixels, sizeof pixels, {3, 1}), ippStsDivByZero);
    EXPECT_EQ(pixels[0], infinity);
    EXPECT_EQ(pixels[1], -infinity);
    EXPECT_TRUE(std::isnan(pixels[2]));
    EXPECT_EQ(ippiDivC_32f_C1IR(0, nullptr, 12, {3, 1}), ippStsNullPtrErr);
}

TEST(ArithmeticTest, Squares) {
    expectInPlace<float>(
        CV_32FC1, [](const auto& p, IppiSize size) { return ippiSqr_32f_C1IR(p, p.step, size); },
        [](float v) { return v * v; });
}

TEST(ArithmeticTest, ThresholdsReplaceWhatLiesBeyond) {
    expectInPlace<float>(
        CV_32FC1,
        [](const auto& p, IppiSize size) { return ippiThreshold_GTVal_32f_C1IR(p, p.step, size, 100.5f, -7.0f); },
        [](float v) { return v > 100.5f ? -7.0f : v; });
    expectInPlace<float>(
        CV_32FC1,
        [](const auto& p, IppiSize size) { return ippiThreshold_LTVal_32f_C1IR(p, p.step, size, -100.5f, 3.0f); },
        [](float v) { return v < -100.5f ? 3.0f : v; });
}

TEST(ArithmeticTest, ThresholdsLeaveTheThresholdAndTheUndefinedAlone) {
    float pixels[] = {1.0f, std::nextafter(1.0f, 2.0f), std::nextafter(1.0f, 0.0f), std::nanf("")};
    ippiThreshold_GTVal_32f_C1IR(pixels, sizeof pixels, {4, 1}, 1.0f, 5.0f);
    EXPECT_EQ(pixels[0], 1.0f);
    EXPECT_EQ(pixels[1], 5.0f);
    EXPECT_LT(pixels[2], 1.0f);
    EXPECT_TRUE(std::isnan(pixels[3]));
    ippiThreshold_LTVal_32f_C1IR(pixels, sizeof pixels, {4, 1}, 1.0f, 5.0f);
    EXPECT_EQ(pixels[0], 1.0f);
    EXPECT_EQ(pixels[2], 5.0f);
    EXPECT_TRUE(std::isnan(pixels[3]));
}

using Rule2 = float (*)(float, float);

/// Holds that `call(src, dst, size)` makes dst = rule(src, dst).
template <class Call>
void expectIntoSecond(const Call& call, Rule2 rule) {
    for (cv::Size size : sizes()) {
        const cv::Mat src = asSubPlane(randomPlane(size.height, size.width, CV_32FC1, 1));
        const cv::Mat before = randomPlane(size.height, size.width, CV_32FC1, 2);
        cv::Mat expected(size, CV_32FC1);
        for (int y = 0; y < size.height; ++y)
            for (int x = 0; x < size.width; ++x)
                expected.at<float>(y, x) = rule(src.at<float>(y, x), before.at<float>(y, x));
        withThreadCounts([&](int) {
            cv::Mat dst = asSubPlane(before);
            ASSERT_EQ(call(PlaneArgument{src}, PlaneArgument{dst}, sizeOf(src)), ippStsNoErr);
            EXPECT_TRUE(samePixels(expected, dst));
        });
    }
    expectRegionChecks({asSubPlane(randomPlane(3, 5, CV_32FC1)), asSubPlane(randomPlane(3, 5, CV_32FC1))},
                       [&](const auto& p, IppiSize size) { return call(p[0], p[1], size); });
}

TEST(ArithmeticTest, PlanesInPlace) {
    using Operation = IppStatus (*)(const float*, int, float*, int, IppiSize);
    const std::pair<Operation, Rule2> operations[] = {
        {ippiAdd_32f_C1IR, [](float src, float dst) { return dst + src; }},
        {ippiSub_32f_C1IR, [](float src, float dst) { return dst - src; }},
        {ippiMul_32f_C1IR, [](float src, float dst) { return dst * src; }},
        {ippiDiv_32f_C1IR, [](float src, float dst) { return dst / src; }},
        {ippiSqr_32f_C1R, [](float src, float) { return src * src; }},
    };
    for (const auto& operation : operations)
        expectIntoSecond(
            [&](const auto& s, const auto& d, IppiSize size) { return operation.first(s, s.step, d, d.step, size); },
            operation.second);
    expectIntoSecond(
        [](const auto& s, const auto& d, IppiSize size) { return ippiMulC_32f_C1R(s, s.step, 0.3f, d, d.step, size); },
        [](float src, float) { return src * 0.3f; });
}

TEST(ArithmeticTest, TheFirstOperandIsTakenAwayOrDividedBy) {
    using Operation = IppStatus (*)(const float*, int, const float*, int, float*, int, IppiSize);
    const std::pair<Operation, Rule2> operations[] = {
        {ippiSub_32f_C1R, [](float src1, float src2) { return src2 - src1; }},
        {ippiMul_32f_C1R, [](float src1, float src2) { return src1 * src2; }},
        {ippiDiv_32f_C1R, [](float src1, float src2) { return src2 / src1; }},
    };
    for (const auto& operation : operations) {
        for (cv::Size size : sizes()) {
            const cv::Mat src1 = asSubPlane(randomPlane(size.height, size.width, CV_32FC1, 1));
            const cv::Mat src2 = randomPlane(size.height, size.width, CV_32FC1, 2);
            cv::Mat expected(size, CV_32FC1);
            for (int y = 0; y < size.height; ++y)
                for (int x = 0; x < size.width; ++x)
                    expected.at<float>(y, x) = operation.second(src1.at<float>(y, x), src2.at<float>(y, x));
            withThreadCounts([&](int) {
                cv::Mat dst = asSubPlane(cv::Mat(size, CV_32FC1, cv::Scalar(5)));
                ASSERT_EQ(operation.first(src1.ptr<float>(), stepOf(src1), src2.ptr<float>(), stepOf(src2),
                                          dst.ptr<float>(), stepOf(dst), sizeOf(dst)),
                          ippStsNoErr);
                EXPECT_TRUE(samePixels(expected, dst));
            });
        }
        const cv::Mat plane = asSubPlane(randomPlane(3, 5, CV_32FC1));
        expectRegionChecks({asSubPlane(plane), asSubPlane(plane), asSubPlane(plane)},
                           [&](const auto& p, IppiSize size) {
                               return operation.first(p[0], p[0].step, p[1], p[1].step, p[2], p[2].step, size);
                           });
    }
    const float one = 1, three = 3;
    float result = 0;
    ippiSub_32f_C1R(&one, 4, &three, 4, &result, 4, {1, 1});
    EXPECT_EQ(result, 2.0f);
    ippiSub_32f_C1IR(&one, 4, &result, 4, {1, 1});
    EXPECT_EQ(result, 1.0f);
}

TEST(ArithmeticTest, TheDestinationMayBeASource) {
    cv::Mat plane = randomPlane(203, 307, CV_32FC1);
    const cv::Mat other = randomPlane(203, 307, CV_32FC1, 4), before = plane.clone();
    ippiMul_32f_C1R(plane.ptr<float>(), stepOf(plane), other.ptr<float>(), stepOf(other), plane.ptr<float>(),
                    stepOf(plane), sizeOf(plane));
    cv::Mat expected(plane.size(), CV_32FC1);
    for (int y = 0; y < plane.rows; ++y)
        for (int x = 0; x < plane.cols; ++x) expected.at<float>(y, x) = before.at<float>(y, x) * other.at<float>(y, x);
    EXPECT_TRUE(samePixels(expected, plane));
}

TEST(ArithmeticTest, DivisionByZeroWarnsAndWritesEverything) {
    const float infinity = std::numeric_limits<float>::infinity();
    const float divisor[] = {0, 0, 0, 2, -0.0f};
    const float dividend[] = {1, -1, 0, 4, 3};
    const auto expectQuotients = [&](const float* q) {
        EXPECT_EQ(q[0], infinity);
        EXPECT_EQ(q[1], -infinity);
        EXPECT_TRUE(std::isnan(q[2]));
        EXPECT_EQ(q[3], 2.0f);
        EXPECT_EQ(q[4], -infinity);
    };
    float result[5];
    EXPECT_EQ(ippiDiv_32f_C1R(divisor, 20, dividend, 20, result, 20, {5, 1}), ippStsDivByZero);
    expectQuotients(result);
    std::copy(dividend, dividend + 5, result);
    EXPECT_EQ(ippiDiv_32f_C1IR(divisor, 20, result, 20, {5, 1}), ippStsDivByZero);
    expectQuotients(result);
    std::copy(dividend, dividend + 5, result);
    EXPECT_EQ(ippsDiv_32f_I(divisor, result, 5), ippStsDivByZero);
    expectQuotients(result);
}

TEST(ArithmeticTest, OneZeroAmongManyPixelsIsSeen) {
    withThreadCounts([](int) {
        cv::Mat divisor(503, 401, CV_32FC1, cv::Scalar(2)), plane(503, 401, CV_32FC1, cv::Scalar(6));
        const auto divide = [&] {
            return ippiDiv_32f_C1IR(divisor.ptr<float>(), stepOf(divisor), plane.ptr<float>(), stepOf(plane),
                                    sizeOf(plane));
        };
        EXPECT_EQ(divide(), ippStsNoErr);
        divisor.at<float>(499, 400) = 0;
        EXPECT_EQ(divide(), ippStsDivByZero);
    });
}

TEST(ArithmeticTest, VectorsAreDivided) {
    for (int len : {1, 2, 33, 16384, 16385, 100001}) {
        const cv::Mat src = randomPlane(1, len, CV_32FC1, 1), before = randomPlane(1, len, CV_32FC1, 2);
        cv::Mat expected(1, len, CV_32FC1);
        for (int i = 0; i < len; ++i) expected.ptr<float>()[i] = before.ptr<float>()[i] / src.ptr<float>()[i];
        withThreadCounts([&](int) {
            cv::Mat dst = before.clone();
            ASSERT_EQ(ippsDiv_32f_I(src.ptr<float>(), dst.ptr<float>(), len), ippStsNoErr);
            EXPECT_TRUE(samePixels(expected, dst));
        });
    }
    float one = 1;
    EXPECT_EQ(ippsDiv_32f_I(&one, &one, 0), ippStsSizeErr);
    EXPECT_EQ(ippsDiv_32f_I(nullptr, &one, 1), ippStsNullPtrErr);
    EXPECT_EQ(ippsDiv_32f_I(&one, nullptr, 1), ippStsNullPtrErr);
}

}  // namespace
