#include "kestrova/curves/tlut_y.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <vector>

#include "kestrova/curves/table_memory.h"
#include "kestrova/frame/failure.h"
#include "kestrova/frame/kernel.h"
#include "kestrova/frame/memory_failure.h"
#include "kestrova/frame/overlap.h"
#include "kestrova/frame/parallel.h"
#include "kestrova/frame/plane_checks.h"
#include "kestrova/frame/saturate.h"
#include "kestrova/frame/steps.h"
#include "kestrova/primitives/primitives.h"
#include "kestrova/rows/linear_rows.h"
#include "kestrova/rows/lookup_row.h"

using namespace kestrova::curves;
using namespace kestrova::frame;
using namespace kestrova::rows;

namespace {

constexpr int kSamples = 4096;       // of luminance, every sixteenth level
constexpr int kGrid = 128;           // samples of Dr, and of Db: every second level
constexpr int kWorkOfMapPixel = 48;  // in elements, for the choice whether to fork

// The ends repeat the end samples.
KESTROVA_KERNEL void enlarge16(const ushort* __restrict samples, ushort* __restrict table) noexcept {
    const auto sample = [=](std::ptrdiff_t i) { return samples[i]; };
    std::fill_n(table, 8, samples[0]);
    enlargeLinearly<16, LinearGrid::kCentred>(sample, 0, kSamples - 1, table + 8);
    std::fill_n(table + kEntries16 - 8, 8, samples[kSamples - 1]);
}

void lookUpY(const cv::Mat& inY, const ushort* table, cv::Mat& outY) {
    if (!table) fail("ERROR - TLutYDrDb::applyYLUT - !m_lutY_p");
    if (inY.type() != CV_16UC1)
        fail("ERROR -  TLutYDrDb::applyYLUT(const Mat &inY, Mat &outY) - inY.type() != CV_16UC1");
    const int inStep = stepOf(inY);
    cv::Mat out = orFailWithoutMemory("ERROR - TLutYDrDb::applyYLUT - not enough memory",
                                      [&] { return outputLike(outY, inY.size(), CV_16UC1); });
    ippiLUTPalette_16u_C1R(inY.ptr<ushort>(), inStep, out.ptr<ushort>(), stepOf(out), {inY.cols, inY.rows}, table, 16);
    outY = out;
}

void checkInOutY(const cv::Mat& inOutY16U) {
    if (inOutY16U.type() != CV_16UC1) fail("ERROR - TLutYDrDb::proc - inOutY16U.type()!=CV_16UC1");
}

// Row `y` of a grid plane enlarged linearly by 2 in both directions, pixel x in `full[x + 1]`: three quarters of the
// nearer sample and one of the farther, across and down; the edges repeat the edge samples.
inline void enlarge2Row(const uchar* grid, int y, int* full) noexcept {
    const uchar* const nearer = grid + y / 2 * kGrid;
    const uchar* const farther = grid + clampInt(y % 2 ? y / 2 + 1 : y / 2 - 1, 0, kGrid - 1) * kGrid;
    int column[kGrid + 2];
    for (int x = 0; x < kGrid; ++x) column[x + 1] = 3 * nearer[x] + farther[x];
    column[0] = column[1];
    column[kGrid + 1] = column[kGrid];
    const int* const columns = column;
    const auto sum = [=](std::ptrdiff_t x) { return columns[x]; };
    enlargeLinearly<2, LinearGrid::kCentred>(sum, 2, kGrid + 1, full);
}

KESTROVA_KERNEL void pairRow(const uchar* gridDr, const uchar* gridDb, int y, ushort* pairs) noexcept {
    int dr[2 * kGrid + 2], db[2 * kGrid + 2];
    enlarge2Row(gridDr, y, dr);
    enlarge2Row(gridDb, y, db);
    for (int x = 0; x < 2 * kGrid; ++x) pairs[x] = static_cast<ushort>(dr[x + 1] << 8 | db[x + 1]);
}

// Chroma goes through its tables in pieces of a row: Dr and Db are joined and taken apart in whole vectors, and between
// that a loop does nothing but look up. A pixel at a time takes 1.7 times as long.
constexpr int kPiece = 256;

KESTROVA_KERNEL void joinPairs(const uchar* dr, const uchar* db, ushort* __restrict pairs, int n) noexcept {
    for (int x = 0; x < n; ++x) pairs[x] = static_cast<ushort>(dr[x] << 8 | db[x]);
}

KESTROVA_KERNEL void splitPairs(const ushort* __restrict pairs, uchar* dr, uchar* db, int n) noexcept {
    for (int x = 0; x < n; ++x) dr[x] = static_cast<uchar>(pairs[x] >> 8);
    for (int x = 0; x < n; ++x) db[x] = static_cast<uchar>(pairs[x]);
}

// `lookUp(x, n, pairs)` takes the `n` pairs from pixel x on to those of the tables.
template <class LookUp>
void applyPieces(const uchar* inDr, const uchar* inDb, uchar* outDr, uchar* outDb, int n,
                 const LookUp& lookUp) noexcept {
    ushort pairs[kPiece];
    for (int x = 0; x < n; x += kPiece) {
        const int count = std::min(kPiece, n - x);
        joinPairs(inDr + x, inDb + x, pairs, count);
        lookUp(x, count, pairs);
        splitPairs(pairs, outDr + x, outDb + x, count);
    }
}

void applyCRow(const ushort* table, const uchar* inDr, const uchar* inDb, uchar* outDr, uchar* outDb, int n) noexcept {
    applyPieces(inDr, inDb, outDr, outDb, n,
                [&](int, int count, ushort* pairs) noexcept { lookUpRow(pairs, pairs, count, table); });
}

// A pixel of luminance Y gets w times table i less w - 1 times table i + 1, i being its band and w a whole number,
// ((i + 2) step - Y) / step truncated. Within a band w is 1: the table of the band stands alone. At the first level of
// a band w is 2, which extrapolates. The top band has no next table and takes the one below as table i: within it w is
// 0, its own table alone, and at its first level w is 1, the table below. This is the pair for the first level of band
// i; each byte keeps its low 8 bits.
int pairAtStartOfBand(const ushort* const* tables, int i, int last, int at) noexcept {
    if (i == last) return tables[last - 1][at];
    const int a = tables[i][at], b = tables[i + 1][at];
    return (2 * (a >> 8) - (b >> 8)) * 256 + ((2 * a - b) & 0xFF);
}

// The bands of luminance; returns how many pixels are at the first level of theirs.
KESTROVA_KERNEL int findBands(const ushort* y, int shift, uchar* __restrict bands, int n) noexcept {
    int starts = 0;
    for (int x = 0; x < n; ++x) {
        const int band = y[x] >> shift;
        bands[x] = static_cast<uchar>(band);
        starts += band << shift == y[x];
    }
    return starts;
}

void applyBandsRow(const ushort* const* tables, int shift, int last, const ushort* y, const uchar* inDr,
                   const uchar* inDb, uchar* outDr, uchar* outDb, int n) noexcept {
    applyPieces(inDr, inDb, outDr, outDb, n, [&](int first, int count, ushort* pairs) noexcept {
        const ushort* const levels = y + first;
        uchar bands[kPiece];
        if (findBands(levels, shift, bands, count) == 0) {
            for (int x = 0; x < count; ++x) pairs[x] = tables[bands[x]][pairs[x]];
            return;
        }
        for (int x = 0; x < count; ++x) {
            const int i = bands[x], at = pairs[x];
            const bool atStart = i << shift == levels[x];
            pairs[x] = static_cast<ushort>(atStart ? pairAtStartOfBand(tables, i, last, at) : tables[i][at]);
        }
    });
}

// Whether `plane` lacks a pixel that `of` has.
bool smaller(const cv::Mat& plane, const cv::Mat& of) {
    return !of.empty() && (plane.empty() || plane.cols < of.cols || plane.rows < of.rows);
}

void checkTables(const ushort* const* tables, int count) {
    if (std::find(tables, tables + count, nullptr) != tables + count) fail("ERROR - TLutYDrDb - m_CLUT_p==NULL");
}

// The planes that an operation writes, assigned when they are written.
struct ChromaOutputs {
    cv::Mat dr, db;

