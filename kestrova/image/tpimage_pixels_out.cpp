#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

#include "kestrova/frame/failure.h"
#include "kestrova/frame/kernel.h"
#include "kestrova/frame/memory_failure.h"
#include "kestrova/frame/parallel.h"
#include "kestrova/frame/saturate.h"
#include "kestrova/frame/step.h"
#include "kestrova/frame/zero16.h"
#include "kestrova/image/host_pixels.h"
#include "kestrova/image/tpimage.h"
#include "kestrova/image/tpimage_planes.h"
#include "kestrova/image/ydrdb.h"
#include "kestrova/rows/chroma_rows.h"

using namespace kestrova::frame;
using namespace kestrova::image;
using namespace kestrova::rows;

// Pixels out of a TPImage. At full size the chroma rows are enlarged as they are needed and never stored.

using namespace ydrdb;

namespace {

// Green from what red and blue leave of luminance.
inline ushort greenOf(float rest) { return clamp16(nearest(static_cast<double>(rest) * kGreenBack)); }

// Red or blue is the difference's own plane where a conversion runs in place.
KESTROVA_KERNEL void rgbRow(const ushort* y, const ushort* dr, const ushort* db, ushort* r, ushort* g, ushort* b,
                            int n) noexcept {
    KESTROVA_INDEPENDENT
    for (int x = 0; x < n; ++x) {
        const int red = clamp16(y[x] + 2 * (dr[x] - kZero16)), blue = clamp16(y[x] + 2 * (db[x] - kZero16));
        r[x] = static_cast<ushort>(red);
        b[x] = static_cast<ushort>(blue);
        const float t = y[x] - static_cast<float>(red) * kRed - static_cast<float>(blue) * kBlue;
        g[x] = greenOf(t);
    }
}

KESTROVA_KERNEL void rgbRow15(const ushort* y, const ushort* dr, const ushort* db, ushort* r, ushort* g, ushort* b,
                              int n) noexcept {
    KESTROVA_INDEPENDENT
    for (int x = 0; x < n; ++x) {
        const int luminance = y[x] >> 1;
        const int red = clamp16(dr[x] - kZero16 + luminance), blue = clamp16(db[x] - kZero16 + luminance);
        r[x] = static_cast<ushort>(red);
        b[x] = static_cast<ushort>(blue);
        const float t =
            static_cast<float>(luminance) - static_cast<float>(red) * kRed - static_cast<float>(blue) * kBlue;
        g[x] = greenOf(t);
    }
}

KESTROVA_KERNEL void rgbRow8(const ushort* y, const ushort* dr, const ushort* db, uchar* r, uchar* g, uchar* b,
                             int n) noexcept {
    KESTROVA_INDEPENDENT
    for (int x = 0; x < n; ++x) {
        const int red = 2 * ((y[x] >> 1) + dr[x] - kZero16), blue = 2 * ((y[x] >> 1) + db[x] - kZero16);
        const float t = y[x] - static_cast<float>(red) * kRed - static_cast<float>(blue) * kBlue;
        g[x] = static_cast<uchar>(greenOf(t) >> 8);
        r[x] = static_cast<uchar>(clamp16(red) >> 8);
        b[x] = static_cast<uchar>(clamp16(blue) >> 8);
    }
}

// The byte that v / 256 rounds to, in the low bits of a word whose next 16 bits are 0; v within +-2^22. Where the last
// bit of a float is worth 256 the adder rounds, to even as it should; what is below 0 falls below the zero.
inline std::uint32_t roundedByte(float v) {
    constexpr int kZeroBits = 0x4f000000;
    const float sum = v + 0x1p31f;
    int bits;
    std::memcpy(&bits, &sum, sizeof bits);
    return static_cast<std::uint32_t>(clampInt(bits, kZeroBits, kZeroBits + 255));
}

KESTROVA_KERNEL void packedRow(const ushort* y, const ushort* dr, const ushort* db, uchar* __restrict bgra,
                               int n) noexcept {
    for (int x = 0; x < n; ++x) {
        const float luminance = y[x];
        const float red = static_cast<float>(y[x] + 2 * (dr[x] - kZero16));
        const float blue = static_cast<float>(y[x] + 2 * (db[x] - kZero16));
        float t = luminance - red * kRed;
        t = t - blue * kBlue;
        t = t * kGreenBackFloat;
        const std::uint32_t pixel = 0xff000000u | roundedByte(red) << 16 | roundedByte(t) << 8 | roundedByte(blue);
        std::memcpy(bgra + 4 * x, &pixel, sizeof pixel);
    }
}

// Every other pixel of a row, the reduction of luminance by 2; a column that an odd width adds repeats the one before.
KESTROVA_KERNEL void everyOther(const ushort* y, ushort* __restrict half, int n) noexcept {
    for (int j = 0; j < n; ++j) half[j] = y[2 * j];
}

// Plane to plane at the size of Y.
template <class Out, class Row>
void convertPlanes(const cv::Mat& Y, const cv::Mat& Dr, const cv::Mat& Db, cv::Mat& R, cv::Mat& G, cv::Mat& B,
                   const Row& row) {
    checkPlanes(Y, Dr, Db, R, G, B);
    if (Y.empty()) return;
    if (Y.type() != CV_16UC1 || Dr.type() != CV_16UC1 || Db.type() != CV_16UC1)
        fail("ERROR - TPImage::YDRDB2RGB - input type");
    for (const cv::Mat* out : {&R, &G, &B}) {
        if (out->type() != cv::DataType<Out>::type) fail("ERROR - TPImage::YDRDB2RGB - output type");
        if (smaller(*out, Y.cols, Y.rows)) fail("ERROR - TPImage::YDRDB2RGB - output is smaller than Y");
    }
    if (smaller(Dr, Y.cols, Y.rows) || smaller(Db, Y.cols, Y.rows))
        fail("ERROR - TPImage::YDRDB2RGB - Dr or Db is smaller than Y");
    parallelRows(Y.rows, Y.cols, [&](int r) noexcept {
        row(Y.ptr<ushort>(r), Dr.ptr<ushort>(r), Db.ptr<ushort>(r), R.ptr<Out>(r), G.ptr<Out>(r), B.ptr<Out>(r),
            Y.cols);
    });
}

// Chroma rows on their way to full size, for one thread.
struct EnlargedChroma {
    ChromaRows rows;
    std::vector<ushort> dr, db;

