#pragma once

#include <opencv2/core/hal/interface.h>

// Smoothing of tables by a recursive Gaussian: repeated first-order filters in both directions, after L. Alvarez and
// L. Mazorra, "Signal and image restoration using shock filters and anisotropic diffusion", SIAM J. Numer. Anal. 31
// (1994). Internal.

/// Smooths `n` floats in place, in `steps` runs there and back. Leaves them as they are if `data` is null, `n` < 1,
/// `sigma` not above 0, or `steps` < 1.
void gaussSmooth1D(float* data, int n, float sigma, int steps);

/// Smooths a table of `n` entries in place; rounds to nearest, ties to even, and saturates. Without memory it throws
/// the allocator's exception and leaves the table as it was.
void smoothLUT8U(uchar* table, int n, float sigma, int steps);
/// The same of 16-bit entries.
void smoothLUT16U(ushort* table, int n, float sigma, int steps);

/// The same with `n` floats of the caller's to work in.
void smoothLUT8U(uchar* table, int n, float sigma, int steps, float* work);
/// The same of 16-bit entries.
void smoothLUT16U(ushort* table, int n, float sigma, int steps, float* work);

namespace kestrova::curves {

/// A table for `smoothLUTs16U`, and the sigma for it.
struct TableToSmooth {
    ushort* table;
    float sigma;
};

/// Six tables take no longer than one; more begin to take longer.
constexpr int kTablesSideBySide = 6;

/// The floats that a table of `n` entries takes among others. Were rows of 65536 entries a multiple of 4 KiB apart, a
/// processor would take what it reads of one for what it has just written of another.
constexpr int smoothingRoom(int n) { return n + 272; }

/// `smoothLUT16U` of up to `kTablesSideBySide` tables of `n` entries, the same bits in a fraction of the time: one
/// table alone waits for the latency of its recurrence, several run side by side. Leaves tables as they are that are
/// null or whose sigma is not above 0. `work` has `smoothingRoom(n)` floats a table.
void smoothLUTs16U(const TableToSmooth* tables, int count, int n, int steps, float* work) noexcept;

}  // namespace kestrova::curves