    ChromaOutputs(const cv::Mat& outDr, const cv::Mat& outDb, cv::Size size) {
        orFailWithoutMemory("ERROR - TLutYDrDb::applyCLUT - not enough memory", [&] {
            dr = outputLike(outDr, size, CV_8UC1);
            db = outputLike(outDb, size, CV_8UC1);
        });
    }
    void assign(cv::Mat& outDr, cv::Mat& outDb) const {
        outDr = dr;
        outDb = db;
    }
};

}  // namespace

TLutY16U::TLutY16U() : m_lutY_p(nullptr) { setupYLUT(); }
TLutY16U::TLutY16U(const TLutY16U& other) = default;
TLutY16U& TLutY16U::operator=(const TLutY16U& other) = default;
TLutY16U::~TLutY16U() = default;

void TLutY16U::setupYLUT() {
    if (m_lutY_p) return;
    m_owner =
        orFailWithoutMemory("ERROR - TLutY16U::setupYLUT - not enough memory", [] { return newTable16U(kEntries16); });
    m_lutY_p = static_cast<ushort*>(m_owner.get());
}

void TLutY16U::computeLUT16U(bool update) {
    if (!update || !m_lutY_p) return;
    ushort samples[kSamples];
    parallelRows(kSamples, kWorkOfMapPixel, [&](int i) noexcept {
        ushort y = static_cast<ushort>(16 * i), dr = 0x7FFF, db = 0x7FFF;
        mapPixel(y, dr, db);
        samples[i] = y;
    });
    enlarge16(samples, m_lutY_p);
}

