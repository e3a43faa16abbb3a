#include "kestrova/primitives/tables.h"

#include "bench/primitives/planes.h"

namespace {

template <class Element>
const std::vector<Element>& ramp(int entries) {
    static std::vector<Element> table;
    table.resize(entries);
    for (int i = 0; i < entries; ++i) table[i] = static_cast<Element>(i);
    return table;
}

KESTROVA_BENCH(tables) {
    planesRow("ippiLUTPalette_8u_C1R", 2, {CV_8UC1, CV_8UC1},
              [table = ramp<uchar>(256)](const BenchPlanes& p, IppiSize size) {
                  ippiLUTPalette_8u_C1R(p[0], p[0].step, p[1], p[1].step, size, table.data(), 8);
              });
    planesRow("cv::LUT 8u", 2, {CV_8UC1, CV_8UC1},
              [table = ramp<uchar>(256)](BenchPlanes& p, IppiSize) { cv::LUT(p[0].region, table, p[1].region); });
    planesRow("ippiLUTPalette_16u_C1R", 4, {CV_16UC1, CV_16UC1},
              [table = ramp<ushort>(65536)](const BenchPlanes& p, IppiSize size) {
                  ippiLUTPalette_16u_C1R(p[0], p[0].step, p[1], p[1].step, size, table.data(), 16);
              });
    planesRow("ippiLUTPalette_16u8u_C1R", 3, {CV_16UC1, CV_8UC1},
              [table = ramp<uchar>(65536)](const BenchPlanes& p, IppiSize size) {
                  ippiLUTPalette_16u8u_C1R(p[0], p[0].step, p[1], p[1].step, size, table.data(), 16);
              });
    planesRow("ippiLUT_Linear_16u_C1IR", 4, {CV_16UC1}, [](const BenchPlanes& p, IppiSize size) {
        const int levels[] = {0, 22768, 27768, 32768, 37768, 42768, 65535};
        const int values[] = {32768, 32768, 37768, 32768, 27768, 32768, 32768};
        ippiLUT_Linear_16u_C1IR(p[0], p[0].step, size, values, levels, 7);
    });
    planesRow("ippiImageRamp_8u_C1R", 1, {CV_8UC1}, [](const BenchPlanes& p, IppiSize size) {
        ippiImageRamp_8u_C1R(p[0], p[0].step, size, 0, 0.1f, ippAxsHorizontal);
    });
    planesRow("ippiImageRamp_16u_C1R", 2, {CV_16UC1}, [](const BenchPlanes& p, IppiSize size) {
        ippiImageRamp_16u_C1R(p[0], p[0].step, size, 0, 1, ippAxsHorizontal);
    });
    benchRow("ippiImageRamp_16u_C1R/65536x1", 131072, [] {
        auto table = std::make_shared<std::vector<ushort>>(65536);
        return [=] { ippiImageRamp_16u_C1R(table->data(), 131072, {65536, 1}, -16384, 1.5f, ippAxsHorizontal); };
    });
}

}  // namespace
