#include <algorithm>
#include <cstdint>
#include <cstring>

#include "kestrova/frame/failure.h"
#include "kestrova/frame/kernel.h"
#include "kestrova/frame/memory_failure.h"
#include "kestrova/frame/overlap.h"
#include "kestrova/frame/parallel.h"
#include "kestrova/frame/plane_checks.h"
#include "kestrova/frame/saturate.h"
#include "kestrova/frame/zero16.h"
#include "kestrova/image/host_pixels.h"
#include "kestrova/image/tpimage.h"
#include "kestrova/image/tpimage_planes.h"
#include "kestrova/image/ydrdb.h"

using namespace kestrova::frame;
using namespace kestrova::image;
using namespace kestrova::image::ydrdb;

// Pixels into a TPImage, in one sweep: each row of pixels becomes a row of luminance, and each even one a row of chroma
// as well. Reducing a plane by 2 takes its even pixels of even rows; a last column that an odd width adds repeats the
// one before it.

namespace {

inline float luminance(int r, int g, int b) {
    return ydrdb::luminance(static_cast<float>(r), static_cast<float>(g), static_cast<float>(b));
}

// Halved towards zero: within 1..65535 for all c and y.
inline ushort difference(int c, int y) { return static_cast<ushort>((c - y) / 2 + kZero16); }

inline ushort difference15(int c, int y) { return static_cast<ushort>(std::min(c - (y >> 1) + kZero16, 65535)); }

KESTROVA_KERNEL void luminanceRow(const ushort* r, const ushort* g, const ushort* b, ushort* y, int n) noexcept {
    for (int x = 0; x < n; ++x) y[x] = sat16(luminance(r[x], g[x], b[x]));
}

KESTROVA_KERNEL void luminanceRow15(const ushort* r, const ushort* g, const ushort* b, ushort* y, int n) noexcept {
    for (int x = 0; x < n; ++x) y[x] = sat16(luminance(r[x], g[x], b[x]) * 2.0f);
}

// Every other pixel.
KESTROVA_KERNEL void chromaRow(const ushort* r, const ushort* b, const ushort* y, ushort* __restrict dr,
                               ushort* __restrict db, int n) noexcept {
    for (int j = 0; j < n; ++j) {
        dr[j] = difference(r[2 * j], y[2 * j]);
        db[j] = difference(b[2 * j], y[2 * j]);
    }
}

KESTROVA_KERNEL void chromaRow15(const ushort* r, const ushort* b, const ushort* y, ushort* __restrict dr,
                                 ushort* __restrict db, int n) noexcept {
    for (int j = 0; j < n; ++j) {
        dr[j] = difference15(r[2 * j], y[2 * j]);
        db[j] = difference15(b[2 * j], y[2 * j]);
    }
}

// A packed pixel of bytes, read as one little-endian word; each component times 256.
struct PackedPixel {
    std::uint32_t bgra;
    explicit PackedPixel(const uchar* at) { std::memcpy(&bgra, at, sizeof bgra); }
    int b() const { return static_cast<int>(bgra << 8 & 0xff00); }
    int g() const { return static_cast<int>(bgra & 0xff00); }
    int r() const { return static_cast<int>(bgra >> 8 & 0xff00); }
};

KESTROVA_KERNEL void luminanceRowPacked(const uchar* bgra, ushort* __restrict y, int n) noexcept {
    for (int x = 0; x < n; ++x) {
        const PackedPixel p(bgra + 4 * x);
        y[x] = sat16(luminance(p.r(), p.g(), p.b()));
    }
}

KESTROVA_KERNEL void luminanceRowPacked(const ushort* bgra, ushort* __restrict y, int n) noexcept {
    for (int x = 0; x < n; ++x) y[x] = sat16(luminance(bgra[4 * x + 2], bgra[4 * x + 1], bgra[4 * x]));
}

KESTROVA_KERNEL void chromaRowPacked(const uchar* bgra, const ushort* y, ushort* __restrict dr, ushort* __restrict db,
                                     int n) noexcept {
    for (int j = 0; j < n; ++j) {
        const PackedPixel p(bgra + 8 * j);
        dr[j] = difference(p.r(), y[2 * j]);
        db[j] = difference(p.b(), y[2 * j]);
    }
}

KESTROVA_KERNEL void chromaRowPacked(const ushort* bgra, const ushort* y, ushort* __restrict dr, ushort* __restrict db,
                                     int n) noexcept {
    for (int j = 0; j < n; ++j) {
        dr[j] = difference(bgra[8 * j + 2], y[2 * j]);
        db[j] = difference(bgra[8 * j], y[2 * j]);
    }
}

// Fills the planes of `image`: `luminance(row, y)` writes a row of luminance, `chroma(row, y, dr, db, n)` a row of n
// half-size pixels. All memory is taken before the first pixel is written.
template <class Luminance, class Chroma>
void fill(TPImage& image, int width, int height, const Luminance& luminance, const Chroma& chroma) {
    NewPlanes planes(image, width, height);
    const int halfWidth = TPImage::half(width), halfHeight = TPImage::half(height);
    for (const cv::Mat* half : {&planes.Dr, &planes.Db}) {
        // The text of the reduction that chroma is: half-size planes that were released stay empty.
        if (half->empty() || half->type() != CV_16UC1) fail("ERROR - downSize2X - outHalf must be allocated!");
        if (smaller(*half, halfWidth, halfHeight))
            fail("ERROR - TPImage::convertFrom - m_Dr or m_Db is smaller than half of the picture");
    }
    planes.Y.create(height, width, CV_16UC1);
    checkPlanes(planes.Y, planes.Dr, planes.Db);
    planes.mask.setTo(255);

    const int regular = std::max(width / 2, 1);
    parallelRows(halfHeight, width, [&](int k) noexcept {
        ushort* const y = planes.Y.ptr<ushort>(2 * k);
        luminance(2 * k, y);
        ushort *dr = planes.Dr.ptr<ushort>(k), *db = planes.Db.ptr<ushort>(k);
        chroma(2 * k, y, dr, db, regular);
        std::fill(dr + regular, dr + planes.Dr.cols, dr[regular - 1]);
        std::fill(db + regular, db + planes.Db.cols, db[regular - 1]);
        if (2 * k + 1 < height) luminance(2 * k + 1, planes.Y.ptr<ushort>(2 * k + 1));
    });
    for (cv::Mat* half : {&planes.Dr, &planes.Db})
        for (int k = halfHeight; k < half->rows; ++k) half->row(halfHeight - 1).copyTo(half->row(k));
    planes.assignTo(image);
}

template <class Word>
void fillFromPacked(TPImage& image, const Word* src, int width, int height, int step) {
    if (width < 0 || height < 0) fail("ERROR - TPImage::convertFrom - width<0 || height<0");
    if (src == nullptr) fail("ERROR - TPImage::convertFrom - src==NULL");
    if (!aligned(src)) fail("ERROR - TPImage::convertFrom - src%2");
    if (!rowsApart(height, step, 4LL * width)) fail("ERROR - TPImage::convertFrom - step<width*4");
    const auto row = [=](int r) { return src + static_cast<std::ptrdiff_t>(r) * step; };
    orFailWithoutMemory("ERROR - TPImage::convertFrom - not enough memory", [&] {
        fill(
            image, width, height, [&](int r, ushort* y) { luminanceRowPacked(row(r), y, width); },
            [&](int r, const ushort* y, ushort* dr, ushort* db, int n) { chromaRowPacked(row(r), y, dr, db, n); });
    });
}

template <class LuminanceRow, class ChromaRow>
void fillFromPlanes(TPImage& image, unsigned short* const planes[3], int width, int height, int step,
                    const LuminanceRow& luminance, const ChromaRow& chroma) {
    if (width < 0 || height < 0) fail("ERROR - TPImage::convertFrompRGB - width<0 || height<0");
    if (!planes || !planes[0] || !planes[1] || !planes[2]) fail("ERROR - TPImage::convertFrompRGB - plane==NULL");
    if (!aligned(planes[0]) || !aligned(planes[1]) || !aligned(planes[2]))
        fail("ERROR - TPImage::convertFrompRGB - plane%2");
    if (height > 1 && (step < 2LL * width || step % 2 != 0))
        fail("ERROR - TPImage::convertFrompRGB - step<width*2 || step%2");
    const auto row = [=](int p, int r) { return planes[p] + static_cast<std::ptrdiff_t>(r) * (step / 2); };
    orFailWithoutMemory("ERROR - TPImage::convertFrompRGB - not enough memory", [&] {
        fill(
            image, width, height, [&](int r, ushort* y) { luminance(row(0, r), row(1, r), row(2, r), y, width); },
            [&](int r, const ushort* y, ushort* dr, ushort* db, int n) { chroma(row(0, r), row(2, r), y, dr, db, n); });
    });
}

template <class LuminanceRow>
void fillLuminance(const cv::Mat& R, const cv::Mat& G, const cv::Mat& B, cv::Mat& Y, const LuminanceRow& luminance) {
    checkPlanes(R, G, B);
    if (withoutMemory(R)) fail("ERROR - TPImage::PRGB2Y - R has no pixels");
    if (!R.empty()) {
        if (R.type() != CV_16UC1 || G.type() != CV_16UC1 || B.type() != CV_16UC1)
            fail("ERROR - TPImage::PRGB2Y - type()!=CV_16UC1");
        if (smaller(G, R.cols, R.rows) || smaller(B, R.cols, R.rows))
            fail("ERROR - TPImage::PRGB2Y - G or B is smaller than R");
    }
    orFailWithoutMemory("ERROR - TPImage::PRGB2Y - not enough memory", [&] {
        cv::Mat out = outputLike(Y, R.size(), CV_16UC1);
        parallelRows(R.rows, R.cols, [&](int r) noexcept {
            luminance(R.ptr<ushort>(r), G.ptr<ushort>(r), B.ptr<ushort>(r), out.ptr<ushort>(r), R.cols);
        });
        Y = out;
    });
}

}  // namespace

