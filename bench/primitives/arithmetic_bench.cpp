#include "kestrova/primitives/arithmetic.h"

#include "bench/primitives/planes.h"

namespace {

void inPlaceRow(const std::string& name, IppStatus (*operation)(const float*, int, float*, int, IppiSize)) {
    planesRow(name, 12, {CV_32FC1, CV_32FC1},
              [=](const BenchPlanes& p, IppiSize size) { operation(p[0], p[0].step, p[1], p[1].step, size); });
}

void ofTwoRow(const std::string& name,
              IppStatus (*operation)(const float*, int, const float*, int, float*, int, IppiSize)) {
    planesRow(name, 12, {CV_32FC1, CV_32FC1, CV_32FC1}, [=](const BenchPlanes& p, IppiSize size) {
        operation(p[0], p[0].step, p[1], p[1].step, p[2], p[2].step, size);
    });
}

void constantRow(const std::string& name, IppStatus (*operation)(float, float*, int, IppiSize)) {
    planesRow(name, 8, {CV_32FC1}, [=](const BenchPlanes& p, IppiSize size) { operation(1, p[0], p[0].step, size); });
}

KESTROVA_BENCH(arithmetic) {
    constantRow("ippiAddC_32f_C1IR", ippiAddC_32f_C1IR);
    constantRow("ippiSubC_32f_C1IR", ippiSubC_32f_C1IR);
    constantRow("ippiDivC_32f_C1IR", ippiDivC_32f_C1IR);
    planesRow("ippiMulC_32f_C1R", 8, {CV_32FC1, CV_32FC1},
              [](const BenchPlanes& p, IppiSize size) { ippiMulC_32f_C1R(p[0], p[0].step, 2, p[1], p[1].step, size); });
    inPlaceRow("ippiAdd_32f_C1IR", ippiAdd_32f_C1IR);
    inPlaceRow("ippiSub_32f_C1IR", ippiSub_32f_C1IR);
    inPlaceRow("ippiMul_32f_C1IR", ippiMul_32f_C1IR);
    inPlaceRow("ippiDiv_32f_C1IR", ippiDiv_32f_C1IR);
    ofTwoRow("ippiSub_32f_C1R", ippiSub_32f_C1R);
    ofTwoRow("ippiMul_32f_C1R", ippiMul_32f_C1R);
    ofTwoRow("ippiDiv_32f_C1R", ippiDiv_32f_C1R);
    planesRow("cv::multiply 32f", 12, {CV_32FC1, CV_32FC1, CV_32FC1},
              [](BenchPlanes& p, IppiSize) { cv::multiply(p[0].region, p[1].region, p[2].region); });
    planesRow("cv::divide 32f", 12, {CV_32FC1, CV_32FC1, CV_32FC1},
              [](BenchPlanes& p, IppiSize) { cv::divide(p[0].region, p[1].region, p[2].region); });
    planesRow("ippsDiv_32f_I", 12, {CV_32FC1, CV_32FC1},
              [](const BenchPlanes& p, IppiSize size) { ippsDiv_32f_I(p[0], p[1], size.width * size.height); });
    planesRow("ippiSqr_32f_C1R", 8, {CV_32FC1, CV_32FC1},
              [](const BenchPlanes& p, IppiSize size) { ippiSqr_32f_C1R(p[0], p[0].step, p[1], p[1].step, size); });
    planesRow("ippiSqr_32f_C1IR", 8, {CV_32FC1},
              [](const BenchPlanes& p, IppiSize size) { ippiSqr_32f_C1IR(p[0], p[0].step, size); });
    planesRow("ippiThreshold_GTVal_32f_C1IR", 8, {CV_32FC1},
              [](const BenchPlanes& p, IppiSize size) { ippiThreshold_GTVal_32f_C1IR(p[0], p[0].step, size, 2, 2); });
    planesRow("ippiThreshold_LTVal_32f_C1IR", 8, {CV_32FC1},
              [](const BenchPlanes& p, IppiSize size) { ippiThreshold_LTVal_32f_C1IR(p[0], p[0].step, size, 0, 0); });
    planesRow("ippiXorC_8u_C1IR", 2, {CV_8UC1},
              [](const BenchPlanes& p, IppiSize size) { ippiXorC_8u_C1IR(255, p[0], p[0].step, size); });
}

}  // namespace
