#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "kestrova/frame/failure.h"
#include "kestrova/frame/kernel.h"
#include "kestrova/frame/memory_failure.h"
#include "kestrova/frame/parallel.h"
#include "kestrova/frame/plane_checks.h"
#include "kestrova/frame/saturate.h"
#include "kestrova/frame/zero16.h"
#include "kestrova/image/host_pixels.h"
#include "kestrova/image/tpimage.h"
#include "kestrova/image/tpimage_planes.h"
#include "kestrova/image/ydrdb.h"
#include "kestrova/rows/chroma_rows.h"
#include "kestrova/rows/prefetch.h"

using namespace kestrova::frame;
using namespace kestrova::image;
using namespace kestrova::image::ydrdb;
using namespace kestrova::rows;

// Pixels out of a TPImage. At full size the chroma rows are enlarged as they are needed and never stored.

namespace {

// Green from what red and blue leave of luminance.
inline ushort greenOf(float rest) { return clamp16(nearest(static_cast<double>(rest) * kGreenBack)); }

// Planes of R, G, B.
struct Planes {
    ushort *r, *g, *b;

    void prefetch(std::ptrdiff_t x, std::size_t n) const noexcept {
        for (ushort* plane : {r, g, b}) prefetchToWrite(plane + x, n * sizeof(ushort));
    }
};

// 16 bits. Red or blue is the difference's own plane where a conversion runs in place.
struct Planes16 : Planes {
    void put(std::ptrdiff_t x, int y, int dr, int db) const noexcept {
        const int red = clamp16(y + 2 * (dr - kZero16)), blue = clamp16(y + 2 * (db - kZero16));
        r[x] = static_cast<ushort>(red);
        b[x] = static_cast<ushort>(blue);
        g[x] = greenOf(static_cast<float>(y) - static_cast<float>(red) * kRed - static_cast<float>(blue) * kBlue);
    }
};

// The same in 15 bits.
struct Planes15 : Planes {
    void put(std::ptrdiff_t x, int y, int dr, int db) const noexcept {
        const int luminance = y >> 1;
        const int red = clamp16(dr - kZero16 + luminance), blue = clamp16(db - kZero16 + luminance);
        r[x] = static_cast<ushort>(red);
        b[x] = static_cast<ushort>(blue);
        g[x] =
            greenOf(static_cast<float>(luminance) - static_cast<float>(red) * kRed - static_cast<float>(blue) * kBlue);
    }
};

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

inline float floatOf(std::uint32_t bits) {
    float v;
    std::memcpy(&v, &bits, sizeof v);
    return v;
}

// The byte that v / 128 rounds to; v within +-2^21. Where the last bit of a float is worth 128 the adder rounds, to
// even as it should, and the low bits of the sum are a signed word.
inline ushort roundedByte(float v) {
    const float sum = v + 0x1p30f;
    std::uint32_t bits;
    std::memcpy(&bits, &sum, sizeof bits);
    const short word = static_cast<short>(bits), above = word < 0 ? short{0} : word;
    return static_cast<ushort>(above > 255 ? short{255} : above);
}

// Bytes of B, G, R, A. All is worked out at half scale, where red is the sum of two conversions. Scaling by a power of
// two changes no rounding.
struct PackedBytes {
    uchar* bgra;

    void prefetch(std::ptrdiff_t x, std::size_t n) const noexcept { prefetchToWrite(bgra + 4 * x, 4 * n); }

