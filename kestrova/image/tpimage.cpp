#include "kestrova/image/tpimage.h"

#include <algorithm>
#include <cstring>

#include "kestrova/frame/failure.h"
#include "kestrova/frame/parallel.h"
#include "kestrova/image/pixel_count.h"
#include "kestrova/image/roi.h"
#include "kestrova/primitives/copy.h"
#include "kestrova/primitives/neighbourhood.h"
#include "kestrova/resample/resample.h"

using namespace kestrova::frame;
using namespace kestrova::image;

int TPImage::m_count = 0;
unsigned char* TPImage::m_lutFullToEdge_p = nullptr;
unsigned short* TPImage::m_lutEdgeToFull_p = nullptr;

namespace {

// Leaves nine bits for counting edits.
int newIdentity(int& count) { return ++count << 9; }

IppiSize sizeOf(const cv::Mat& plane) { return {plane.cols, plane.rows}; }
int stepOf(const cv::Mat& plane) { return static_cast<int>(plane.step); }

// The vendor's forms for one type of pixel.
template <class Pixel>
struct Primitives {
    IppStatus (*copyWithBorder)(const Pixel*, int, IppiSize, Pixel*, int, IppiSize, int, int);
    IppStatus (*refreshBorder)(Pixel*, int, IppiSize, IppiSize, int, int);
    IppStatus (*box)(const Pixel*, int, Pixel*, int, IppiSize, IppiSize, IppiPoint);
    IppStatus (*boxInPlace)(Pixel*, int, IppiSize, IppiSize, IppiPoint);
};

constexpr Primitives<uchar> kOfBytes = {ippiCopyReplicateBorder_8u_C1R, ippiCopyReplicateBorder_8u_C1IR,
                                        ippiFilterBox_8u_C1R, ippiFilterBox_8u_C1IR};
constexpr Primitives<ushort> kOfWords = {ippiCopyReplicateBorder_16u_C1R, ippiCopyReplicateBorder_16u_C1IR,
                                         ippiFilterBox_16u_C1R, ippiFilterBox_16u_C1IR};
constexpr Primitives<float> kOfFloats = {ippiCopyReplicateBorder_32f_C1R, ippiCopyReplicateBorder_32f_C1IR,
                                         ippiFilterBox_32f_C1R, ippiFilterBox_32f_C1IR};

cv::Mat copyOf(const cv::Mat& region) {
    cv::Mat copy(region.size(), region.type());
    const std::size_t bytes = region.cols * region.elemSize();
    parallelRows(region.rows, region.cols, [&](int r) noexcept { std::memcpy(copy.ptr(r), region.ptr(r), bytes); });
    return copy;
}

// The largest for which the cells of the mask can be counted in 32 bits.
constexpr int kMaxRadius = 32767;

// Radius and number of box means before a reduction by `scale`: from 5 on the passes go 1, 2, 3 while the radius
// stands, which grows with the region too.
struct Smoothing {
    int radius, passes;
    Smoothing(const cv::Mat& region, int scale) {
        if (scale < 5) {
            radius = 1;
            passes = scale / 4 + 1;
        } else {
            const int third = static_cast<int>((scale + 1LL) / 3);
            radius = std::max(third, std::min(region.rows, region.cols) / 2000 + 1);
            passes = static_cast<int>(scale - 3LL * third + 2);
        }
    }
};

// At scale 1 a plane of the region's size, else the centre of a plane with borders.
template <class Pixel>
cv::Mat smoothed(const Primitives<Pixel>& of, const cv::Mat& region, int scale) {
    const Smoothing s(region, scale);
    if (s.radius > kMaxRadius) fail("ERROR - TPImage::MatRoi - scale is too large to smooth");
    const int side = 2 * s.radius + 1;
    const IppiSize mask = {side, side};
    const IppiPoint anchor = {s.radius, s.radius};
    cv::Mat work(region.rows + 2 * s.radius, region.cols + 2 * s.radius, region.type());
    of.copyWithBorder(region.ptr<Pixel>(), stepOf(region), sizeOf(region), work.ptr<Pixel>(), stepOf(work),
                      sizeOf(work), s.radius, s.radius);
    cv::Mat centre = work(cv::Rect(s.radius, s.radius, region.cols, region.rows));
    if (scale == 1) {
        cv::Mat out(region.size(), region.type());
        of.box(centre.ptr<Pixel>(), stepOf(work), out.ptr<Pixel>(), stepOf(out), sizeOf(out), mask, anchor);
        return out;
    }
    for (int pass = 0; pass < s.passes; ++pass) {
        if (pass > 0)
            of.refreshBorder(centre.ptr<Pixel>(), stepOf(work), sizeOf(centre), sizeOf(work), s.radius, s.radius);
        of.boxInPlace(centre.ptr<Pixel>(), stepOf(work), sizeOf(centre), mask, anchor);
    }
    return centre;
}

cv::Mat smoothed(const cv::Mat& region, int scale) {
    switch (region.type()) {
        case CV_8UC1: return smoothed(kOfBytes, region, scale);
        case CV_16UC1: return smoothed(kOfWords, region, scale);
        case CV_32FC1: return smoothed(kOfFloats, region, scale);
        default: fail("ERROR TPImage::MatRoi - input type");
    }
}

}  // namespace

