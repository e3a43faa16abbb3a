#include "kestrova/primitives/convert.h"

#include <cmath>
#include <cstdint>
#include <limits>

#include "tests/primitives/region.h"
#include "tests/support/threads.h"

namespace {

template <class From, class To, class Rule>
cv::Mat converted(const cv::Mat& src, int depth, const Rule& rule) {
    cv::Mat dst(src.size(), CV_MAKETYPE(depth, src.channels()));
    for (int y = 0; y < src.rows; ++y)
        for (int x = 0; x < src.cols * src.channels(); ++x) dst.ptr<To>(y)[x] = rule(src.ptr<From>(y)[x]);
    return dst;
}

/// Compares `call(src, dst)` with `rule` on every pixel, over all sizes.
template <class From, class To, class Call, class Rule>
void expectConverts(int from, int to, const Call& call, const Rule& rule, double low, double high) {
    std::vector<cv::Size> sizes = testSizes();
    sizes.push_back({1001, 203});
    for (cv::Size size : sizes) {
        const cv::Mat src = asSubPlane(randomPlane(size.height, size.width, from, low, high));
        const cv::Mat expected = converted<From, To>(src, CV_MAT_DEPTH(to), rule);
        withThreadCounts([&](int) {
            cv::Mat dst = asSubPlane(cv::Mat(size, to, cv::Scalar::all(0)));
            ASSERT_EQ(call(PlaneArgument{src}, PlaneArgument{dst}, sizeOf(src)), ippStsNoErr);
            EXPECT_TRUE(samePixels(expected, dst));
        });
    }
    expectRegionChecks({asSubPlane(randomPlane(3, 5, from)), asSubPlane(randomPlane(3, 5, to))},
                       [&](const auto& p, IppiSize size) { return call(p[0], p[1], size); });
}

TEST(ConvertTest, ToFloatIsExactAndNotScaled) {
    const auto exact = [](int v) { return static_cast<float>(v); };
    expectConverts<uchar, float>(
        CV_8UC1, CV_32FC1,
        [](const auto& s, const auto& d, IppiSize size) { return ippiConvert_8u32f_C1R(s, s.step, d, d.step, size); },
        exact, 0, 255);
    expectConverts<ushort, float>(
        CV_16UC1, CV_32FC1,
        [](const auto& s, const auto& d, IppiSize size) { return ippiConvert_16u32f_C1R(s, s.step, d, d.step, size); },
        exact, 0, 65535);
}

template <class To>
To nearest(float v) {
    const float top = std::numeric_limits<To>::max();
    return v > 0 ? static_cast<To>(std::nearbyint(std::fmin(v, top))) : To(0);
}

template <class To>
To truncated(float v) {
    const float top = std::numeric_limits<To>::max();
    return v > 0 ? static_cast<To>(std::trunc(std::fmin(v, top))) : To(0);
}

TEST(ConvertTest, FromFloatRoundsAsAskedAndSaturates) {
    for (IppRoundMode mode : {ippRndZero, ippRndNear}) {
        expectConverts<float, uchar>(
            CV_32FC1, CV_8UC1,
            [=](const auto& s, const auto& d, IppiSize size) {
                return ippiConvert_32f8u_C1R(s, s.step, d, d.step, size, mode);
            },
            mode == ippRndZero ? truncated<uchar> : nearest<uchar>, -20, 280);
        expectConverts<float, ushort>(
            CV_32FC1, CV_16UC1,
            [=](const auto& s, const auto& d, IppiSize size) {
                return ippiConvert_32f16u_C1R(s, s.step, d, d.step, size, mode);
            },
            mode == ippRndZero ? truncated<ushort> : nearest<ushort>, -5000, 70000);
    }
}

TEST(ConvertTest, HalvesGoToEvenAndTheUndefinedToZero) {
    const float infinity = std::numeric_limits<float>::infinity();
    const float values[] = {0.5f,   1.5f,     2.5f,      254.5f,        255.5f,      65534.5f,   -0.5f,    1e30f,
                            -1e30f, infinity, -infinity, std::nanf(""), 0.49999997f, 255.99998f, 65535.5f, -0.0f};
    constexpr int kCount = 16;
    const uchar near8[] = {0, 2, 2, 254, 255, 255, 0, 255, 0, 255, 0, 0, 0, 255, 255, 0};
    const uchar zero8[] = {0, 1, 2, 254, 255, 255, 0, 255, 0, 255, 0, 0, 0, 255, 255, 0};
    const ushort near16[] = {0, 2, 2, 254, 256, 65534, 0, 65535, 0, 65535, 0, 0, 0, 256, 65535, 0};
    const ushort zero16[] = {0, 1, 2, 254, 255, 65534, 0, 65535, 0, 65535, 0, 0, 0, 255, 65535, 0};
    uchar to8[kCount];
    ushort to16[kCount];
    const IppiSize size{kCount, 1};
    const auto expectEqual = [&](const auto& expected, const auto& actual) {
        for (int i = 0; i < kCount; ++i) EXPECT_EQ(expected[i], actual[i]) << values[i];
    };
    ippiConvert_32f8u_C1R(values, sizeof values, to8, sizeof to8, size, ippRndNear);
    expectEqual(near8, to8);
    ippiConvert_32f8u_C1R(values, sizeof values, to8, sizeof to8, size, ippRndZero);
    expectEqual(zero8, to8);
    ippiConvert_32f16u_C1R(values, sizeof values, to16, sizeof to16, size, ippRndNear);
    expectEqual(near16, to16);
    ippiConvert_32f16u_C1R(values, sizeof values, to16, sizeof to16, size, ippRndZero);
    expectEqual(zero16, to16);
}

TEST(ScaleTest, BytesAreMultipliedBy257) {
    expectConverts<uchar, ushort>(
        CV_8UC4, CV_16UC4,
        [](const auto& s, const auto& d, IppiSize size) { return ippiScale_8u16u_C4R(s, s.step, d, d.step, size); },
        [](int v) { return static_cast<ushort>(v * 257); }, 0, 255);
}

TEST(ScaleTest, WordsAreNarrowedByTheFastRule) {
    // Arithmetic shifts written as floors.
    const auto narrowed = [](int v) {
        const double s = v - 32768;
        return static_cast<uchar>(std::floor((s - std::floor(s / 256)) / 256) + 128);
    };
    expectConverts<ushort, uchar>(
        CV_16UC4, CV_8UC4,
        [](const auto& s, const auto& d, IppiSize size) {
            return ippiScale_16u8u_C4R(s, s.step, d, d.step, size, ippAlgHintFast);
        },
        narrowed, 0, 65535);

    cv::Mat all(64, 256, CV_16UC4);
    for (int i = 0; i < 65536; ++i) all.ptr<ushort>()[i] = static_cast<ushort>(i);
    cv::Mat bytes(64, 256, CV_8UC4);
    ippiScale_16u8u_C4R(all.ptr<ushort>(), stepOf(all), bytes.data, stepOf(bytes), sizeOf(all), ippAlgHintFast);
    EXPECT_TRUE(samePixels((converted<ushort, uchar>(all, CV_8U, narrowed)), bytes));
    EXPECT_EQ(bytes.data[65535], 255);
    EXPECT_EQ(bytes.data[0], 0);
    EXPECT_EQ(bytes.data[32768], 128);
}

TEST(ScaleTest, BytesThereAndBackAreTheSame) {
    uchar bytes[256], back[256];
    ushort words[256];
    for (int i = 0; i < 256; ++i) bytes[i] = static_cast<uchar>(i);
    ippiScale_8u16u_C4R(bytes, 256, words, 512, {64, 1});
    ippiScale_16u8u_C4R(words, 512, back, 256, {64, 1}, ippAlgHintFast);
    for (int i = 0; i < 256; ++i) EXPECT_EQ(back[i], bytes[i]);
}

}  // namespace
