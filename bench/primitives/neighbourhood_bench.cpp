#include "kestrova/primitives/neighbourhood.h"

#include <cmath>
#include <opencv2/imgproc.hpp>

#include "bench/primitives/planes.h"

namespace {

template <class Box, class InPlace>
void boxRows(const std::string& type, int cvType, const Box& box, const InPlace& inPlace) {
    for (int radius : {1, 2, 4, 8, 32, 100}) {
        const IppiSize mask{2 * radius + 1, 2 * radius + 1};
        const IppiPoint anchor{radius, radius};
        const std::string ofRadius = " radius " + std::to_string(radius);
        const std::size_t bytes = 2 * CV_ELEM_SIZE(cvType);
        planesRow(
            "ippiFilterBox_" + type + "_C1R" + ofRadius, bytes, {cvType, cvType},
            [=](const BenchPlanes& p, IppiSize size) { box(p[0], p[0].step, p[1], p[1].step, size, mask, anchor); },
            radius);
        planesRow(
            "ippiFilterBox_" + type + "_C1IR" + ofRadius, bytes, {cvType},
            [=](const BenchPlanes& p, IppiSize size) { inPlace(p[0], p[0].step, size, mask, anchor); }, radius);
        planesRow(
            "cv::blur " + type + ofRadius, bytes, {cvType, cvType},
            [=](BenchPlanes& p, IppiSize) {
                cv::blur(p[0].region, p[1].region, {mask.width, mask.height});
            },
            radius);
    }
}

KESTROVA_BENCH(box) {
    boxRows("8u", CV_8UC1, ippiFilterBox_8u_C1R, ippiFilterBox_8u_C1IR);
    boxRows("16u", CV_16UC1, ippiFilterBox_16u_C1R, ippiFilterBox_16u_C1IR);
    boxRows("32f", CV_32FC1, ippiFilterBox_32f_C1R, ippiFilterBox_32f_C1IR);
}

template <class Filter>
void gaussRows(const std::string& type, int cvType, const Filter& filter) {
    for (IppiMaskSize mask : {ippMskSize3x3, ippMskSize5x5}) {
        const int side = mask % 10;
        const std::string ofSide = " " + std::to_string(side) + "x" + std::to_string(side);
        const std::size_t bytes = 2 * CV_ELEM_SIZE(cvType);
        planesRow(
            "ippiFilterGauss_" + type + "_C1R" + ofSide, bytes, {cvType, cvType},
            [=](const BenchPlanes& p, IppiSize size) { filter(p[0], p[0].step, p[1], p[1].step, size, mask); },
            side / 2);
        planesRow(
            "cv::GaussianBlur " + type + ofSide, bytes, {cvType, cvType},
            [=](BenchPlanes& p, IppiSize) {
                cv::GaussianBlur(p[0].region, p[1].region, {side, side}, 0);
            },
            side / 2);
    }
}

KESTROVA_BENCH(gauss) {
    gaussRows("8u", CV_8UC1, ippiFilterGauss_8u_C1R);
    gaussRows("32f", CV_32FC1, ippiFilterGauss_32f_C1R);
}

cv::Mat disc(int radius) {
    const int side = 2 * radius + 1;
    cv::Mat mask(side, side, CV_8UC1, cv::Scalar(127));
    for (int i = 0; i < side; ++i)
        for (int j = 0; j < side; ++j)
            if (std::hypot(i - radius, j - radius) > radius + 0.5) mask.at<uchar>(i, j) = 0;
    return mask;
}

template <class Filter>
void discRows(const std::string& name, int cvType, const Filter& filter) {
    for (int radius : {2, 8, 32}) {
        const cv::Mat mask = disc(radius);
        planesRow(
            name + " disc " + std::to_string(radius), 2 * CV_ELEM_SIZE(cvType), {cvType, cvType},
            [=](const BenchPlanes& p, IppiSize size) {
                filter(p[0], p[0].step, p[1], p[1].step, size, mask.data, {mask.cols, mask.rows}, {radius, radius});
            },
            radius);
    }
}

KESTROVA_BENCH(morphology) {
    discRows("ippiErode_8u_C1R", CV_8UC1, ippiErode_8u_C1R);
    discRows("ippiErode_16u_C1R", CV_16UC1, ippiErode_16u_C1R);
    discRows("ippiDilate_8u_C1R", CV_8UC1, ippiDilate_8u_C1R);
    discRows("ippiDilate_16u_C1R", CV_16UC1, ippiDilate_16u_C1R);
    for (int radius : {2, 8})
        planesRow(
            "cv::dilate 16u disc " + std::to_string(radius), 4, {CV_16UC1, CV_16UC1},
            [mask = disc(radius)](BenchPlanes& p, IppiSize) { cv::dilate(p[0].region, p[1].region, mask); }, radius);
    planesRow(
        "ippiErode3x3_16u_C1IR", 4, {CV_16UC1},
        [](const BenchPlanes& p, IppiSize size) { ippiErode3x3_16u_C1IR(p[0], p[0].step, size); }, 1);
    planesRow(
        "ippiDilate3x3_16u_C1IR", 4, {CV_16UC1},
        [](const BenchPlanes& p, IppiSize size) { ippiDilate3x3_16u_C1IR(p[0], p[0].step, size); }, 1);
    planesRow(
        "cv::erode 16u 3x3", 4, {CV_16UC1, CV_16UC1},
        [](BenchPlanes& p, IppiSize) { cv::erode(p[0].region, p[1].region, cv::Mat()); }, 1);
}

}  // namespace
