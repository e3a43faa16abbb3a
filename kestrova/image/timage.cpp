#include "kestrova/image/timage.h"

#include <cstdint>
#include <cstring>

#include "kestrova/frame/failure.h"
#include "kestrova/frame/kernel.h"
#include "kestrova/frame/parallel.h"
#include "kestrova/image/pixel_count.h"
#include "kestrova/image/timage_planes.h"
#include "kestrova/primitives/copy.h"
#include "kestrova/primitives/memory.h"

using namespace kestrova::frame;
using namespace kestrova::image;
using namespace kestrova::rows;

namespace {

// What a kind is made of; `bytes` is 0 of an unknown one.
struct Kind {
    int planes, bytes, matType;
};

Kind kindOf(TImage::IMTYPE type) {
    switch (type) {
        case TImage::IM_Y16U: return {1, 2, CV_16UC1};
        case TImage::IM_C8U: return {2, 1, CV_8UC1};
        case TImage::IM_M8U: return {1, 1, CV_8UC1};
        case TImage::IM_RGBA8U: return {1, 4, CV_8UC4};
        case TImage::IM_RGBA16U: return {1, 8, CV_16UC4};
    }
    return {0, 0, CV_8UC1};
}

// The plane that a caller's number means: only a pair has a choice.
int planeIndex(TImage::IMTYPE type, int plane) {
    if (type != TImage::IM_C8U) return 0;
    if (plane < 0) fail("ERROR - TImage - plane<0");
    return plane < 1 ? 0 : 1;
}

void* allocatePlane(TImage::IMTYPE type, const TSize& size, int* step) {
    switch (type) {
        case TImage::IM_Y16U: return ippiMalloc_16u_C1(size.width, size.height, step);
        case TImage::IM_C8U:
        case TImage::IM_M8U: return ippiMalloc_8u_C1(size.width, size.height, step);
        case TImage::IM_RGBA8U: return ippiMalloc_8u_C4(size.width, size.height, step);
        case TImage::IM_RGBA16U: return ippiMalloc_16u_C4(size.width, size.height, step);
    }
    return nullptr;
}

// Copies pixels of that many bytes; planes without memory are let pass.
void copyPlane(const void* src, int srcStep, void* dst, int dstStep, const TSize& size, int bytes) {
    if (!src || !dst) return;
    ippiCopy_8u_C1R(static_cast<const uchar*>(src), srcStep, static_cast<uchar*>(dst), dstStep,
                    {size.width * bytes, size.height});
}

KESTROVA_KERNEL void swapRow(uchar* rgba, int n) noexcept {
    for (std::ptrdiff_t x = 0; x < n; ++x) {
        std::uint32_t p;
        std::memcpy(&p, rgba + 4 * x, sizeof p);
        p = (p & 0xff00ff00u) | (p & 0xffu) << 16 | (p >> 16 & 0xffu);
        std::memcpy(rgba + 4 * x, &p, sizeof p);
    }
}

KESTROVA_KERNEL void swapRow(ushort* rgba, int n) noexcept {
    for (std::ptrdiff_t x = 0; x < n; ++x) {
        std::uint64_t p;
        std::memcpy(&p, rgba + 4 * x, sizeof p);
        p = (p & 0xffff0000ffff0000u) | (p & 0xffffu) << 32 | (p >> 32 & 0xffffu);
        std::memcpy(rgba + 4 * x, &p, sizeof p);
    }
}

template <class Element>
void swapPlane(Plane<Element> plane, const TSize& size) {
    parallelRows(size.height, size.width, [=, width = size.width](int r) noexcept { swapRow(plane.row(r), width); });
}

}  // namespace

TImage::TImage(IMTYPE type, const TSize& size) {
    init(type);
    resize(size);
}

TImage::TImage(const TSize& size, unsigned char* data, int step, bool swapRB) {
    initView(IM_RGBA8U, size, data, step, swapRB);
}

TImage::TImage(const TSize& size, unsigned short* data, int step, bool swapRB) {
    initView(IM_RGBA16U, size, data, step, swapRB);
}

TImage::TImage(const TImage& other) {
    init(other.type());
    copyFrom(other);
}

TImage::~TImage() { free(); }

TImage& TImage::operator=(const TImage& other) = default;

void TImage::init(IMTYPE type) {
    m_type = type;
    m_bOwner = 1;
    m_size = TSize();
    for (char*& plane : m_data) plane = nullptr;
    for (std::shared_ptr<void>& block : m_blocks) block.reset();
    m_step = 0;
    m_pstep = 0;
    m_region = TImRegion();
    m_updateRect = TUpdateRect();
}

