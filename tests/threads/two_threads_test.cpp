#include <gtest/gtest.h>
#include <omp.h>

#include <cstdlib>
#include <functional>
#include <thread>

#include "kestrova/kestrova.h"
#include "tests/support/planes.h"

/// Two threads of the host with objects of their own, and with the objects that may be shared: each gets what one
/// thread alone gets. A program of its own, because it is also built with ThreadSanitizer, which reports what they
/// share.

namespace {

using Planes = std::vector<cv::Mat>;

Planes picture(std::uint32_t seed) {
    const cv::Mat pixels = randomPlane(120, 161, CV_8UC4, seed);
    cv::Mat back(120, 161, CV_8UC4);
    TPImage image, other(20, 20);
    image.convertFrom(pixels.data, pixels.cols, pixels.rows, static_cast<int>(pixels.step));
    image.copyTo(other, true);
    other.convertTo(back.data, static_cast<int>(back.step));
    return {back, TPImage::MatRoi(image.m_Y, 3, 5, 60, 50, 2, false, true)};
}

Planes thinImage(std::uint32_t seed) {
    const cv::Mat pixels = randomPlane(60, 80, CV_8UC4, seed);
    TImage y(TImage::IM_Y16U, TSize()), c(TImage::IM_C8U, TSize()), m(TImage::IM_M8U, TSize());
    TImage::bgra8uToTImage(pixels.data, static_cast<int>(pixels.step), 80, 60, y, c, m);
    TImage blurred(y);
    tFilterBox(&y, &blurred, 60, 2, nullptr);
    return {y.toMat(0).clone(), c.toMat(1).clone(), blurred.toMat(0).clone()};
}

Planes filters(std::uint32_t seed) {
    const cv::Mat words = randomPlane(70, 90, CV_16UC1, seed), floats = randomPlane(70, 90, CV_32FC1, 0, 1, seed);
    cv::Mat laplacian, sharp, pyramid, bilateral = words.clone(), smooth = randomPlane(24, 25, CV_32FC1, 0, 1, seed);
    LocalLaplacian().proc10K(words, laplacian, 0.3f, 0.3f, 4);
    extremeSharpen(words, sharp);
    ConvPyr(cv::Mat(1, 5, CV_32FC1, cv::Scalar(0.2)), cv::Mat(1, 5, CV_32FC1, cv::Scalar(0.2)),
            cv::Mat(1, 3, CV_32FC1, cv::Scalar(0.3)))
        .proc(floats, pyramid);
    BilateralFilter().proc(cv::Mat(), bilateral, 8, 4000, nullptr);
    cv::Mat guide = smooth.clone();
    TWLSFilter().Proc(smooth.ptr<float>(), 25, 24, 1, 1.2f, guide.ptr<float>(), false);
    cv::Mat large;
    upSizeNXGuidedByY(words, randomPlane(35, 45, CV_16UC1, seed), large, 2, true, 4, 2, 0.001f);
    return {laplacian, sharp, pyramid, bilateral, smooth, large};
}

// Two blocks wide, and large enough for a team.
Planes detail(std::uint32_t seed) {
    const auto full = [&](std::uint32_t i) { return randomPlane(70, 1100, CV_16UC1, 20000, 40000, seed + i); };
    const auto half = [&](std::uint32_t i) { return randomPlane(35, 550, CV_16UC1, 20000, 40000, seed + i); };
    TVelline engine;
    engine.setup(full(0), full(1), full(2), full(3), half(4), half(5), nullptr);
    for (float& k : engine.m_k) k = 0.4f;
    engine.m_light[1] = 0.3f;
    engine.m_mix[0] = 0.2f;
    engine.m_bChangedS = engine.m_bChangedM = engine.m_bChangedL = engine.m_bChangedY = true;
    engine.proc(cv::Rect(4, 4, 30, 30), 2, cv::Mat());
    const cv::Mat ofEverySecond = engine.getRoiY().clone();
    engine.proc(cv::Rect(0, 0, 1100, 70), 1, cv::Mat());
    TColorAdjVL colour;
    colour.m_saturation = 0.4f;
    colour.m_bChanged = true;
    cv::Mat dr, db;
    colour.proc(full(0), full(6), full(7), full(8), dr, db);
    return {ofEverySecond, engine.getRoiY().clone(), engine.m_Dr, dr, db};
}

Planes mask(std::uint32_t seed) {
    TDrawMask mask;
    mask.setInImage(randomPlane(40, 50, CV_8UC1, seed), randomPlane(40, 50, CV_16UC1, seed + 1),
                    randomPlane(40, 50, CV_16UC1, seed + 2));
    mask.drawStart(0, 1);
    mask.drawADot(cv::Point(30, 30), 0, 30, 10, 0.7f, 0.3f);
    mask.drawEnd();
    mask.proc();
    return {mask.getMaskRoi(cv::Rect(), 0)};
}

Planes tables(std::uint32_t seed) {
    const cv::Mat in = randomPlane(50, 60, CV_16UC1, seed), out(50, 60, CV_16UC1);
    TLut16U table;
    table.setupLinearThreshold(0.4f, 0.2f, 0.1f, -0.1f);
    table.apply(in, out);
    return {out};
}

struct Work {
    std::string name;
    Planes (*run)(std::uint32_t seed);
};
void PrintTo(const Work& work, std::ostream* out) { *out << work.name; }

void expectSame(const Planes& expected, const Planes& actual) {
    ASSERT_EQ(expected.size(), actual.size());
    for (std::size_t i = 0; i < expected.size(); ++i) EXPECT_TRUE(samePixels(expected[i], actual[i]));
}

/// Runs both at once, several times.
void atOnce(const std::function<void()>& a, const std::function<void()>& b) {
    for (int i = 0; i < 3; ++i) {
        std::thread first(a), second(b);
        first.join();
        second.join();
    }
}

/// The team of each thread; one, unless the runtime tells ThreadSanitizer of its barriers.
int threadsOfATeam() { return std::getenv("OMP_NUM_THREADS") ? std::atoi(std::getenv("OMP_NUM_THREADS")) : 1; }

class TwoThreads : public testing::TestWithParam<Work> {};

TEST_P(TwoThreads, WithObjectsOfTheirOwnGetWhatOneGets) {
    const int team = threadsOfATeam();
    omp_set_num_threads(team);
    const Planes one = GetParam().run(1), two = GetParam().run(2);
    Planes first, second;
    const auto run = [&](std::uint32_t seed, Planes& result) {
        omp_set_num_threads(team);
        result = GetParam().run(seed);
    };
    atOnce([&] { run(1, first); }, [&] { run(2, second); });
    expectSame(one, first);
    expectSame(two, second);
}

INSTANTIATE_TEST_SUITE_P(, TwoThreads,
                         testing::Values(Work{"picture", picture}, Work{"thinImage", thinImage},
                                         Work{"filters", filters}, Work{"detail", detail}, Work{"mask", mask},
                                         Work{"tables", tables}),
                         [](const testing::TestParamInfo<Work>& work) { return work.param.name; });

TEST(TwoThreadsOnOneObject, MayApplyItsTableAndReadItsCurve) {
    TLut16U table;
    table.setupLinearThreshold(0.4f, 0.2f, 0.1f, -0.1f);
    TSpline spline(9);
    spline.update();
    const cv::Mat in = randomPlane(50, 60, CV_16UC1), expected(50, 60, CV_16UC1);
    table.apply(in, expected);
    const auto run = [&](const cv::Mat& out, float& value) {
        omp_set_num_threads(1);
        table.apply(in, out);
        value = spline.value(0.3f);
    };
    const cv::Mat first(50, 60, CV_16UC1), second(50, 60, CV_16UC1);
    float a = 0, b = 0;
    atOnce([&] { run(first, a); }, [&] { run(second, b); });
    EXPECT_TRUE(samePixels(expected, first));
    EXPECT_TRUE(samePixels(expected, second));
    EXPECT_EQ(a, b);
}

TEST(TwoThreadsOnOneObject, MayApplyAGuidedFiltersModel) {
    TGuidedFilter filter;
    const cv::Mat guide = randomPlane(40, 50, CV_16UC1);
    filter.setup({randomPlane(20, 25, CV_32FC1, 0, 1)}, randomPlane(20, 25, CV_32FC1, 0, 1, 2), 2, 0.01f);
    cv::Mat expected, first, second;
    filter.proc({guide}, expected);
    const auto run = [&](cv::Mat& out) {
        omp_set_num_threads(1);
        filter.proc({guide}, out);
    };
    atOnce([&] { run(first); }, [&] { run(second); });
    EXPECT_TRUE(samePixels(expected, first));
    EXPECT_TRUE(samePixels(expected, second));
}

TEST(TwoThreadsOnNoObject, MayCountPicturesAndNameFailures) {
    const int before = TPImage().uid();
    const auto run = [] {
        for (int i = 0; i < 200; ++i) {
            TPImage image, copy(image);
            try {
                TPImage::MatRoi(cv::Mat(), -1, -1, 1, 1, 1, false, false);
            } catch (const char*) {
            }
            cv::Mat none;
            try {
                upSize2X(cv::Mat(2, 2, CV_8UC1), none, 4);
            } catch (const char* text) {
                if (std::string(text).find("upSize2X") == std::string::npos) std::abort();
            }
        }
    };
    atOnce(run, run);
    EXPECT_EQ(TPImage().uid(), before);
}

}  // namespace
