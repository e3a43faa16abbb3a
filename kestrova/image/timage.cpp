#include "kestrova/image/timage.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <new>

#include "kestrova/frame/failure.h"
#include "kestrova/frame/kernel.h"
#include "kestrova/frame/parallel.h"
#include "kestrova/frame/plane_checks.h"
#include "kestrova/image/host_pixels.h"
#include "kestrova/image/timage_planes.h"
#include "kestrova/primitives/memory.h"

using namespace kestrova::frame;
using namespace kestrova::image;
using namespace kestrova::rows;

namespace {

// What a kind is made of; an unknown one has no planes and the type -1.
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
    return {0, 0, -1};
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

// Copies rows of that many bytes.
void copyPlane(Plane<const char> src, Plane<char> dst, int rows, std::size_t bytes) {
    parallelRows(rows, static_cast<int>(bytes / kBytesMovedAtOnce),
                 [=](int r) noexcept { std::memcpy(dst.row(r), src.row(r), bytes); });
}

// Whether an address lies in those rows, which are stored from the top to the bottom.
bool liesIn(const char* address, Plane<const char> plane, int rows) {
    const std::uintptr_t offset =
        reinterpret_cast<std::uintptr_t>(address) - reinterpret_cast<std::uintptr_t>(plane.elements);
    return offset < static_cast<std::uintptr_t>(plane.step) * static_cast<std::uintptr_t>(rows);
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

namespace kestrova::image {

OwnPlanes::OwnPlanes(TImage::IMTYPE type, const TSize& size) {
    try {
        for (int p = 0; p < kindOf(type).planes; ++p) {
            int rowStep = 0;
            blocks[p] = {allocatePlane(type, size, &rowStep), ippiFree};
            if (blocks[p]) step = rowStep;  // that of the first plane stays where there is no second one
        }
    } catch (const std::bad_alloc&) {  // the count of a block's owners needs memory, too
    }
}

bool OwnPlanes::complete(TImage::IMTYPE type) const {
    const int planes = kindOf(type).planes;
    return std::all_of(blocks, blocks + planes, [](const std::shared_ptr<void>& block) { return block != nullptr; });
}

OutputImage::OutputImage(TImage& image, const TSize& size, const char* noMemory) : m_image(image), m_size(size) {
    if (size.isEmpty() || image.keeps(size)) return;
    m_new.reset(new (std::nothrow) OwnPlanes(image.type(), size));
    if (!m_new || !m_new->complete(image.type())) fail(noMemory);
}

bool OutputImage::largeEnough() const {
    return m_new || (m_image.size().width >= m_size.width && m_image.size().height >= m_size.height);
}

void OutputImage::resized() {
    if (!m_new) return m_image.resize(m_size);
    m_image.free();
    m_image.take(m_size, *m_new);
}

}  // namespace kestrova::image

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
        if (type == IM_RGBA16U && !aligned(static_cast<const ushort*>(data))) fail("ERROR - TImage::TImage - data%2");
        if (!rowsApart(size.height, step, static_cast<long long>(bytes) * size.width))
            fail("ERROR - TImage::TImage - step<width*pstep");
        if (size.height > 1 && step % (bytes / 4) != 0) fail("ERROR - TImage::TImage - step%2");
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

bool TImage::keeps(const TSize& size) const {
    const int planes = size.isEmpty() ? 0 : kindOf(m_type).planes;
    const bool hasPlanes = std::all_of(m_data, m_data + planes, [](const char* plane) { return plane != nullptr; });
    return !m_bOwner || (size == m_size && hasPlanes);
}

void TImage::take(const TSize& size, const OwnPlanes& planes) {
    m_size = size;
    m_step = planes.step;
    m_pstep = kindOf(m_type).bytes;
    for (int p = 0; p < 2; ++p) {
        m_blocks[p] = planes.blocks[p];
        m_data[p] = static_cast<char*>(planes.blocks[p].get());
    }
}

void TImage::resize(const TSize& size) {
    if (keeps(size)) return;
    free();
    if (size.isEmpty())
        init(m_type);
    else
        take(size, OwnPlanes(m_type, size));
}

void TImage::copyFrom(const TImage& other) {
    if (!m_bOwner) return;
    // Keeps the pixels of `other` where they are this image's own.
    TImage source(other.m_type, TSize());
    source = other;
    const Kind kind = kindOf(source.m_type);
    // Planes that fit are kept: fresh ones of 96 megabytes cost five times the copy.
    const bool ownView = !source.m_bOwner && liesIn(source.m_data[0], {m_data[0], m_step}, m_size.height);
    bool fits = m_type == source.m_type && m_size == source.m_size && !ownView, hasPixels = !source.m_size.isEmpty();
    for (int p = 0; p < kind.planes; ++p) {
        fits = fits && m_data[p] && m_blocks[p].use_count() == 1;
        hasPixels = hasPixels && source.m_data[p];
    }
    const std::shared_ptr<void> before[] = {m_blocks[0], m_blocks[1]};  // kept for a view of them
    if (fits) {
        m_region = TImRegion();
        m_updateRect = TUpdateRect();
    } else {
        const OwnPlanes planes(source.m_type, source.m_size);
        if (hasPixels && !planes.complete(source.m_type)) fail("ERROR - TImage::copyFrom - not enough memory");
        init(source.m_type);
        if (!source.m_size.isEmpty()) take(source.m_size, planes);
    }
    const std::size_t bytes = static_cast<std::size_t>(kind.bytes) * static_cast<std::size_t>(m_size.width);
    for (int p = 0; p < kind.planes; ++p) {
        if (!source.m_data[p] || !m_data[p]) continue;
        copyPlane({source.m_data[p], source.m_step}, {m_data[p], m_step}, m_size.height, bytes);
    }
    setChanged();
}

void TImage::fromMat(const cv::Mat& m, int plane) {
    if (m_size.width != m.cols || m_size.height != m.rows) fail("ERROR - TImage::copyFrom - size is not equal");
    const bool words = m.type() == CV_16UC1 && m_type == IM_Y16U;
    const bool bytes = m.type() == CV_8UC1 && (m_type == IM_C8U || m_type == IM_M8U);
    if (!words && !bytes) fail("ERROR - TImage::copyFrom - type not match");
    const int target = planeIndex(m_type, plane);
    if (m_size.isEmpty()) return;
    if (!m.data) fail("ERROR - TImage::fromMat - m.data==NULL");
    copyPlane({m.ptr<char>(), stepOf(m)}, planeOf<char>(*this, target), m.rows, m.cols * m.elemSize());
}

const cv::Mat TImage::toMat(int plane) const {
    const Kind kind = kindOf(m_type);
    const int source = planeIndex(m_type, plane);
    if (kind.matType < 0) return cv::Mat();
    if (!m_data[source]) return cv::Mat(0, 0, kind.matType);
    const std::size_t rowBytes = static_cast<std::size_t>(kind.bytes) * static_cast<std::size_t>(m_size.width);
    std::size_t step = static_cast<std::size_t>(m_step);
    if (m_size.height > 1) {
        if (m_step < 0) fail("ERROR - TImage::toMat - step<0");
    } else if (m_step < 0 || step < rowBytes || step % 2 != 0) {
        step = rowBytes;  // that of a single row may be anything
    }
    return cv::Mat(m_size.height, m_size.width, kind.matType, m_data[source], step);
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
