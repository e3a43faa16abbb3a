#include <type_traits>

#include "kestrova/frame/parallel.h"
#include "kestrova/primitives/memory_status.h"
#include "kestrova/primitives/neighbourhood.h"
#include "kestrova/rows/gauss_rows.h"

using namespace kestrova::frame;
using namespace kestrova::primitives;
using namespace kestrova::rows;

namespace {

using gauss_rows::Gauss3x3, gauss_rows::Gauss5x5;

template <class Gauss, class Element>
IppStatus filter(Plane<const Element> src, Plane<Element> dst, IppiSize size) {
    using Sum = std::conditional_t<std::is_floating_point_v<Element>, double, int>;
    constexpr int kRadius = Gauss::kRadius;
    const auto filterStrip = [&](int first, int end, const Scratch<Sum>& scratch) noexcept {
        for (int y = first; y < end; ++y) {
            const Element* rows[2 * kRadius + 1];
            for (int i = 0; i <= 2 * kRadius; ++i) rows[i] = src.row(y - kRadius + i) - kRadius;
            gauss_rows::filterRow<Gauss>(rows, dst.row(y), size.width, scratch.row(0));
        }
    };
    return orNoMemory([&] {
        forEachStrip(
            Strips(size.height, workOf(size.width, 2)), [] { return Scratch<Sum>(1, gauss_rows::kScratch<Gauss>); },
            filterStrip);
    });
}

template <class Element>
IppStatus filterGauss(Plane<const Element> src, Plane<Element> dst, IppiSize size, IppiMaskSize mask) {
    if (const IppStatus status = checkRegion(size, 1, src, dst)) return status;
    switch (mask) {
        case ippMskSize3x3: return filter<Gauss3x3>(src, dst, size);
        case ippMskSize5x5: return filter<Gauss5x5>(src, dst, size);
    }
    return ippStsMaskSizeErr;
}

}  // namespace

IppStatus ippiFilterGauss_8u_C1R(const uchar* src, int srcStep, uchar* dst, int dstStep, IppiSize dstSize,
                                 IppiMaskSize mask) {
    return filterGauss<uchar>({src, srcStep}, {dst, dstStep}, dstSize, mask);
}
IppStatus ippiFilterGauss_32f_C1R(const float* src, int srcStep, float* dst, int dstStep, IppiSize dstSize,
                                  IppiMaskSize mask) {
    return filterGauss<float>({src, srcStep}, {dst, dstStep}, dstSize, mask);
}
