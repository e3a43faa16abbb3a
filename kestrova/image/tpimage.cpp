#include "kestrova/image/tpimage.h"

int TPImage::m_count = 0;
unsigned char* TPImage::m_lutFullToEdge_p = nullptr;
unsigned short* TPImage::m_lutEdgeToFull_p = nullptr;

namespace {

// Leaves nine bits for counting edits.
int newIdentity(int& count) { return ++count << 9; }

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

bool TPImage::bEmpty() const {
    return static_cast<int>(static_cast<unsigned>(m_Y.cols) * static_cast<unsigned>(m_Y.rows)) < 1;
}

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
