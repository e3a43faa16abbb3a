#include "kestrova/curves/tlut_tables.h"

#include <algorithm>
#include <cstdint>
#include <numeric>

#include "kestrova/frame/failure.h"
#include "kestrova/image/timage.h"
#include "kestrova/primitives/memory.h"
#include "kestrova/primitives/tables.h"

using namespace kestrova::frame;

namespace {

constexpr int kEntries = 65536;

std::shared_ptr<ushort> newTable() { return {ippsMalloc_16u(kEntries), ippsFree}; }

void makeLinear(ushort* table) {
    if (table) std::iota(table, table + kEntries, ushort(0));
}

void lookUp(TImage& image, const ushort* table, const char* notOfWords) {
    if (image.size().isEmpty()) return;
    char* const data = image.dataPtr(0, 0, 0);
    const bool bAligned = reinterpret_cast<std::uintptr_t>(data) % 2 == 0 && image.step() % 2 == 0;
    if (image.pstep() < 2 || !bAligned) fail(notOfWords);
    ushort* const pixels = reinterpret_cast<ushort*>(data);
    ippiLUTPalette_16u_C1R(pixels, image.step(), pixels, image.step(), {image.size().width, image.size().height}, table,
                           16);
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
TLutC::TLutC(const TLutC& other) = default;
TLutC& TLutC::operator=(const TLutC& other) = default;
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
        int step;
        m_owners[i] = {ippiMalloc_16u_C1(kEntries, 1, &step), ippiFree};
        m_tables_p[i] = m_owners[i].get();
    }
}
TLut2D::TLut2D(const TLut2D& other) = default;
TLut2D& TLut2D::operator=(const TLut2D& other) = default;
TLut2D::~TLut2D() = default;

int TLut2D::numLuts() { return m_num; }
void TLut2D::apply(const cv::Mat&, cv::Mat&, cv::Mat&) {}
void TLut2D::computeLUT() {}
