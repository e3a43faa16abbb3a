#include "kestrova/image/tpimage.h"

#include <cstring>

#include "kestrova/frame/overlap.h"
#include "kestrova/frame/parallel.h"
#include "kestrova/image/host_pixels.h"
#include "kestrova/image/roi.h"
#include "kestrova/image/roi_smoothing.h"
#include "kestrova/image/tpimage_planes.h"
#include "kestrova/resample/resample.h"

using namespace kestrova::frame;
using namespace kestrova::image;

int TPImage::m_count = 0;
unsigned char* TPImage::m_lutFullToEdge_p = nullptr;
unsigned short* TPImage::m_lutEdgeToFull_p = nullptr;

namespace {

// Any thread may make and destroy images.
int add(int& count, int n) { return __atomic_add_fetch(&count, n, __ATOMIC_RELAXED); }

// Leaves nine bits for counting edits.
int newIdentity(int& count) { return static_cast<int>(static_cast<unsigned>(add(count, 1)) << 9); }

cv::Mat copyOf(const cv::Mat& region) {
    cv::Mat copy(region.size(), region.type());
    const std::size_t bytes = region.cols * region.elemSize();
    parallelRows(region.rows, region.cols, [&](int r) noexcept { std::memcpy(copy.ptr(r), region.ptr(r), bytes); });
    return copy;
}

}  // namespace

TPImage::TPImage(int width, int height) {
    create(width, height);
    m_uid = newIdentity(m_count);
}

TPImage::TPImage(const TPImage& other)
    : m_Y(other.m_Y), m_Dr(other.m_Dr), m_Db(other.m_Db), m_mask(other.m_mask), m_uid(newIdentity(m_count)) {}

TPImage::~TPImage() { add(m_count, -1); }

const TPImage& TPImage::operator=(const TPImage& other) {
    m_Y = other.m_Y;
    m_Dr = other.m_Dr;
    m_Db = other.m_Db;
    m_mask = other.m_mask;
    return *this;
}

void TPImage::create(int width, int height, bool) { NewPlanes(*this, width, height).assignTo(*this); }

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
    const auto roomFor = [](const cv::Mat& from, const cv::Mat& to) {
        return outputLike(to, from.size(), from.type());
    };
    cv::Mat Y = withY ? roomFor(m_Y, dst.m_Y) : dst.m_Y;
    cv::Mat Dr = roomFor(m_Dr, dst.m_Dr), Db = roomFor(m_Db, dst.m_Db), mask = roomFor(m_mask, dst.m_mask);
    if (withY) m_Y.copyTo(Y);
    m_Dr.copyTo(Dr);
    m_Db.copyTo(Db);
    m_mask.copyTo(mask);
    dst.m_Y = Y;
    dst.m_Dr = Dr;
    dst.m_Db = Db;
    dst.m_mask = mask;
}

bool TPImage::bEmpty() const { return noPixels(width(), height()) || !m_Y.data; }

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
    downSizeNX(source, out, scale, kInterpCubic);
    return out;
}