void TPImage::convertFrom(const unsigned char* src, int width, int height, int step) {
    if (noPixels(width, height)) return;
    fillFromPacked(*this, src, width, height, step);
    updateUid();
}

void TPImage::convertFrom(const unsigned short* src, int width, int height, int step) {
    if (noPixels(width, height)) return;
    fillFromPacked(*this, src, width, height, step);
    updateUid();
}

void TPImage::convertFrompRGB(unsigned short* const planes[3], int width, int height, int step) {
    if (noPixels(width, height)) return;
    fillFromPlanes(*this, planes, width, height, step, luminanceRow, chromaRow);
}

void TPImage::convertFrompRGB15U(unsigned short* const planes[3], int width, int height, int step) {
    if (noPixels(width, height)) return;
    fillFromPlanes(*this, planes, width, height, step, luminanceRow15, chromaRow15);
}

void TPImage::PRGB2Y(const cv::Mat& R, const cv::Mat& G, const cv::Mat& B, cv::Mat& Y) {
    fillLuminance(R, G, B, Y, luminanceRow);
}

void TPImage::PRGB15U2Y(const cv::Mat& R, const cv::Mat& G, const cv::Mat& B, cv::Mat& Y) {
    fillLuminance(R, G, B, Y, luminanceRow15);
}