    void put(std::ptrdiff_t x, int y, int dr, int db) const noexcept {
        // 2^22 + y / 2, where the last bit of a float is worth a half.
        const float raised = floatOf(static_cast<std::uint32_t>(y) | 0x4a800000u);
        const float luminance = raised - 0x1p22f, zero = raised - (0x1p22f + static_cast<float>(kZero16));
        const float red = static_cast<float>(dr) + zero, blue = static_cast<float>(db) + zero;
        float t = luminance - red * kRed;
        t = t - blue * kBlue;
        t = t * kGreenBackFloat;
        const ushort bg = static_cast<ushort>(roundedByte(blue) | roundedByte(t) << 8);
        const ushort ra = static_cast<ushort>(roundedByte(red) | 0xff00);
        std::memcpy(bgra + 4 * x, &bg, sizeof bg);
        std::memcpy(bgra + 4 * x + 2, &ra, sizeof ra);
    }
};

template <class Out>
KESTROVA_KERNEL void convertRow(const ushort* y, const ushort* dr, const ushort* db, Out out, int n) noexcept {
    KESTROVA_INDEPENDENT
    for (std::ptrdiff_t x = 0; x < n; ++x) out.put(x, y[x], dr[x], db[x]);
}

// How far ahead of a row's conversion its output is asked for, in pixels.
constexpr std::ptrdiff_t kAhead = 2048;

// Where the rows lie that the conversion of a later row reads first.
struct NextRows {
    const ushort *y, *chroma;
};

template <class Out>
KESTROVA_KERNEL void convertHalves(const ushort* y, ChromaRows::Halves dr, ChromaRows::Halves db, Out out, int pairs,
                                   NextRows next) noexcept {
    const auto ask = [&](std::ptrdiff_t j) {
        out.prefetch(2 * j + kAhead, 2 * kAskedAtOnce);
        prefetch(next.y + 2 * j, 2 * kAskedAtOnce * sizeof(ushort));
        prefetch(next.chroma + j, kAskedAtOnce * sizeof(ushort));
    };
    forEachAskingTwice(pairs, ask, [&](std::ptrdiff_t j) {
        std::uint32_t pair;  // the odd pixel in the upper half
        std::memcpy(&pair, y + 2 * j, sizeof pair);
        out.put(2 * j, pair & 0xffff, dr.even[j], db.even[j]);
        out.put(2 * j + 1, pair >> 16, dr.odd[j], db.odd[j]);
    });
}

// Every other pixel of a row, the reduction of luminance by 2; a column that an odd width adds repeats the one before.
KESTROVA_KERNEL void everyOther(const ushort* y, ushort* __restrict half, int n) noexcept {
    for (int j = 0; j < n; ++j) half[j] = y[2 * j];
}

template <class Out>
void planesRow(const ushort* y, const ushort* dr, const ushort* db, ushort* r, ushort* g, ushort* b, int n) noexcept {
    convertRow(y, dr, db, Out{{r, g, b}}, n);
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
class EnlargedChroma {
public:
    EnlargedChroma(const cv::Mat& Y, const cv::Mat& Dr, const cv::Mat& Db)
        : m_rows(Y, {Dr, Db}), m_Y(Y), m_low{Dr, Db}, m_dr(static_cast<std::size_t>(Y.cols)), m_db(m_dr) {}

    // The first `width` pixels of row `r`.
    template <class Out>
    void convert(int r, int width, const Out& out) noexcept {
        const ushort* const y = m_Y.ptr<ushort>(r);
        if (!ChromaRows::hasHalves(m_Y)) {
            ushort* const rows[] = {m_dr.data(), m_db.data()};
            m_rows.compute(r, rows);
            return convertRow(y, m_dr.data(), m_db.data(), out, width);
        }
        ChromaRows::Halves halves[2];
        m_rows.computeHalves(r, halves);
        const auto [dr, db] = halves;
        const int pairs = width / 2, last = width - 1;
        convertHalves(y, dr, db, out, pairs, nextRows(r));
        if (width % 2 == 1) out.put(last, y[last], dr.even[pairs], db.even[pairs]);
        // The side columns take the chroma of their inner neighbours.
        out.put(0, y[0], dr.odd[0], db.odd[0]);
        if (width < m_Y.cols || width == 1) return;
        const bool odd = width % 2 == 1 || width == 2;  // in two columns the first one has taken that of the other
        out.put(last, y[last], (odd ? dr.odd : dr.even)[pairs - 1], (odd ? db.odd : db.even)[pairs - 1]);
    }

private:
    // Every second row reads two rows further of luminance, and one of each chroma plane: half of them for each row.
    NextRows nextRows(int r) const noexcept {
        const cv::Mat& low = m_low[r % 2];
        return {m_Y.ptr<ushort>(std::min(r + 3, m_Y.rows - 1)), low.ptr<ushort>(std::min(r / 2 + 2, low.rows - 1))};
    }

    ChromaRows m_rows;
    cv::Mat m_Y, m_low[2];
    std::vector<ushort> m_dr, m_db;
};

// Converts the first `rows` by `width` pixels of Y with its chroma enlarged; `outAt(r)` takes those of row r.
template <class OutAt>
void convertEnlarged(const cv::Mat& Y, const cv::Mat& Dr, const cv::Mat& Db, int rows, int width, const OutAt& outAt) {
    ChromaRows::check(Y, {Dr, Db});
    const auto makeChroma = [&] { return EnlargedChroma(Y, Dr, Db); };
    forEachStrip(Strips(rows, workOf(Y.cols, 4)), makeChroma, [&](int first, int end, EnlargedChroma& chroma) noexcept {
        for (int r = first; r < end; ++r) chroma.convert(r, width, outAt(r));
    });
}

template <class Out>
void convertToPlanes(const TPImage& image, unsigned short* const planes[3], int step) {
    checkPlanes(image.m_Y, image.m_Dr, image.m_Db);
    if (image.m_Y.empty()) return;
    if (!planes || !planes[0] || !planes[1] || !planes[2]) fail("ERROR - TPImage::convertTopRGB - plane==NULL");
    if (!aligned(planes[0]) || !aligned(planes[1]) || !aligned(planes[2]))
        fail("ERROR - TPImage::convertTopRGB - plane%2");
    if (image.height() > 1 && (step < 2LL * image.width() || step % 2 != 0))
        fail("ERROR - TPImage::convertTopRGB - step<width*2 || step%2");
    orFailWithoutMemory("ERROR - TPImage::convertTopRGB - not enough memory", [&] {
        convertEnlarged(image.m_Y, image.m_Dr, image.m_Db, image.height(), image.width(), [=](int r) noexcept {
            const std::ptrdiff_t at = static_cast<std::ptrdiff_t>(r) * (step / 2);
            return Out{{planes[0] + at, planes[1] + at, planes[2] + at}};
        });
    });
}

}  // namespace

void TPImage::YDRDB2RGB(const cv::Mat& Y, const cv::Mat& Dr, const cv::Mat& Db, cv::Mat& R, cv::Mat& G, cv::Mat& B) {
    convertPlanes<ushort>(Y, Dr, Db, R, G, B, planesRow<Planes16>);
}

void TPImage::YDRDB2RGB15U(const cv::Mat& Y, const cv::Mat& Dr, const cv::Mat& Db, cv::Mat& R, cv::Mat& G,
                           cv::Mat& B) const {
    convertPlanes<ushort>(Y, Dr, Db, R, G, B, planesRow<Planes15>);
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
        convertEnlarged(Y, Dr, Db, height, width,
                        [=](int r) noexcept { return PackedBytes{dst + static_cast<std::ptrdiff_t>(r) * step}; });
    });
}

void TPImage::convertTopRGB(unsigned short* const planes[3], int step) const {
    convertToPlanes<Planes16>(*this, planes, step);
}

void TPImage::convertTopRGB15U(unsigned short* const planes[3], int step) const {
    convertToPlanes<Planes15>(*this, planes, step);
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
