#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

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

// Interleaved colour to Y, C, M. Bytes are read as the words that they stand for, 257 times as much, and a host's
// B, G, R, A in the order R, G, B, A: neither a copy in words nor one in the other order is made.

namespace {

// A pixel in words.
struct Pixel {
    int r, g, b, a;
};

struct Rgba16 {
    using Element = ushort;
    static Pixel at(const ushort* row, std::ptrdiff_t x) {
        const ushort* const p = row + 4 * x;
        return {p[0], p[1], p[2], p[3]};
    }
};

template <int redShift, int blueShift>
struct Packed8 {
    using Element = uchar;
    static Pixel at(const uchar* row, std::ptrdiff_t x) {
        std::uint32_t p;
        std::memcpy(&p, row + 4 * x, sizeof p);
        const auto word = [p](int shift) { return static_cast<int>(p >> shift & 0xffu) * 257; };
        return {word(redShift), word(8), word(blueShift), word(24)};
    }
};
using Rgba8 = Packed8<0, 16>;
using Bgra8 = Packed8<16, 0>;

inline void putPair(int first, int second, ushort* out) {
    const unsigned pair = static_cast<unsigned>(first) | static_cast<unsigned>(second) << 16;
    std::memcpy(out, &pair, sizeof pair);
}

// A mean difference of four pixels over 512, about 128. The quotient is truncated, and within +-127: nothing to clamp.
inline uchar difference(int colourSum, int luminanceSum) {
    return static_cast<uchar>((colourSum - luminanceSum) / 2048 + 128);
}

// A row of blocks of 2 by 2 pixels.
template <class Format>
KESTROVA_KERNEL void blockRow(const typename Format::Element* __restrict upper,
                              const typename Format::Element* __restrict lower, ushort* __restrict yUpper,
                              ushort* __restrict yLower, uchar* __restrict c0, uchar* __restrict c1,
                              uchar* __restrict m, int n) noexcept {
    // The weights add up to 1: at most 65535.
    const auto luminanceOf = [](const Pixel& p) {
        return nearestFloat(luminance(static_cast<float>(p.r), static_cast<float>(p.g), static_cast<float>(p.b)));
    };
    for (std::ptrdiff_t j = 0; j < n; ++j) {
        const Pixel p = Format::at(upper, 2 * j), q = Format::at(upper, 2 * j + 1);
        const Pixel s = Format::at(lower, 2 * j), t = Format::at(lower, 2 * j + 1);
        const int yp = luminanceOf(p), yq = luminanceOf(q), ys = luminanceOf(s), yt = luminanceOf(t);
        putPair(yp, yq, yUpper + 2 * j);
        putPair(ys, yt, yLower + 2 * j);
        const int sum = yp + yq + ys + yt;
        c0[j] = difference(p.r + q.r + s.r + t.r, sum);
        c1[j] = difference(p.b + q.b + s.b + t.b, sum);
        m[j] = static_cast<uchar>((p.a + q.a + s.a + t.a) >> 10);
    }
}

// `in` is interleaved in the order of `Format`; `noMemory` is what a conversion without memory throws.
template <class Format>
void toYCM(const TImage& in, TImage& y, TImage& c, TImage& m, const char* noMemory) {
    const TSize size = in.size(), half = TImage::dec2Size(size);
    if (size.isEmpty()) {
        y.resize(size);
        c.resize(half);
        m.resize(half);
        return;
    }
    if (y.type() != TImage::IM_Y16U || c.type() != TImage::IM_C8U || m.type() != TImage::IM_M8U)
        fail("ERROR - TImage::rgba16uToYCM - y.type()!=IM_Y16U || c.type()!=IM_C8U || m.type()!=IM_M8U");
    const auto pixels = planeOf<typename Format::Element>(in);
    OutputImage outY(y, size, noMemory), outC(c, half, noMemory), outM(m, half, noMemory);
    if (!outY.largeEnough() || !outC.largeEnough() || !outM.largeEnough())
        fail("ERROR - TImage::rgba16uToYCM - y, c or m cannot be resized");
    const auto luminance = outY.plane<ushort>();
    const auto c0 = outC.plane<uchar>(0), c1 = outC.plane<uchar>(1), alpha = outM.plane<uchar>();
    // Pixels that no cache holds any more are asked for a piece ahead.
    constexpr std::size_t kInCaches = std::size_t{1} << 24;
    const std::size_t rowBytes = 4 * sizeof(typename Format::Element) * static_cast<std::size_t>(size.width);
    const bool ahead = rowBytes * static_cast<std::size_t>(size.height) > kInCaches;
    const int blocks = size.width / 2, piece = ahead ? std::min(blocks, 256) : blocks;
    parallelRows(size.height / 2, 2 * size.width, [&](int i) noexcept {
        const auto *const upper = pixels.row(2 * i), *const lower = pixels.row(2 * i + 1);
        for (int done = 0; done < blocks; done += piece) {
            const std::ptrdiff_t j = done;
            if (ahead) {
                const std::size_t bytes = 8 * sizeof *upper * static_cast<std::size_t>(piece);
                prefetch(upper + 8 * (j + piece), bytes);
                prefetch(lower + 8 * (j + piece), bytes);
            }
            blockRow<Format>(upper + 8 * j, lower + 8 * j, luminance.row(2 * i) + 2 * j,
                             luminance.row(2 * i + 1) + 2 * j, c0.row(i) + j, c1.row(i) + j, alpha.row(i) + j,
                             std::min(blocks - done, piece));
        }
    });
    outY.resized();
    outC.resized();
    outM.resized();
}

}  // namespace

void TImage::rgba8uToYCM(const TImage& in, TImage& y, TImage& c, TImage& m) {
    if (!in.m_size.isEmpty() && in.m_type != IM_RGBA8U) fail("ERROR - TImage::rgba8uToYCM - in.type()!=IM_RGBA8U");
    toYCM<Rgba8>(in, y, c, m, "ERROR - TImage::rgba8uToYCM - not enough memory");
}

void TImage::rgba16uToYCM(const TImage& in, TImage& y, TImage& c, TImage& m) {
    if (!in.m_size.isEmpty() && in.m_type != IM_RGBA16U) fail("ERROR - TImage::rgba16uToYCM - in.type()!=IM_RGBA16U");
    toYCM<Rgba16>(in, y, c, m, "ERROR - TImage::rgba16uToYCM - not enough memory");
}

void TImage::bgra8uToTImage(const unsigned char* src, int step, int width, int height, TImage& y, TImage& c,
                            TImage& m) {
    // Only ever read: the view is const.
    const TImage view(TSize(width, height), const_cast<unsigned char*>(src), step, false);
    toYCM<Bgra8>(view, y, c, m, "ERROR - TImage::bgra8uToTImage - not enough memory");
}