void TLutY16U::applyYLUT(const cv::Mat& inY, cv::Mat& outY) { lookUpY(inY, m_lutY_p, outY); }

bool TLutY16U::proc(cv::Mat& inOutY16U, bool update) {
    checkInOutY(inOutY16U);
    if (update) computeLUT16U(true);
    applyYLUT(inOutY16U, inOutY16U);
    return true;
}

TLutYDrDb::TLutYDrDb(int nc) : m_lutY_p(nullptr), m_NC(-1), m_CLUT_p{} {
    setupYLUT();
    setupCLUT(nc);
}

TLutYDrDb::TLutYDrDb(const TLutYDrDb& other) = default;
TLutYDrDb& TLutYDrDb::operator=(const TLutYDrDb& other) = default;
TLutYDrDb::~TLutYDrDb() = default;

void TLutYDrDb::setupYLUT() {
    if (m_lutY_p) return;
    m_yOwner =
        orFailWithoutMemory("ERROR - TLutYDrDb::setupYLUT - not enough memory", [] { return newTable16U(kEntries16); });
    m_lutY_p = static_cast<ushort*>(m_yOwner.get());
}

int TLutYDrDb::setupCLUT(int nc) {
    const int count = nc < 0 ? 0 : 1 << std::min(nc, 5);
    std::shared_ptr<void> made[32];
    orFailWithoutMemory("ERROR - TLutYDrDb::setupCLUT - not enough memory", [&] {
        for (int s = 0; s < count; ++s)
            if (!m_cOwner[s] || !m_CLUT_p[s]) made[s] = newTable16U(kEntries16);
    });
    for (int s = 0; s < 32; ++s) {
        if (s >= count) {
            m_cOwner[s].reset();  // the pointer stays in its slot, stale: this is intentional
        } else if (made[s]) {
            m_cOwner[s] = made[s];
            m_CLUT_p[s] = static_cast<ushort*>(made[s].get());
        }
    }
    m_NC = std::min(nc, 5);
    return count;
}

int TLutYDrDb::numCLUT() { return m_NC < 0 ? 0 : 1 << m_NC; }

