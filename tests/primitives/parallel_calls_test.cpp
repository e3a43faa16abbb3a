#include <gtest/gtest.h>

#include <functional>
#include <numeric>
#include <string>
#include <vector>

#include "kestrova/primitives/primitives.h"
#include "tests/support/planes.h"

namespace {

constexpr int kRows = 64, kCols = 300, kBands = 4, kMargin = 2;

// The input of all: pixels around the region exist for the filters.
cv::Mat input(int type) {
    const cv::Mat whole = randomPlane(kRows + 2 * kMargin, kCols + 2 * kMargin, type, 3);
    return whole(cv::Rect(kMargin, kMargin, kCols, kRows));
}

// A primitive on the rows of `out`, which are those of `in`; `out` holds other pixels before.
struct Primitive {
    std::string name;
    int inType, outType;
    std::function<IppStatus(const cv::Mat& in, cv::Mat& out)> call;
};

template <class Pixel>
const Pixel* first(const cv::Mat& plane) {
    return plane.ptr<Pixel>();
}
template <class Pixel>
Pixel* first(cv::Mat& plane) {
    return plane.ptr<Pixel>();
}
int step(const cv::Mat& plane) { return static_cast<int>(plane.step); }
IppiSize size(const cv::Mat& plane) { return {plane.cols, plane.rows}; }

template <class From, class To, class Function>
auto fromTo(Function function) {
    return [=](const cv::Mat& in, cv::Mat& out) {
        return function(first<From>(in), step(in), first<To>(out), step(out), size(out));
    };
}

std::vector<Primitive> primitives() {
    static const std::vector<ushort> table = [] {
        std::vector<ushort> entries(65536);
        std::iota(entries.rbegin(), entries.rend(), ushort{0});
        return entries;
    }();
    static const uchar cross[] = {0, 1, 0, 1, 1, 1, 0, 1, 0};
    static const int levels[] = {100, 30000, 65000}, values[] = {60000, 5, 40000};
    return {
        {"copy", CV_16UC1, CV_16UC1, fromTo<ushort, ushort>(ippiCopy_16u_C1R)},
        {"set", CV_8UC1, CV_8UC1,
         [](const cv::Mat&, cv::Mat& out) { return ippiSet_8u_C1R(7, first<uchar>(out), step(out), size(out)); }},
        {"masked set", CV_8UC1, CV_8UC1,
         [](const cv::Mat& in, cv::Mat& out) {
             return ippiSet_8u_C1MR(7, first<uchar>(out), step(out), size(out), first<uchar>(in), step(in));
         }},
        {"replicated border", CV_32FC1, CV_32FC1,
         [](const cv::Mat& in, cv::Mat& out) {
             return ippiCopyReplicateBorder_32f_C1R(first<float>(in), step(in), {in.cols - 9, in.rows},
                                                    first<float>(out), step(out), size(out), 0, 4);
         }},
        {"to float", CV_16UC1, CV_32FC1, fromTo<ushort, float>(ippiConvert_16u32f_C1R)},
        {"to bytes", CV_32FC1, CV_8UC1,
         [](const cv::Mat& in, cv::Mat& out) {
             return ippiConvert_32f8u_C1R(first<float>(in), step(in), first<uchar>(out), step(out), size(out),
                                          ippRndNear);
         }},
        {"to words of colour", CV_8UC4, CV_16UC4, fromTo<uchar, ushort>(ippiScale_8u16u_C4R)},
        {"table", CV_16UC1, CV_16UC1,
         [](const cv::Mat& in, cv::Mat& out) {
             return ippiLUTPalette_16u_C1R(first<ushort>(in), step(in), first<ushort>(out), step(out), size(out),
                                           table.data(), 16);
         }},
        {"linear table", CV_16UC1, CV_16UC1,
         [](const cv::Mat&, cv::Mat& out) {
             return ippiLUT_Linear_16u_C1IR(first<ushort>(out), step(out), size(out), values, levels, 3);
         }},
        {"ramp", CV_16UC1, CV_16UC1,
         [](const cv::Mat&, cv::Mat& out) {
             return ippiImageRamp_16u_C1R(first<ushort>(out), step(out), size(out), 5, 3, ippAxsHorizontal);
         }},
        {"sum", CV_32FC1, CV_32FC1, fromTo<float, float>(ippiAdd_32f_C1IR)},
        {"quotient", CV_32FC1, CV_32FC1, fromTo<float, float>(ippiDiv_32f_C1IR)},
        {"threshold", CV_32FC1, CV_32FC1,
         [](const cv::Mat&, cv::Mat& out) {
             return ippiThreshold_GTVal_32f_C1IR(first<float>(out), step(out), size(out), 10, 20);
         }},
        {"inversion", CV_8UC1, CV_8UC1,
         [](const cv::Mat&, cv::Mat& out) { return ippiXorC_8u_C1IR(255, first<uchar>(out), step(out), size(out)); }},
        {"Gauss of bytes", CV_8UC1, CV_8UC1,
         [](const cv::Mat& in, cv::Mat& out) {
             return ippiFilterGauss_8u_C1R(first<uchar>(in), step(in), first<uchar>(out), step(out), size(out),
                                           ippMskSize5x5);
         }},
        {"Gauss of floats", CV_32FC1, CV_32FC1,
         [](const cv::Mat& in, cv::Mat& out) {
             return ippiFilterGauss_32f_C1R(first<float>(in), step(in), first<float>(out), step(out), size(out),
                                            ippMskSize5x5);
         }},
        {"minimum", CV_16UC1, CV_16UC1,
         [](const cv::Mat& in, cv::Mat& out) {
             return ippiErode_16u_C1R(first<ushort>(in), step(in), first<ushort>(out), step(out), size(out), cross,
                                      {3, 3}, {1, 1});
         }},
        {"maximum", CV_8UC1, CV_8UC1,
         [](const cv::Mat& in, cv::Mat& out) {
             return ippiDilate_8u_C1R(first<uchar>(in), step(in), first<uchar>(out), step(out), size(out), cross,
                                      {3, 3}, {1, 1});
         }},
    };
}

TEST(PrimitivesTest, BandsFromWithinAParallelRegionAreThoseOfOneCall) {
    for (const Primitive& primitive : primitives()) {
        const cv::Mat in = input(primitive.inType), before = randomPlane(kRows, kCols, primitive.outType, 9);
        cv::Mat expected = before.clone(), banded = before.clone();
        ASSERT_EQ(primitive.call(in, expected), ippStsNoErr) << primitive.name;
        int failures = 0;
#pragma omp parallel for num_threads(kBands) reduction(+ : failures)
        for (int band = 0; band < kBands; ++band) {
            const cv::Range rows(band * kRows / kBands, (band + 1) * kRows / kBands);
            cv::Mat part = banded.rowRange(rows);
            failures += primitive.call(in.rowRange(rows), part) != ippStsNoErr;
        }
        EXPECT_EQ(failures, 0) << primitive.name;
        EXPECT_TRUE(samePixels(expected, banded)) << primitive.name;
    }
}

}  // namespace
