#include "kestrova/primitives/convert.h"

#include "bench/primitives/planes.h"

namespace {

KESTROVA_BENCH(convert) {
    planesRow("ippiConvert_8u32f_C1R", 5, {CV_8UC1, CV_32FC1}, [](const BenchPlanes& p, IppiSize size) {
        ippiConvert_8u32f_C1R(p[0], p[0].step, p[1], p[1].step, size);
    });
    planesRow("ippiConvert_16u32f_C1R", 6, {CV_16UC1, CV_32FC1}, [](const BenchPlanes& p, IppiSize size) {
        ippiConvert_16u32f_C1R(p[0], p[0].step, p[1], p[1].step, size);
    });
    planesRow("cv::Mat::convertTo 16u32f", 6, {CV_16UC1, CV_32FC1},
              [](BenchPlanes& p, IppiSize) { p[0].region.convertTo(p[1].region, CV_32F); });
    planesRow("ippiConvert_32f8u_C1R", 5, {CV_32FC1, CV_8UC1}, [](const BenchPlanes& p, IppiSize size) {
        ippiConvert_32f8u_C1R(p[0], p[0].step, p[1], p[1].step, size, ippRndNear);
    });
    planesRow("ippiConvert_32f16u_C1R", 6, {CV_32FC1, CV_16UC1}, [](const BenchPlanes& p, IppiSize size) {
        ippiConvert_32f16u_C1R(p[0], p[0].step, p[1], p[1].step, size, ippRndNear);
    });
    planesRow("ippiConvert_32f16u_C1R truncating", 6, {CV_32FC1, CV_16UC1}, [](const BenchPlanes& p, IppiSize size) {
        ippiConvert_32f16u_C1R(p[0], p[0].step, p[1], p[1].step, size, ippRndZero);
    });
    planesRow("cv::Mat::convertTo 32f16u", 6, {CV_32FC1, CV_16UC1},
              [](BenchPlanes& p, IppiSize) { p[0].region.convertTo(p[1].region, CV_16U); });
    planesRow("ippiScale_8u16u_C4R", 12, {CV_8UC4, CV_16UC4},
              [](const BenchPlanes& p, IppiSize size) { ippiScale_8u16u_C4R(p[0], p[0].step, p[1], p[1].step, size); });
    planesRow("ippiScale_16u8u_C4R", 12, {CV_16UC4, CV_8UC4}, [](const BenchPlanes& p, IppiSize size) {
        ippiScale_16u8u_C4R(p[0], p[0].step, p[1], p[1].step, size, ippAlgHintFast);
    });
}

}  // namespace
