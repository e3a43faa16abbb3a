#include <cstddef>
#include <cstring>
#include <memory>
#include <new>
#include <utility>
#include <vector>

#include "kestrova/frame/failure.h"
#include "kestrova/frame/kernel.h"
#include "kestrova/frame/parallel.h"
#include "kestrova/frame/saturate.h"
#include "kestrova/image/timage.h"
#include "kestrova/image/timage_planes.h"
#include "kestrova/image/ydrdb.h"
#include "kestrova/rows/prefetch.h"

using namespace kestrova::frame;
using namespace kestrova::image;
using namespace kestrova::image::ydrdb;
using namespace kestrova::rows;

// Y, C, M to interleaved colour. C and M are enlarged row by row as `ippiResizeSqrPixel_8u_C1R` does by 2 with cubic
// interpolation, and never stored: rows of the half planes are enlarged along the row once, and each row of the picture
// is a sum of four of them.
//
// Pixels 2k and 2k + 1 lie at k - 1/4 and k + 1/4 between the half-size ones: with a = -1/2 the weights of the four
// about the latter are -9, 111, 29 and -3 parts in 128, those about the former the same turned round.

namespace {

constexpr int kTaps = 4;

// 128 times what lies next to `nearest`, a quarter of a pixel on the side of `towards`.
template <class Sum>
inline Sum weighted(Sum across, Sum nearest, Sum towards, Sum beyond) {
    return -9 * across + 111 * nearest + 29 * towards - 3 * beyond;
}

// How far the taps along a row reach beyond it.
constexpr int kReach = 2;

// Along a row, from pixels that are valid `kReach` beyond both ends, to sums about a zero at 128, where they fit in 16
// bits: (9 + 111 + 29 + 3) 128 < 2^15. They are scaled so that the sums of four rows are pixels.
KESTROVA_KERNEL void enlargeRow(const uchar* __restrict row, float* __restrict sums, int n) noexcept {
    constexpr int kMiddle = 128 * 128;
    constexpr float kScale = 0x1p-14f;
    for (std::ptrdiff_t k = 0; k < n; ++k) {
        const int left2 = row[k - 2], left = row[k - 1], here = row[k], right = row[k + 1], right2 = row[k + 2];
        const short even = static_cast<short>(weighted(right, here, left, left2) - kMiddle);
        const short odd = static_cast<short>(weighted(left, here, right, right2) - kMiddle);
        sums[2 * k] = static_cast<float>(even) * kScale;
        sums[2 * k + 1] = static_cast<float>(odd) * kScale;
    }
}

// The four rows that a row of the picture is a sum of, in the order of `weighted`.
struct TapRows {
    const float* sums[kTaps];
};

// The last rows of a half plane, enlarged along the row; `scratch` has `scratchFloats`.
class Window {
public:
    static std::size_t scratchFloats(const TSize& half) {
        const std::size_t width = static_cast<std::size_t>(half.width);
        return kTaps * 2 * width + (width + 2 * kReach) / sizeof(float) + 1;
    }

    Window(Plane<const uchar> plane, const TSize& half, float* scratch)
        : m_plane(plane),
          m_half(half),
          m_sums(scratch),
          m_pixels(reinterpret_cast<uchar*>(scratch + std::ptrdiff_t{kTaps} * 2 * half.width) + kReach) {}

    // For row `r` of the picture.
    TapRows at(int r) noexcept {
        const int k = r / 2, lean = r % 2 == 0 ? -1 : 1;
        return {{row(k - lean), row(k), row(k + lean), row(k + 2 * lean)}};
    }

private:
    const float* row(int k) noexcept {
        k = clampInt(k, 0, m_half.height - 1);
        float* const sums = m_sums + std::ptrdiff_t{k % kTaps} * 2 * m_half.width;
        if (m_held[k % kTaps] != k) {
            const uchar* const pixels = m_plane.row(k);
            std::memset(m_pixels - kReach, pixels[0], kReach);
            std::memcpy(m_pixels, pixels, static_cast<std::size_t>(m_half.width));
            std::memset(m_pixels + m_half.width, pixels[m_half.width - 1], kReach);
            enlargeRow(m_pixels, sums, m_half.width);
            m_held[k % kTaps] = k;
        }
        return sums;
    }

