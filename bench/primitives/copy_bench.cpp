#include "kestrova/primitives/copy.h"

#include "bench/primitives/planes.h"

namespace {

KESTROVA_BENCH(copy) {
    planesRow("ippiCopy_8u_C1R", 2, {CV_8UC1, CV_8UC1},
              [](const BenchPlanes& p, IppiSize size) { ippiCopy_8u_C1R(p[0], p[0].step, p[1], p[1].step, size); });
    planesRow("ippiCopy_16u_C1R", 4, {CV_16UC1, CV_16UC1},
              [](const BenchPlanes& p, IppiSize size) { ippiCopy_16u_C1R(p[0], p[0].step, p[1], p[1].step, size); });
    planesRow("ippiCopy_32f_C1R", 8, {CV_32FC1, CV_32FC1},
              [](const BenchPlanes& p, IppiSize size) { ippiCopy_32f_C1R(p[0], p[0].step, p[1], p[1].step, size); });
    planesRow("ippiCopy_16u_C3R", 12, {CV_16UC3, CV_16UC3},
              [](const BenchPlanes& p, IppiSize size) { ippiCopy_16u_C3R(p[0], p[0].step, p[1], p[1].step, size); });
    planesRow("ippiCopy_8u_C4R", 8, {CV_8UC4, CV_8UC4},
              [](const BenchPlanes& p, IppiSize size) { ippiCopy_8u_C4R(p[0], p[0].step, p[1], p[1].step, size); });
    planesRow("ippiCopy_16u_C4R", 16, {CV_16UC4, CV_16UC4},
              [](const BenchPlanes& p, IppiSize size) { ippiCopy_16u_C4R(p[0], p[0].step, p[1], p[1].step, size); });
    planesRow("cv::Mat::copyTo 16u", 4, {CV_16UC1, CV_16UC1},
              [](BenchPlanes& p, IppiSize) { p[0].region.copyTo(p[1].region); });

    planesRow("ippiSet_8u_C1R", 1, {CV_8UC1},
              [](const BenchPlanes& p, IppiSize size) { ippiSet_8u_C1R(7, p[0], p[0].step, size); });
    planesRow("ippiSet_16u_C1R", 2, {CV_16UC1},
              [](const BenchPlanes& p, IppiSize size) { ippiSet_16u_C1R(7, p[0], p[0].step, size); });
    planesRow("ippiSet_32f_C1R", 4, {CV_32FC1},
              [](const BenchPlanes& p, IppiSize size) { ippiSet_32f_C1R(7, p[0], p[0].step, size); });
    planesRow("ippsSet_32f", 4, {CV_32FC1},
              [](const BenchPlanes& p, IppiSize size) { ippsSet_32f(7, p[0], size.width * size.height); });
    planesRow("cv::Mat::setTo 16u", 2, {CV_16UC1}, [](BenchPlanes& p, IppiSize) { p[0].region.setTo(7); });
    planesRow("ippiSet_8u_C1MR", 3, {CV_8UC1, CV_8UC1},
              [](const BenchPlanes& p, IppiSize size) { ippiSet_8u_C1MR(7, p[0], p[0].step, size, p[1], p[1].step); });
    planesRow("cv::Mat::setTo 8u under a mask", 3, {CV_8UC1, CV_8UC1},
              [](BenchPlanes& p, IppiSize) { p[0].region.setTo(7, p[1].region); });
}

constexpr int kBorder = 32;

IppiSize withBorder(IppiSize size) { return {size.width + 2 * kBorder, size.height + 2 * kBorder}; }

/// From one plane's region into another's frame, and in place, where only the border is moved.
template <class Element, class Copy, class InPlace>
void borderRows(const std::string& type, int cvType, const Copy& copy, const InPlace& inPlace) {
    planesRow(
        "ippiCopyReplicateBorder_" + type + "_C1R", 2 * sizeof(Element), {cvType, cvType},
        [=](BenchPlanes& p, IppiSize size) {
            copy(p[0], p[0].step, size, p[1].frame.ptr<Element>(), p[1].step, withBorder(size), kBorder, kBorder);
        },
        kBorder);
    for (const BenchSize& size : kBenchSizes) {
        const IppiSize inner{size.cols, size.rows}, outer = withBorder(inner);
        const std::size_t border = std::size_t(outer.width) * outer.height - std::size_t(inner.width) * inner.height;
        benchRow("ippiCopyReplicateBorder_" + type + "_C1IR/" + size.name, 2 * sizeof(Element) * border, [=] {
            auto plane = std::make_shared<BenchPlane>(size, cvType, kBorder);
            return [=] { inPlace(*plane, plane->step, inner, outer, kBorder, kBorder); };
        });
    }
}

KESTROVA_BENCH(border) {
    borderRows<uchar>("8u", CV_8UC1, ippiCopyReplicateBorder_8u_C1R, ippiCopyReplicateBorder_8u_C1IR);
    borderRows<ushort>("16u", CV_16UC1, ippiCopyReplicateBorder_16u_C1R, ippiCopyReplicateBorder_16u_C1IR);
    borderRows<float>("32f", CV_32FC1, ippiCopyReplicateBorder_32f_C1R, ippiCopyReplicateBorder_32f_C1IR);
    planesRow(
        "cv::copyMakeBorder 16u", 4, {CV_16UC1, CV_16UC1},
        [](BenchPlanes& p, IppiSize) {
            cv::copyMakeBorder(p[0].region, p[1].frame, kBorder, kBorder, kBorder, kBorder,
                               cv::BORDER_REPLICATE | cv::BORDER_ISOLATED);
        },
        kBorder);
}

}  // namespace