    EnlargedChroma(const cv::Mat& Y, const cv::Mat& Dr, const cv::Mat& Db)
        : rows(Y, {Dr, Db}), dr(static_cast<std::size_t>(Y.cols)), db(dr) {}

    void compute(int r) noexcept {
        ushort* const out[] = {dr.data(), db.data()};
        rows.compute(r, out);
    }
};

// Calls `row(r, dr, db)` with the enlarged chroma of each of the first `rows` rows of Y.
template <class Row>
void forEnlargedRows(const cv::Mat& Y, const cv::Mat& Dr, const cv::Mat& Db, int rows, const Row& row) {
    ChromaRows::check(Y, {Dr, Db});
    const auto makeChroma = [&] { return EnlargedChroma(Y, Dr, Db); };
    forEachStrip(Strips(rows, workOf(Y.cols, 4)), makeChroma, [&](int first, int end, EnlargedChroma& chroma) noexcept {
        for (int r = first; r < end; ++r) {
            chroma.compute(r);
            row(r, chroma.dr.data(), chroma.db.data());
        }
    });
}

template <class Row>
void convertEnlarged(const TPImage& image, unsigned short* const planes[3], int step, const Row& row) {
    checkPlanes(image.m_Y, image.m_Dr, image.m_Db);
    if (image.m_Y.empty()) return;
    if (!planes || !planes[0] || !planes[1] || !planes[2]) fail("ERROR - TPImage::convertTopRGB - plane==NULL");
    if (!aligned(planes[0]) || !aligned(planes[1]) || !aligned(planes[2]))
        fail("ERROR - TPImage::convertTopRGB - plane%2");
    if (image.height() > 1 && (step < 2LL * image.width() || step % 2 != 0))
        fail("ERROR - TPImage::convertTopRGB - step<width*2 || step%2");
    const auto out = [=](int p, int r) { return planes[p] + static_cast<std::ptrdiff_t>(r) * (step / 2); };
    orFailWithoutMemory("ERROR - TPImage::convertTopRGB - not enough memory", [&] {
        forEnlargedRows(image.m_Y, image.m_Dr, image.m_Db, image.height(),
                        [&](int r, const ushort* dr, const ushort* db) noexcept {
                            row(image.m_Y.ptr<ushort>(r), dr, db, out(0, r), out(1, r), out(2, r), image.width());
                        });
    });
}

}  // namespace

void TPImage::YDRDB2RGB(const cv::Mat& Y, const cv::Mat& Dr, const cv::Mat& Db, cv::Mat& R, cv::Mat& G, cv::Mat& B) {
    convertPlanes<ushort>(Y, Dr, Db, R, G, B, rgbRow);
}