    Plane<const uchar> m_plane;
    TSize m_half;
    float* m_sums;
    uchar* m_pixels;
    int m_held[kTaps] = {-1, -1, -1, -1};
};

// A pixel of the enlarged plane. The sum is exact, a multiple of 2^-14 below 2^8; halves go up.
inline int enlargedPixel(const TapRows& rows, std::ptrdiff_t x) {
    const float sum = weighted(rows.sums[0][x], rows.sums[1][x], rows.sums[2][x], rows.sums[3][x]);
    return clampInt(static_cast<int>(sum + 128.5f), 0, 255);
}

// Words of R, G, B; a byte of mask.
struct Pixel {
    int r, g, b, mask;
};

// Red and blue are whole numbers within +-2^18, exact in float; green is within +-2^18, too.
inline Pixel colourOf(int y, int c0, int c1, int m) {
    const int zero = y - 128 * 512;
    const int red = c0 * 512 + zero, blue = c1 * 512 + zero;
    const float green = (static_cast<float>(y) - static_cast<float>(red) * kRed - static_cast<float>(blue) * kBlue) *
                        kGreenBackFloatExact;
    return {clamp16(red), clamp16(nearestFloat(green)), clamp16(blue), m};
}

// 255.997 m rounded: it falls short of 256 m by more than a half from 167 on.
inline int alphaWord(int m) { return 256 * m - (m > 166 ? 1 : 0); }

struct Rgba16 {
    using Element = ushort;
    static void put(const Pixel& p, ushort* row, std::ptrdiff_t x) {
        const unsigned rg = static_cast<unsigned>(p.r) | static_cast<unsigned>(p.g) << 16;
        const unsigned ba = static_cast<unsigned>(p.b) | static_cast<unsigned>(alphaWord(p.mask)) << 16;
        std::memcpy(row + 4 * x, &rg, sizeof rg);
        std::memcpy(row + 4 * x + 2, &ba, sizeof ba);
    }
};

// The byte of a word as `ippiScale_16u8u_C4R` has it: with s = w - 32768, ((s - (s >> 8)) >> 8) + 128.
inline int narrowed(int w) { return (255 * w + 33023) >> 16; }

// The same of `alphaWord`.
inline int alphaByte(int m) { return m - (m > 128 ? 1 : 0); }

template <int redShift, int blueShift>
struct Packed8 {
    using Element = uchar;
    static void put(const Pixel& p, uchar* row, std::ptrdiff_t x) {
        const int pixel =
            narrowed(p.r) << redShift | narrowed(p.g) << 8 | narrowed(p.b) << blueShift | alphaByte(p.mask) << 24;
        std::memcpy(row + 4 * x, &pixel, sizeof pixel);
    }
};
using Rgba8 = Packed8<0, 16>;
using Bgra8 = Packed8<16, 0>;

template <class Format>
KESTROVA_KERNEL void colourRow(const ushort* __restrict y, TapRows c0, TapRows c1, TapRows m,
                               typename Format::Element* __restrict out, int n) noexcept {
    constexpr std::size_t kPixelBytes = 4 * sizeof(typename Format::Element);
    constexpr std::ptrdiff_t kAhead = 1024;
    const auto ask = [&](std::ptrdiff_t x) {
        prefetch(y + x + kAhead, kAskedAtOnce * sizeof *y);
        prefetchToWrite(out + 4 * (x + kAhead), kAskedAtOnce * kPixelBytes);
    };
    forEachAsking(n, ask, [&](std::ptrdiff_t x) {
        const Pixel p = colourOf(y[x], enlargedPixel(c0, x), enlargedPixel(c1, x), enlargedPixel(m, x));
        Format::put(p, out, x);
    });
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

// The half planes of one thread on their way to full size.
struct Windows {
    std::unique_ptr<float[]> scratch;
    Window c0, c1, mask;
};

std::vector<Windows> windowsFor(int workers, const TImage& c, const TImage& m) {
    const TSize half = c.size();
    const Plane<const uchar> c0 = planeOf<uchar>(c, 0), c1 = planeOf<uchar>(c, 1), mask = planeOf<uchar>(m);
    const std::size_t floats = Window::scratchFloats(half);
    std::vector<Windows> windows;
    windows.reserve(static_cast<std::size_t>(workers));
    for (int w = 0; w < workers; ++w) {
        std::unique_ptr<float[]> scratch(new float[3 * floats]);
        float* const first = scratch.get();
        windows.push_back({std::move(scratch), Window(c0, half, first), Window(c1, half, first + floats),
                           Window(mask, half, first + 2 * floats)});
    }
    return windows;
}

// Writes Y, C, M to `out` in the order of `Format`; `noMemory` is what is thrown where `out` gets none. The documented
// 0 is thrown where the scratch gets none.
template <class Format>
void fromYCM(const TImage& y, const TImage& c, const TImage& m, TImage& out, const char* noMemory) try {
    const TSize size = y.size();
    const auto luminance = planeOf<ushort>(y);
    const Strips strips(size.height, workOf(size.width, 4));
    std::vector<Windows> windows = windowsFor(strips.workers(), c, m);
    OutputImage output(out, size, noMemory);
    if (!output.largeEnough()) fail("ERROR - TImage::YCMToRgba8u - out is smaller than imY");
    const auto pixels = output.plane<typename Format::Element>();
    std::size_t worker = 0;
    const auto windowsOf = [&] { return std::move(windows[worker++]); };
    forEachStrip(strips, windowsOf, [&](int first, int end, Windows& at) noexcept {
        for (int r = first; r < end; ++r)
            colourRow<Format>(luminance.row(r), at.c0.at(r), at.c1.at(r), at.mask.at(r), pixels.row(r), size.width);
    });
    output.resized();
} catch (const std::bad_alloc&) {
    throw 0;
}

// To an interleaved image of 8 bits, which gets the size of Y.
template <class Format>
void toBytes(const TImage& y, const TImage& c, const TImage& m, TImage& out, const char* noMemory) {
    checkSizes(y, c, m, y.size());
    if (y.size().isEmpty()) {
        out.resize(y.size());
        return;
    }
    checkKinds(y, c, m);
    if (out.type() != TImage::IM_RGBA8U) fail("ERROR - TImage::YCMToRgba8u - out.type()!=IM_RGBA8U");
    fromYCM<Format>(y, c, m, out, noMemory);
}

}  // namespace

void TImage::YCMToRgba16u(const TImage& y, const TImage& c, const TImage& m, TImage& out) {
    checkSizes(y, c, m, out.m_size);
    if (y.m_size.isEmpty()) return;
    checkKinds(y, c, m);
    if (out.m_type != IM_RGBA16U) fail("ERROR - TImage::YCMToRgba16u - out.type()!=IM_RGBA16U");
    fromYCM<Rgba16>(y, c, m, out, "ERROR - TImage::YCMToRgba16u - not enough memory");
}

void TImage::YCMToRgba8u(const TImage& y, const TImage& c, const TImage& m, TImage& out) {
    toBytes<Rgba8>(y, c, m, out, "ERROR - TImage::YCMToRgba8u - not enough memory");
}

void TImage::timageToBgra8u(const TImage& y, const TImage& c, const TImage& m, unsigned char* dst, int step) {
    TImage view(y.m_size, dst, step, false);
    toBytes<Bgra8>(y, c, m, view, "ERROR - TImage::timageToBgra8u - not enough memory");
}