void TLutYDrDb::computeLUT() {
    const int count = numCLUT();
    const int tables = count == 1 || (count > 1 && m_lutY_p) ? count : 0;
    checkTables(m_CLUT_p, tables);
    constexpr std::size_t kGridPixels = std::size_t{kGrid} * kGrid;
    std::vector<uchar> gridDr, gridDb;
    orFailWithoutMemory("ERROR - TLutYDrDb::computeLUT - not enough memory", [&] {
        gridDr.resize(static_cast<std::size_t>(tables) * kGridPixels);
        gridDb.resize(gridDr.size());
    });

    const int stepY = tables > 1 ? sat16(65535.0f / static_cast<float>(tables)) : 0;
    const int offY = tables > 1 ? sat16(32767.0f / static_cast<float>(tables)) : 0x7FFF;
    ushort samples[kSamples];
    const auto sampleY = [&](int i) noexcept {
        ushort y = static_cast<ushort>(16 * i);
        uchar dr = 0x80, db = 0x80;
        mapPixel(y, dr, db);
        samples[i] = y;
    };
    const auto sampleRow = [&](int table, int i) noexcept {
        const std::size_t row = static_cast<std::size_t>(table) * kGridPixels + static_cast<std::size_t>(i) * kGrid;
        for (int j = 0; j < kGrid; ++j) {
            ushort y = static_cast<ushort>(table * stepY + offY);
            uchar dr = static_cast<uchar>(i << 1), db = static_cast<uchar>(j << 1);
            mapPixel(y, dr, db);
            gridDr[row + static_cast<std::size_t>(j)] = dr;
            gridDb[row + static_cast<std::size_t>(j)] = db;
        }
    };
    const auto enlargeRow = [&](int table, int y) noexcept {
        const std::size_t grid = static_cast<std::size_t>(table) * kGridPixels;
        pairRow(&gridDr[grid], &gridDb[grid], y, m_CLUT_p[table] + y * 2 * kGrid);
    };

    // All samples are taken, then all tables made of them. Pieces of the Y table come first.
    constexpr int kPieces = 16;  // of a table
    const auto forPiece = [](int piece, int items, const auto& item) noexcept {
        for (int i = piece * items / kPieces; i < (piece + 1) * items / kPieces; ++i) item(i);
    };
    const int samplingOfY = m_lutY_p ? kPieces : 0, enlargingOfY = m_lutY_p ? 1 : 0;
    const auto sample = [&](int piece) noexcept {
        if (piece < samplingOfY) return forPiece(piece, kSamples, sampleY);
        const int table = (piece - samplingOfY) / kPieces, ofTable = (piece - samplingOfY) % kPieces;
        forPiece(ofTable, kGrid, [&](int i) noexcept { sampleRow(table, i); });
    };
    const auto enlarge = [&](int piece) noexcept {
        if (piece < enlargingOfY) return enlarge16(samples, m_lutY_p);
        const int table = (piece - enlargingOfY) / kPieces, ofTable = (piece - enlargingOfY) % kPieces;
        forPiece(ofTable, 2 * kGrid, [&](int y) noexcept { enlargeRow(table, y); });
    };
    const std::array<int, 2> pieces = {samplingOfY + tables * kPieces, enlargingOfY + tables * kPieces};
    Steps<2> steps;
    withTeam(workerCount(pieces[0]), [&](int) noexcept {
        return steps.join(pieces, [&](int step, int piece) noexcept { step == 0 ? sample(piece) : enlarge(piece); });
    });
}

void TLutYDrDb::applyYLUT(const cv::Mat& inY, cv::Mat& outY) { lookUpY(inY, m_lutY_p, outY); }

