#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>

#include "kestrova/frame/failure.h"
#include "kestrova/frame/kernel.h"
#include "kestrova/frame/parallel.h"
#include "kestrova/frame/saturate.h"
#include "kestrova/image/timage.h"
#include "kestrova/image/timage_planes.h"
#include "kestrova/image/ydrdb.h"

// Y, C, M to interleaved colour. C and M are enlarged row by row as `ippiResizeSqrPixel_8u_C1R` does by 2 with cubic
// interpolation, and never stored.
//
// Pixels 2k and 2k + 1 lie at k - 1/4 and k + 1/4 between the half-size ones: with a = -1/2 the weights of the four
// about the latter are -9, 111, 29 and -3 parts in 128, those about the former the same turned round. The sums are
// exact, so that it does not matter which direction comes first.

using namespace ydrdb;

namespace {

constexpr int kOuter = -9, kNear = 111, kFar = 29, kEnd = -3;
constexpr int kWeightBits = 7;

// How far the taps along a row reach beyond it.
constexpr int kReach = 2;

// Down the columns. About a zero at 128 the sums fit in 16 bits: (9 + 111 + 29 + 3) 128 < 2^15.
KESTROVA_KERNEL void sumColumns(const uchar* outer, const uchar* near, const uchar* far, const uchar* end,
                                short* __restrict sums, int n) noexcept {
    for (int x = 0; x < n; ++x) {
        const int sum = kOuter * outer[x] + kNear * near[x] + kFar * far[x] + kEnd * end[x];
        sums[x] = static_cast<short>(sum - (128 << kWeightBits));
    }
}

// Halves go up.
inline int roundedByte(int sum) {
    constexpr int kBits = 2 * kWeightBits;
    return clampInt(((sum + (1 << (kBits - 1))) >> kBits) + 128, 0, 255);
}

// Along the row, from sums that are valid `kReach` beyond both ends.
KESTROVA_KERNEL void enlargeSums(const short* __restrict sums, uchar* __restrict out, int n) noexcept {
    for (std::ptrdiff_t k = 0; k < n; ++k) {
        const int left2 = sums[k - 2], left = sums[k - 1], here = sums[k], right = sums[k + 1], right2 = sums[k + 2];
        out[2 * k] = static_cast<uchar>(roundedByte(kEnd * left2 + kFar * left + kNear * here + kOuter * right));
        out[2 * k + 1] = static_cast<uchar>(roundedByte(kOuter * left + kNear * here + kFar * right + kEnd * right2));
    }
}

// Row `r` of a plane enlarged by 2: 2 `half.width` bytes. `sums` points at the first of `half.width` sums.
void enlargedRow(Plane<const uchar> plane, const TSize& half, int r, short* sums, uchar* out) noexcept {
    const int k = r / 2, towards = r % 2 == 0 ? -1 : 1;
    const auto row = [&](int i) { return plane.row(clampInt(i, 0, half.height - 1)); };
    sumColumns(row(k - towards), row(k), row(k + towards), row(k + 2 * towards), sums, half.width);
    for (int i = 1; i <= kReach; ++i) {
        sums[-i] = sums[0];
        sums[half.width - 1 + i] = sums[half.width - 1];
    }
    enlargeSums(sums, out, half.width);
}

// A pixel in words.
struct Pixel {
    std::uint32_t r, g, b, a;
};

// Red and blue are whole numbers within +-2^18, exact in float.
inline Pixel colourOf(int y, int c0, int c1, int m) {
    const int red = (c0 - 128) * 512 + y, blue = (c1 - 128) * 512 + y;
    const float green = (static_cast<float>(y) - static_cast<float>(red) * kRed - static_cast<float>(blue) * kBlue) *
                        kGreenBackFloatExact;
    // 255.997 m falls short of 256 m by more than a half from 167 on.
    const int alpha = 256 * m - (m > 166 ? 1 : 0);
    return {clamp16(red), sat16(green), clamp16(blue), static_cast<std::uint32_t>(alpha)};
}

// A word as the byte that stands for it.
inline std::uint32_t narrowed(std::uint32_t word) {
    const int s = static_cast<int>(word) - 32768;
    return static_cast<std::uint32_t>(((s - (s >> 8)) >> 8) + 128);
}

struct Rgba16 {
    using Element = ushort;
    static void put(const Pixel& p, ushort* row, std::ptrdiff_t x) {
        const std::uint32_t rg = p.r | p.g << 16, ba = p.b | p.a << 16;
        std::memcpy(row + 4 * x, &rg, sizeof rg);
        std::memcpy(row + 4 * x + 2, &ba, sizeof ba);
    }
};

template <int redShift, int blueShift>
struct Packed8 {
    using Element = uchar;
    static void put(const Pixel& p, uchar* row, std::ptrdiff_t x) {
        const std::uint32_t pixel =
            narrowed(p.r) << redShift | narrowed(p.g) << 8 | narrowed(p.b) << blueShift | narrowed(p.a) << 24;
        std::memcpy(row + 4 * x, &pixel, sizeof pixel);
    }
};
using Rgba8 = Packed8<0, 16>;
using Bgra8 = Packed8<16, 0>;

template <class Format>
KESTROVA_KERNEL void colourRow(const ushort* __restrict y, const uchar* __restrict c0, const uchar* __restrict c1,
                               const uchar* __restrict m, typename Format::Element* __restrict out, int n) noexcept {
    for (std::ptrdiff_t x = 0; x < n; ++x) Format::put(colourOf(y[x], c0[x], c1[x], m[x]), out, x);
}

void checkSizes(const TImage& y, const TImage& c, const TImage& m, const TSize& out) {
    if (y.size() != out || TImage::dec2Size(y.size()) != c.size() || c.size() != m.size())
        fail(
            "TImage::YCMToRgba16u - imY.size()!=out.size() || TImage::dec2Size(imY.size()) != imC.size() || "
            "imC.size() != mask.size()");
}

void checkKinds(const TImage& y, const TImage& c, const TImage& m) {
    if (y.type() != TImage::IM_Y16U || c.type() != TImage::IM_C8U || m.type() != TImage::IM_M8U)
        fail("ERROR - TImage::YCMToRgba16u - y.type()!=IM_Y16U || c.type()!=IM_C8U || m.type()!=IM_M8U");
}

template <class Format>
void fromYCM(const TImage& y, const TImage& c, const TImage& m, Plane<typename Format::Element> out) {
    const TSize size = y.size(), half = c.size();
    const auto luminance = planeOf<ushort>(y);
    const Plane<const uchar> planes[] = {planeOf<uchar>(c, 0), planeOf<uchar>(c, 1), planeOf<uchar>(m)};
    const int strips = stripCount(size.height, size.width);
    // For each strip three enlarged rows and the sums that they come from.
    const std::size_t enlarged = 2 * static_cast<std::size_t>(half.width);
    const std::size_t sums = static_cast<std::size_t>(half.width) + 2 * kReach;
    const std::size_t stripBytes = 3 * enlarged + sizeof(short) * sums;
    const std::unique_ptr<uchar[]> scratch(new (std::nothrow) uchar[stripBytes * static_cast<std::size_t>(strips)]);
    if (!scratch) throw 0;
    parallelStrips(strips, size.height, [&](int first, int end, int strip) noexcept {
        uchar* const rows = scratch.get() + stripBytes * static_cast<std::size_t>(strip);
        short* const sum = reinterpret_cast<short*>(rows + 3 * enlarged) + kReach;
        for (int r = first; r < end; ++r) {
            for (std::size_t p = 0; p < 3; ++p) enlargedRow(planes[p], half, r, sum, rows + p * enlarged);
            colourRow<Format>(luminance.row(r), rows, rows + enlarged, rows + 2 * enlarged, out.row(r), size.width);
        }
    });
}

// To an interleaved image of 8 bits, which gets the size of Y.
template <class Format>
void toBytes(const TImage& y, const TImage& c, const TImage& m, TImage& out) {
    const TSize size = y.size();
    checkSizes(y, c, m, size);
    if (!size.isEmpty()) {
        checkKinds(y, c, m);
        if (out.type() != TImage::IM_RGBA8U) fail("ERROR - TImage::YCMToRgba8u - out.type()!=IM_RGBA8U");
    }
    out.resize(size);
    if (size.isEmpty()) return;
    if (out.size() != size) fail("ERROR - TImage::YCMToRgba8u - out.size()!=imY.size()");
    fromYCM<Format>(y, c, m, planeOf<uchar>(out));
}

}  // namespace

void TImage::YCMToRgba16u(const TImage& y, const TImage& c, const TImage& m, TImage& out) {
    checkSizes(y, c, m, out.m_size);
    if (y.m_size.isEmpty()) return;
    checkKinds(y, c, m);
    if (out.m_type != IM_RGBA16U) fail("ERROR - TImage::YCMToRgba16u - out.type()!=IM_RGBA16U");
    fromYCM<Rgba16>(y, c, m, planeOf<ushort>(out));
}

void TImage::YCMToRgba8u(const TImage& y, const TImage& c, const TImage& m, TImage& out) {
    toBytes<Rgba8>(y, c, m, out);
}

void TImage::timageToBgra8u(const TImage& y, const TImage& c, const TImage& m, unsigned char* dst, int step) {
    TImage view(y.m_size, dst, step, false);
    toBytes<Bgra8>(y, c, m, view);
}