TPImage::TPImage(int width, int height) {
    create(width, height);
    m_uid = newIdentity(m_count);
}

TPImage::TPImage(const TPImage& other)
    : m_Y(other.m_Y), m_Dr(other.m_Dr), m_Db(other.m_Db), m_mask(other.m_mask), m_uid(newIdentity(m_count)) {}

TPImage::~TPImage() { --m_count; }

const TPImage& TPImage::operator=(const TPImage& other) {
    m_Y = other.m_Y;
    m_Dr = other.m_Dr;
    m_Db = other.m_Db;
    m_mask = other.m_mask;
    return *this;
}

void TPImage::create(int width, int height, bool) {
    if (width == m_Y.cols && height == m_Y.rows) return;
    m_Y.create(height, width, CV_16UC1);
    m_Dr.create(half(height), half(width), CV_16UC1);
    m_Db.create(half(height), half(width), CV_16UC1);
    m_mask.create(half(height), half(width), CV_8UC1);
}

void TPImage::release() {
    m_Y = cv::Mat();
    m_Dr = cv::Mat();
    m_Db = cv::Mat();
    m_mask = cv::Mat();
}

TPImage TPImage::clone(bool withY) const {
    TPImage copy(0, 0);
    if (withY) copy.m_Y = m_Y.clone();
    copy.m_Dr = m_Dr.clone();
    copy.m_Db = m_Db.clone();
    copy.m_mask = m_mask.clone();
    return copy;
}

void TPImage::copyTo(TPImage& dst, bool withY) const {
    if (withY) m_Y.copyTo(dst.m_Y);
    m_Dr.copyTo(dst.m_Dr);
    m_Db.copyTo(dst.m_Db);
    m_mask.copyTo(dst.m_mask);
}

bool TPImage::bEmpty() const { return noPixels(width(), height()); }

int TPImage::width() const { return m_Y.cols; }
int TPImage::height() const { return m_Y.rows; }
int TPImage::hWidth() const { return half(width()); }
int TPImage::hHeight() const { return half(height()); }

int TPImage::half(int n) {
    const int truncated = n / 2;
    return 2 * truncated < n ? truncated + 1 : truncated;
}

int TPImage::uid() const { return m_uid; }
void TPImage::updateUid() { ++m_uid; }

cv::Mat TPImage::MatRoi(const cv::Mat& in, int x, int y, int w, int h, int scale, bool bHalf, bool bSmooth) {
    if (bHalf) {
        x /= 2;
        y /= 2;
        w = half(w);
        h = half(h);
    }
    const cv::Mat region = regionOf(in, x, y, w, h, scale);
    const cv::Mat source = bSmooth && !region.empty() ? smoothed(region, scale) : region;
    if (scale == 1) return bSmooth ? source : copyOf(source);
    cv::Mat out(h, w, in.type());
    downSizeNX(source, out, scale, 4);
    return out;
}
