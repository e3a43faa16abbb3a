#include "kestrova/primitives/resize.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdint>

#include "kestrova/primitives/memory_status.h"
#include "kestrova/rows/resize_plane.h"

using namespace kestrova::primitives;
using namespace kestrova::rows;

namespace {

template <class T>
IppStatus resize(const T* src, IppiSize srcSize, int srcStep, IppiRect srcROI, T* dst, int dstStep, IppiRect dstROI,
                 double xFactor, double yFactor, double xShift, double yShift, int interpolation) {
    constexpr std::int64_t size = sizeof(T);
    if (src == nullptr || dst == nullptr) return ippStsNullPtrErr;
    if (srcSize.width < 1 || srcSize.height < 1 || srcROI.width < 1 || srcROI.height < 1) return ippStsSizeErr;
    if (dstROI.width < 1 || dstROI.height < 1 || dstROI.x < 0 || dstROI.y < 0) return ippStsSizeErr;
    if (dstROI.x > INT_MAX - dstROI.width || dstROI.y > INT_MAX - dstROI.height) return ippStsSizeErr;
    const int left = std::max(srcROI.x, 0), top = std::max(srcROI.y, 0);
    const int right = static_cast<int>(std::min<std::int64_t>(srcSize.width, std::int64_t{srcROI.x} + srcROI.width));
    const int bottom = static_cast<int>(std::min<std::int64_t>(srcSize.height, std::int64_t{srcROI.y} + srcROI.height));
    if (left >= right || top >= bottom) return ippStsSizeErr;
    if (srcStep < 1 || dstStep < 1 || srcStep % size != 0 || dstStep % size != 0) return ippStsStepErr;
    if (srcStep < srcSize.width * size || dstStep < (dstROI.x + dstROI.width) * size) return ippStsRowStepErr;
    if (!(xFactor > 0 && yFactor > 0) || !std::isfinite(xFactor) || !std::isfinite(yFactor))
        return ippStsResizeFactorErr;
    if (!std::isfinite(xShift) || !std::isfinite(yShift)) return ippStsResizeFactorErr;

    int taps;
    switch (interpolation) {
        case IPPI_INTER_NN: taps = 1; break;
        case IPPI_INTER_LINEAR: taps = 2; break;
        case IPPI_INTER_CUBIC: taps = 4; break;
        default: return ippStsInterpolationErr;
    }

    const Sampling sampling = {ResizeAxis(xFactor, xShift, taps == 1, left, right),
                               ResizeAxis(yFactor, yShift, taps == 1, top, bottom), taps};
    return orNoMemory([&] { resizePlane<T>({src, srcStep}, {dst, dstStep}, dstROI, sampling); });
}

}  // namespace

IppStatus ippiResizeGetBufSize(IppiRect, IppiRect, int, int, int* size) {
    if (size == nullptr) return ippStsNullPtrErr;
    *size = 1;
    return ippStsNoErr;
}

IppStatus ippiResizeSqrPixel_8u_C1R(const uchar* src, IppiSize srcSize, int srcStep, IppiRect srcROI, uchar* dst,
                                    int dstStep, IppiRect dstROI, double xFactor, double yFactor, double xShift,
                                    double yShift, int interpolation, uchar*) {
    return resize(src, srcSize, srcStep, srcROI, dst, dstStep, dstROI, xFactor, yFactor, xShift, yShift, interpolation);
}

IppStatus ippiResizeSqrPixel_16u_C1R(const ushort* src, IppiSize srcSize, int srcStep, IppiRect srcROI, ushort* dst,
                                     int dstStep, IppiRect dstROI, double xFactor, double yFactor, double xShift,
                                     double yShift, int interpolation, uchar*) {
    return resize(src, srcSize, srcStep, srcROI, dst, dstStep, dstROI, xFactor, yFactor, xShift, yShift, interpolation);
}

IppStatus ippiResizeSqrPixel_32f_C1R(const float* src, IppiSize srcSize, int srcStep, IppiRect srcROI, float* dst,
                                     int dstStep, IppiRect dstROI, double xFactor, double yFactor, double xShift,
                                     double yShift, int interpolation, uchar*) {
    return resize(src, srcSize, srcStep, srcROI, dst, dstStep, dstROI, xFactor, yFactor, xShift, yShift, interpolation);
}