void TLutYDrDb::applyCLUT(const cv::Mat& inDr, const cv::Mat& inDb, cv::Mat& outDr, cv::Mat& outDb) {
    if (numCLUT() < 1) fail("ERROR - TLutYDrDb::applyCLUT - m_NC<1 ");
    if (inDr.type() != inDb.type() || inDr.type() != CV_8UC1)
        fail("ERROR -TLutYDrDb::applyCLUT: inDr.type() !=inDb_p.type() || inDr.type() != CV_8UC1");
    checkPlanes(inDr, inDb);
    if (smaller(inDb, inDr)) fail("ERROR - TLutYDrDb::applyCLUT - inDb is smaller than inDr");
    checkTables(m_CLUT_p, 1);
    ChromaOutputs out(outDr, outDb, inDr.size());
    parallelRows(inDr.rows, inDr.cols, [&](int r) noexcept {
        applyCRow(m_CLUT_p[0], inDr.ptr(r), inDb.ptr(r), out.dr.ptr(r), out.db.ptr(r), inDr.cols);
    });
    out.assign(outDr, outDb);
}

void TLutYDrDb::applyCLUT(const cv::Mat& inY, const cv::Mat& inDr, const cv::Mat& inDb, cv::Mat& outDr,
                          cv::Mat& outDb) {
    if (numCLUT() < 1) fail("ERROR - TLutYDrDb::applyCLUT - m_NC<1 ");
    if (numCLUT() == 1) return applyCLUT(inDr, inDb, outDr, outDb);
    // The types are the caller's responsibility; what would be read beyond a plane is refused.
    checkPlanes(inY, inDr, inDb);
    if (smaller(inY, inDr) || smaller(inDb, inDr))
        fail("ERROR - TLutYDrDb::applyCLUT - inY or inDb is smaller than inDr");
    if (!inDr.empty() && inY.elemSize() < 2) fail("ERROR - TLutYDrDb::applyCLUT - inY.elemSize()<2");
    checkTables(m_CLUT_p, numCLUT());
    ChromaOutputs out(outDr, outDb, inDr.size());
    const int shift = 16 - m_NC, last = numCLUT() - 1;
    parallelRows(inDr.rows, inDr.cols, [&](int r) noexcept {
        applyBandsRow(m_CLUT_p, shift, last, inY.ptr<ushort>(r), inDr.ptr(r), inDb.ptr(r), out.dr.ptr(r), out.db.ptr(r),
                      inDr.cols);
    });
    out.assign(outDr, outDb);
}

bool TLutYDrDb::proc(cv::Mat& inOutY16U) {
    checkInOutY(inOutY16U);
    computeLUT();
    applyYLUT(inOutY16U, inOutY16U);
    return true;
}

bool TLutYDrDb::proc(const cv::Mat& inY16U, const cv::Mat& inDr8U, const cv::Mat& inDb8U, cv::Mat& outY16U,
                     cv::Mat& outDr8U, cv::Mat& outDb8U) {
    if (inY16U.type() != CV_16UC1 || inDr8U.type() != CV_8UC1 || inDb8U.type() != CV_8UC1)
        fail("ERROR - TLutYDrDb::proc - inY16U.type()!=CV_16UC1 || inDr8U.type!=CV_8UC1 || inDb8U.type()!=CV_8UC1");
    if (inY16U.size != inDr8U.size || inY16U.size != inDb8U.size)
        fail("ERROR - TLutYDrDb::proc inY16U.size != inDr8U.size || inY16U.size!= inDb8U.size");
    checkPlanes(inY16U, inDr8U, inDb8U);
    // All memory is taken before the first table or pixel changes; the outputs may be inputs of each other.
    const cv::Mat y = inY16U, dr = inDr8U, db = inDb8U;
    cv::Mat outY, outDr, outDb;
    orFailWithoutMemory("ERROR - TLutYDrDb::proc - not enough memory", [&] {
        outY = outputLike(outY16U, y.size(), CV_16UC1);
        if (numCLUT() > 0) outDr = outputLike(outDr8U, dr.size(), CV_8UC1);
        if (numCLUT() > 0) outDb = outputLike(outDb8U, dr.size(), CV_8UC1);
    });
    computeLUT();
    if (numCLUT() > 0) {
        applyCLUT(y, dr, db, outDr, outDb);
        outDr8U = outDr;
        outDb8U = outDb;
    }
    applyYLUT(y, outY);
    outY16U = outY;
    return true;
}
