#include "kestrova/curves/table_smoothing.h"

#include <cmath>
#include <cstddef>
#include <cstdlib>
#include <memory>

#include "kestrova/primitives/primitives.h"

using namespace kestrova::curves;

namespace {

double intPow(double x, int e) {
    double r = 1.0;
    for (int u = std::abs(e); u != 0; u >>= 1, x *= x)
        if (u & 1) r *= x;
    return e < 0 ? 1.0 / r : r;
}

// One table on its way: its floats and the constants of its recurrence.
struct Row {
    float* data;
    float nu;        // feedback from the element before
    float boundary;  // what the elements beyond an end add up to, as a factor on the end
    float post;      // the gain of all runs, taken back
};

Row rowOf(float* data, float sigma, int steps) {
    const double lambda = double(sigma * sigma) / (2.0 * steps);
    const double nu = (2 * lambda + 1 - std::sqrt(4 * lambda + 1)) / (2 * lambda);
    return {data, static_cast<float>(nu), static_cast<float>(1.0 / (1.0 - nu)),
            static_cast<float>(intPow(nu / lambda, steps))};
}

// One run there and back over K rows, the last of which takes back the gain of all. Each step of a row waits for the
// one before it, 6 to 8 cycles for a multiplication and an addition; the steps of K rows wait together.
template <int K, bool kLastRun>
void runThereAndBack(const Row* rows, int n) noexcept {
    float* data[K];
    float nu[K], post[K], last[K];
    for (int k = 0; k < K; ++k) data[k] = rows[k].data, nu[k] = rows[k].nu, post[k] = rows[k].post;

    for (int k = 0; k < K; ++k) data[k][0] = last[k] = data[k][0] * rows[k].boundary;
    for (int i = 1; i < n; ++i)
        for (int k = 0; k < K; ++k) data[k][i] = last[k] = data[k][i] + nu[k] * last[k];

    const auto keep = [&](int k, int i) { data[k][i] = kLastRun ? last[k] * post[k] : last[k]; };
    for (int k = 0; k < K; ++k) {
        last[k] = data[k][n - 1] * rows[k].boundary;
        keep(k, n - 1);
    }
    for (int i = n - 2; i >= 0; --i) {
        for (int k = 0; k < K; ++k) {
            last[k] = data[k][i] + nu[k] * last[k];
            keep(k, i);
        }
    }
}

template <int K>
void smoothRows(const Row* rows, int n, int steps) noexcept {
    for (int s = 1; s < steps; ++s) runThereAndBack<K, false>(rows, n);
    if (steps > 0) runThereAndBack<K, true>(rows, n);
}

constexpr void (*kSmoothRows[kTablesSideBySide])(const Row*, int, int) noexcept = {
    smoothRows<1>, smoothRows<2>, smoothRows<3>, smoothRows<4>, smoothRows<5>, smoothRows<6>};

}  // namespace

void gaussSmooth1D(float* data, int n, float sigma, int steps) {
    if (!data || n < 1 || !(sigma > 0) || steps < 0) return;
    const Row row = rowOf(data, sigma, steps);
    smoothRows<1>(&row, n, steps);
}

void smoothLUT8U(uchar* table, int n, float sigma, int steps) {
    if (!table || n < 1) return;
    const std::unique_ptr<float[]> work(new float[n]);
    smoothLUT8U(table, n, sigma, steps, work.get());
}

void smoothLUT8U(uchar* table, int n, float sigma, int steps, float* work) {
    const int bytes = n * static_cast<int>(sizeof(float));
    ippiConvert_8u32f_C1R(table, n, work, bytes, {n, 1});
    gaussSmooth1D(work, n, sigma, steps);
    ippiConvert_32f8u_C1R(work, bytes, table, n, {n, 1}, ippRndNear);
}

void smoothLUT16U(ushort* table, int n, float sigma, int steps) {
    if (!table || n < 1) return;
    const std::unique_ptr<float[]> work(new float[n]);
    smoothLUT16U(table, n, sigma, steps, work.get());
}

void smoothLUT16U(ushort* table, int n, float sigma, int steps, float* work) {
    const int bytes16 = n * static_cast<int>(sizeof(ushort)), bytes32 = n * static_cast<int>(sizeof(float));
    ippiConvert_16u32f_C1R(table, bytes16, work, bytes32, {n, 1});
    gaussSmooth1D(work, n, sigma, steps);
    ippiConvert_32f16u_C1R(work, bytes32, table, bytes16, {n, 1}, ippRndNear);
}

namespace kestrova::curves {

void smoothLUTs16U(const TableToSmooth* tables, int count, int n, int steps, float* work) noexcept {
    const IppiSize row = {n, 1};
    const int bytes16 = n * static_cast<int>(sizeof(ushort)), bytes32 = n * static_cast<int>(sizeof(float));
    TableToSmooth todo[kTablesSideBySide];
    Row rows[kTablesSideBySide];
    int rowCount = 0;
    for (int i = 0; i < count; ++i) {
        if (!tables[i].table || n < 1 || !(tables[i].sigma > 0) || steps < 0) continue;
        todo[rowCount] = tables[i];
        rows[rowCount] = rowOf(work + std::ptrdiff_t{smoothingRoom(n)} * rowCount, tables[i].sigma, steps);
        ippiConvert_16u32f_C1R(tables[i].table, bytes16, rows[rowCount].data, bytes32, row);
        ++rowCount;
    }
    if (rowCount == 0) return;
    kSmoothRows[rowCount - 1](rows, n, steps);
    for (int i = 0; i < rowCount; ++i)
        ippiConvert_32f16u_C1R(rows[i].data, bytes32, todo[i].table, bytes16, row, ippRndNear);
}

}  // namespace kestrova::curves
