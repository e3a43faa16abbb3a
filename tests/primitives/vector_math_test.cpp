#include "kestrova/primitives/vector_math.h"

#include <gtest/gtest.h>
#include <omp.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

namespace {

constexpr float kInfinity = std::numeric_limits<float>::infinity();

const std::vector<float> kValues = {0.0f, -0.0f, 1.0f,   -2.5f, 0x1p-149f, -0x1p-130f, 3.4e38f, kInfinity, -kInfinity,
                                    0.1f, -7.0f, 255.0f, 1e-4f, -1e4f,     0.5f,       2.0f,    3.0f};

int count(const std::vector<float>& v) { return static_cast<int>(v.size()); }

}  // namespace

TEST(VectorMath, BlocksBeginAtTheirAlignment) {
    for (int alignment : {1, 2, 16, 32, 64, 4096}) {
        void* block = mkl_malloc(100, alignment);
        ASSERT_NE(block, nullptr);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % static_cast<unsigned>(alignment), 0u);
        static_cast<char*>(block)[99] = 1;
        mkl_free(block);
    }
}

TEST(VectorMath, AnAlignmentThatIsNoPowerOfTwoCountsAs64) {
    for (int alignment : {0, -32, 24}) {
        void* block = mkl_malloc(8, alignment);
        ASSERT_NE(block, nullptr);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % 64, 0u);
        mkl_free(block);
    }
}

TEST(VectorMath, NoBytesOrMoreThanThereAreGiveNull) {
    EXPECT_EQ(mkl_malloc(0, 32), nullptr);
    EXPECT_EQ(mkl_malloc(std::numeric_limits<std::size_t>::max(), 32), nullptr);
    EXPECT_EQ(mkl_malloc(std::numeric_limits<std::size_t>::max() - 40, 32), nullptr);
}

TEST(VectorMath, FreeingNullDoesNothing) { mkl_free(nullptr); }

TEST(VectorMath, AbsClearsTheSign) {
    std::vector<float> y(kValues.size());
    vsAbs(count(kValues), kValues.data(), y.data());
    for (std::size_t i = 0; i < y.size(); ++i) {
        EXPECT_EQ(y[i], std::fabs(kValues[i]));
        EXPECT_FALSE(std::signbit(y[i]));
    }
}

TEST(VectorMath, SubIsTheFirstMinusTheSecond) {
    const float a[] = {5, 1, -3}, b[] = {2, 4, -3};
    float y[3];
    vsSub(3, a, b, y);
    EXPECT_EQ(y[0], 3.0f);
    EXPECT_EQ(y[1], -3.0f);
    EXPECT_EQ(y[2], 0.0f);
}

TEST(VectorMath, DivIsTheFirstByTheSecondRoundedOnce) {
    const std::vector<float> a = {1, 2, -1, 0x1p-149f, -0.0f, 1}, b = {3, 7, 0, 2, 5, kInfinity};
    std::vector<float> y(a.size());
    vsDiv(count(a), a.data(), b.data(), y.data());
    for (std::size_t i = 0; i < a.size(); ++i) EXPECT_EQ(y[i], a[i] / b[i]);
    EXPECT_EQ(y[2], -kInfinity);
    EXPECT_TRUE(std::signbit(y[4]));
}

TEST(VectorMath, LnAndPowxAreWithinAnUlpOfTheFunctions) {
    std::vector<float> a(1000), ln(1000), power(1000);
    for (int i = 0; i < 1000; ++i) a[i] = 1e-4f + 0.003f * static_cast<float>(i);
    vsLn(1000, a.data(), ln.data());
    vsPowx(1000, a.data(), 1.2f, power.data());
    for (int i = 0; i < 1000; ++i) {
        const double exactLn = std::log(static_cast<double>(a[i]));
        const double exactPower = std::pow(static_cast<double>(a[i]), static_cast<double>(1.2f));
        EXPECT_NEAR(ln[i], exactLn, std::fabs(exactLn) * 0x1p-23) << a[i];
        EXPECT_NEAR(power[i], exactPower, exactPower * 0x1p-23) << a[i];
    }
}

TEST(VectorMath, PowxOfZeroToTheZeroIsOne) {
    const float a[] = {0.0f, -0.0f, 5.0f, kInfinity};
    float y[4];
    vsPowx(4, a, 0.0f, y);
    for (float v : y) EXPECT_EQ(v, 1.0f);
    vsPowx(4, a, 1.5f, y);
    EXPECT_EQ(y[0], 0.0f);
}

TEST(VectorMath, LnOfZeroIsMinusInfinityAndBelowNotANumber) {
    float v[] = {0.0f, -1.0f, 1.0f};
    vsLn(3, v, v);
    EXPECT_EQ(v[0], -kInfinity);
    EXPECT_TRUE(std::isnan(v[1]));
    EXPECT_EQ(v[2], 0.0f);
}

TEST(VectorMath, OutputsMayBeInputs) {
    std::vector<float> a(100), b(100);
    for (int i = 0; i < 100; ++i) a[i] = static_cast<float>(i + 1), b[i] = 0.5f * static_cast<float>(i + 3);
    std::vector<float> y(100), inPlace;
    const auto same = [&](const char* what) { EXPECT_EQ(y, inPlace) << what; };
    vsLn(100, a.data(), y.data());
    inPlace = a, vsLn(100, inPlace.data(), inPlace.data()), same("vsLn");
    vsPowx(100, a.data(), 0.7f, y.data());
    inPlace = a, vsPowx(100, inPlace.data(), 0.7f, inPlace.data()), same("vsPowx");
    vsDiv(100, a.data(), b.data(), y.data());
    inPlace = a, vsDiv(100, inPlace.data(), b.data(), inPlace.data()), same("vsDiv");
    vsSub(100, a.data(), b.data(), y.data());
    inPlace = b, vsSub(100, a.data(), inPlace.data(), inPlace.data()), same("vsSub");
    vsAbs(100, a.data(), y.data());
    inPlace = a, vsAbs(100, inPlace.data(), inPlace.data()), same("vsAbs");
}

TEST(VectorMath, NoElementsWriteNothing) {
    const float a = 4;
    float y = 9;
    for (int n : {0, -3}) {
        vsAbs(n, &a, &y), vsSub(n, &a, &a, &y), vsDiv(n, &a, &a, &y), vsLn(n, &a, &y), vsPowx(n, &a, 2, &y);
        EXPECT_EQ(y, 9.0f);
    }
}

TEST(VectorMath, MaxThreadsIsTheTeamThatWouldBeOpened) {
    EXPECT_EQ(mkl_get_max_threads(), omp_get_max_threads());
    int inside = 0;
#pragma omp parallel num_threads(2)
    {
#pragma omp single
        inside = mkl_get_max_threads();
    }
    EXPECT_EQ(inside, 1);
}