void TImage::initView(IMTYPE type, const TSize& size, void* data, int step, bool swapRB) {
    init(type);
    const int bytes = kindOf(type).bytes;
    if (!size.isEmpty()) {
        if (!data) fail("ERROR - TImage::TImage - data==NULL");
        if (step < static_cast<long long>(bytes) * size.width) fail("ERROR - TImage::TImage - step<width*pstep");
        if (step % (bytes / 4) != 0) fail("ERROR - TImage::TImage - step%2");
        m_size = size;
    }
    m_bOwner = 0;
    m_data[0] = static_cast<char*>(data);
    m_step = step;
    m_pstep = bytes;
    if (swapRB) swapC4RBCannel();
}

void TImage::free() {
    if (!m_bOwner) return;
    for (char*& plane : m_data) {
        if (!plane) continue;
        plane = nullptr;
        m_size = TSize();
        m_step = 0;
        m_pstep = 0;
    }
    for (std::shared_ptr<void>& block : m_blocks) block.reset();
    m_updateRect.setChanged();
}

void TImage::resize(const TSize& size) {
    if (!m_bOwner || size == m_size) return;
    free();
    if (size.isEmpty()) {
        init(m_type);
        return;
    }
    m_size = size;
    const Kind kind = kindOf(m_type);
    for (int p = 0; p < kind.planes; ++p) {
        void* const plane = allocatePlane(m_type, size, &m_step);
        if (plane) m_blocks[p].reset(plane, ippiFree);
        m_data[p] = static_cast<char*>(plane);
    }
    m_pstep = kind.bytes;
}

void TImage::copyFrom(const TImage& other) {
    if (!m_bOwner) return;
    // Keeps the pixels of `other` where they are this image's own.
    TImage source(other.m_type, TSize());
    source = other;
    const Kind kind = kindOf(source.m_type);
    // Planes that fit are kept: fresh ones of 96 megabytes cost five times the copy.
    bool fits = m_type == source.m_type && m_size == source.m_size;
    for (int p = 0; p < kind.planes; ++p) fits = fits && m_data[p] && m_blocks[p].use_count() == 1;
    if (fits) {
        m_region = TImRegion();
        m_updateRect = TUpdateRect();
    } else {
        free();
        init(source.m_type);
        resize(source.m_size);
    }
    for (int p = 0; p < kind.planes; ++p)
        copyPlane(source.m_data[p], source.m_step, m_data[p], m_step, m_size, kind.bytes);
    setChanged();
}

void TImage::fromMat(const cv::Mat& m, int plane) {
    if (m_size.width != m.cols || m_size.height != m.rows) fail("ERROR - TImage::copyFrom - size is not equal");
    const bool words = m.type() == CV_16UC1 && m_type == IM_Y16U;
    const bool bytes = m.type() == CV_8UC1 && (m_type == IM_C8U || m_type == IM_M8U);
    if (!words && !bytes) fail("ERROR - TImage::copyFrom - type not match");
    const int target = planeIndex(m_type, plane);
    copyPlane(m.data, static_cast<int>(m.step), m_data[target], m_step, m_size, m_pstep);
}

const cv::Mat TImage::toMat(int plane) const {
    const Kind kind = kindOf(m_type);
    const int source = planeIndex(m_type, plane);
    if (!m_data[source]) return cv::Mat(0, 0, kind.matType);
    return cv::Mat(m_size.height, m_size.width, kind.matType, m_data[source], static_cast<std::size_t>(m_step));
}

char* TImage::dataPtr(int row, int col, int plane) {
    return const_cast<char*>(static_cast<const TImage*>(this)->dataPtr(row, col, plane));
}

const char* TImage::dataPtr(int row, int col, int plane) const {
    const auto offset = [](int count, int bytes) {
        return static_cast<int>(static_cast<unsigned>(count) * static_cast<unsigned>(bytes));
    };
    return m_data[plane] + offset(row, m_step) + offset(col, m_pstep);
}

TImage::IMTYPE TImage::type() const { return m_type; }
const TSize& TImage::size() const { return m_size; }
int TImage::step() const { return m_step; }
int TImage::pstep() const { return m_pstep; }
const TUpdateRect& TImage::updateRect() const { return m_updateRect; }
void TImage::setChanged() { m_updateRect.setChanged(); }
void TImage::setChanged(const TRect& rect) { m_updateRect.setChanged(rect); }

void TImage::swapC4RBCannel() {
    if (noPixels(m_size.width, m_size.height)) return;
    if (m_type == IM_RGBA8U)
        swapPlane(planeOf<uchar>(*this), m_size);
    else if (m_type == IM_RGBA16U)
        swapPlane(planeOf<ushort>(*this), m_size);
    else
        fail("ERROR -  TImage::swapC4RBCannel() - wrong type");
}

TSize TImage::dec2Size(const TSize& size) {
    const auto half = [](int n) { return n / 2 + (n > 0 ? n % 2 : 0); };
    return TSize(half(size.width), half(size.height));
}
