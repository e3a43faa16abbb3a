#include "kestrova/curves/tlut_tables.h"

#include <algorithm>
#include <iterator>
#include <new>
#include <numeric>

#include "kestrova/curves/table_memory.h"
#include "kestrova/frame/failure.h"
#include "kestrova/frame/parallel.h"
#include "kestrova/frame/plane_checks.h"
#include "kestrova/image/timage.h"
#include "kestrova/image/timage_planes.h"
#include "kestrova/primitives/memory.h"
#include "kestrova/rows/lookup_row.h"

using namespace kestrova::curves;
using namespace kestrova::frame;
using namespace kestrova::image;
using namespace kestrova::rows;

namespace {

// Without memory there is no table.
std::shared_ptr<ushort> newTable() {
    try {
        return {ippsMalloc_16u(kEntries16), ippsFree};
    } catch (const std::bad_alloc&) {  // for the count of its owners
        return nullptr;
    }
}

void makeLinear(ushort* table) {
    if (table) std::iota(table, table + kEntries16, ushort(0));
}

void lookUp(TImage& image, const ushort* table, const char* notOfWords) {
    const TSize size = image.size();
    if (size.isEmpty() || !image.dataPtr(0, 0, 0)) return;
    const Plane<ushort> pixels = planeOf<ushort>(image);
    const bool words = image.pstep() >= 2 && (size.height == 1 || image.step() % 2 == 0);
    if (!words || !aligned(pixels.elements)) fail(notOfWords);
    parallelRows(size.height, size.width,
                 [=, width = size.width](int r) noexcept { lookUpRow(pixels.row(r), pixels.row(r), width, table); });
}

}  // namespace

TLutY::TLutY() : m_owner(newTable()) { m_table_p = m_owner.get(); }
TLutY::TLutY(const TLutY& other) = default;
TLutY& TLutY::operator=(const TLutY& other) = default;
TLutY::~TLutY() = default;

ushort* TLutY::ptr() { return m_table_p; }
void TLutY::setLinear() { makeLinear(m_table_p); }

void TLutY::apply(TImage& image) {
    if (!m_table_p) fail("ERROR - TLutY::apply - !m_table_p");
    lookUp(image, m_table_p, "ERROR - TLutY::apply - image not of 16-bit words");
}

TLutC::TLutC(int n) : m_num(std::min(n, 32)) {
    for (int i = 0; i < m_num; ++i) {
        m_owners[i] = newTable();
        m_tables_p[i] = m_owners[i].get();
    }
}
TLutC::TLutC(const TLutC& other) { *this = other; }
TLutC& TLutC::operator=(const TLutC& other) {
    if (this == &other) return *this;
    m_num = other.m_num;
    std::copy_n(other.m_tables_p, std::max(m_num, 0), m_tables_p);  // the others are never set
    std::copy(std::begin(other.m_owners), std::end(other.m_owners), m_owners);
    return *this;
}
TLutC::~TLutC() = default;

ushort* TLutC::ptr(int i) { return m_tables_p[i]; }

void TLutC::setLinear() {
    for (int i = 0; i < m_num; ++i) makeLinear(m_tables_p[i]);
}

void TLutC::apply(TImage& image) {
    if (m_num < 1 || !m_tables_p[0]) fail("ERROR - TLutC::apply - m_num<1 || !m_tables_p[0]");
    lookUp(image, m_tables_p[0], "ERROR - TLutC::apply - image not of 16-bit words");
}

void TLutC::apply(const TImage& in, TImage&) { in.halfY8U(); }

TLut2D::TLut2D(int n) : m_num(n), m_tables_p{} {
    for (int i = 0; i < std::min(n, 16); ++i) {
        m_owners[i] = newTable();
        m_tables_p[i] = m_owners[i].get();
    }
}
TLut2D::TLut2D(const TLut2D& other) = default;
TLut2D& TLut2D::operator=(const TLut2D& other) = default;
TLut2D::~TLut2D() = default;

int TLut2D::numLuts() { return m_num; }
void TLut2D::apply(const cv::Mat&, cv::Mat&, cv::Mat&) {}
void TLut2D::computeLUT() {}