void TPImage::YDRDB2RGB15U(const cv::Mat& Y, const cv::Mat& Dr, const cv::Mat& Db, cv::Mat& R, cv::Mat& G,
                           cv::Mat& B) const {
    convertPlanes<ushort>(Y, Dr, Db, R, G, B, rgbRow15);
}

void TPImage::YDRDB2RGB8U(const cv::Mat& Y, const cv::Mat& Dr, const cv::Mat& Db, cv::Mat& R, cv::Mat& G,
                          cv::Mat& B) const {
    convertPlanes<uchar>(Y, Dr, Db, R, G, B, rgbRow8);
}

void TPImage::convertTo(unsigned char* dst, int step) const {
    YDRDBToQImage(m_Y, m_Dr, m_Db, dst, width(), height(), step);
}

void TPImage::YDRDBToQImage(const cv::Mat& Y, const cv::Mat& Dr, const cv::Mat& Db, unsigned char* dst, int width,
                            int height, int step) {
    if (Y.type() != CV_16UC1 || Dr.type() != CV_16UC1 || Db.type() != CV_16UC1)
        fail("ERROR TPImage::YDrDbToQImage - input type");
    checkPlanes(Y, Dr, Db);
    if (width < 1 || height < 1) return;
    if (dst == nullptr) fail("ERROR TPImage::YDrDbToQImage - dst==NULL");
    if (!rowsApart(height, step, 4LL * width)) fail("ERROR TPImage::YDrDbToQImage - step<width*4");
    if (smaller(Y, width, height)) fail("ERROR TPImage::YDrDbToQImage - Y is smaller than width by height");
    orFailWithoutMemory("ERROR - TPImage::YDRDBToQImage - not enough memory", [&] {
        forEnlargedRows(Y, Dr, Db, height, [&](int r, const ushort* dr, const ushort* db) noexcept {
            packedRow(Y.ptr<ushort>(r), dr, db, dst + static_cast<std::ptrdiff_t>(r) * step, width);
        });
    });
}

void TPImage::convertTopRGB(unsigned short* const planes[3], int step) const {
    convertEnlarged(*this, planes, step, rgbRow);
}

void TPImage::convertTopRGB15U(unsigned short* const planes[3], int step) const {
    convertEnlarged(*this, planes, step, rgbRow15);
}

void TPImage::convertToHalfpRGB(unsigned char* const planes[3], int step) const {
    checkPlanes(m_Y, m_Dr, m_Db);
    // The text of the reduction of luminance, which takes no empty plane.
    if (m_Y.empty() || m_Y.type() != CV_16UC1) fail("ERROR - downSize2X - outHalf must be allocated!");
    if (!planes || !planes[0] || !planes[1] || !planes[2]) fail("ERROR - TPImage::convertToHalfpRGB - plane==NULL");
    if (hHeight() > 1 && step < hWidth()) fail("ERROR - TPImage::convertToHalfpRGB - step<hWidth");
    if (m_Dr.type() != CV_16UC1 || m_Db.type() != CV_16UC1) fail("ERROR - TPImage::YDRDB2RGB - input type");
    if (smaller(m_Dr, hWidth(), hHeight()) || smaller(m_Db, hWidth(), hHeight()))
        fail("ERROR - TPImage::YDRDB2RGB - Dr or Db is smaller than Y");

    const int columns = hWidth(), regular = std::max(width() / 2, 1);
    using Luminance = std::vector<ushort>;
    const auto makeLuminance = [=] { return Luminance(static_cast<std::size_t>(columns)); };
    const auto convertRows = [&](int first, int end, Luminance& luminance) noexcept {
        ushort* const y = luminance.data();
        for (int k = first; k < end; ++k) {
            everyOther(m_Y.ptr<ushort>(2 * k), y, regular);
            if (regular < columns) y[regular] = y[regular - 1];
            const std::ptrdiff_t at = static_cast<std::ptrdiff_t>(k) * step;
            rgbRow8(y, m_Dr.ptr<ushort>(k), m_Db.ptr<ushort>(k), planes[0] + at, planes[1] + at, planes[2] + at,
                    columns);
        }
    };
    orFailWithoutMemory("ERROR - TPImage::convertToHalfpRGB - not enough memory",
                        [&] { forEachStrip(Strips(hHeight(), columns), makeLuminance, convertRows); });
}
