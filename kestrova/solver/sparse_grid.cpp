#include "kestrova/solver/sparse_grid.h"

#include <atomic>

#include "kestrova/frame/parallel.h"

namespace kestrova::solver {

using namespace frame;

namespace {

/// The work on a row of the matrix, in elements of a simple kernel.
constexpr int kRowWork = 8;

/// How far the first link but to the next row reaches; n where there is none.
int firstReach(const SparseRows& matrix) {
    for (int i = 0; i < matrix.n; ++i) {
        int reach = 0;
        matrix.forEach(i, [&](int j, float) {
            if (reach == 0 && j - i > 1) reach = j - i;
        });
        if (reach > 0) return reach;
    }
    return matrix.n;
}

}  // namespace

SparseGrid::SparseGrid(const SparseRows& matrix) : links(static_cast<std::size_t>(matrix.n)) {
    const int reach = firstReach(matrix);
    std::atomic<bool> grid{true};
    std::atomic<std::int64_t> linkCount{0};
    forEachStrip(Strips(matrix.n, kRowWork), [&](int first, int end) noexcept {
        std::int64_t found = 0;
        bool regular = true;
        for (int i = first; i < end && regular; ++i) {
            std::uint8_t own = 0;
            matrix.forEach(i, [&](int j, float) {
                const bool right = j - i == 1 && j % reach != 0, down = j - i == reach && reach > 1;
                regular = regular && (right || down || i == j);
                own = static_cast<std::uint8_t>(own | (right ? kRight : 0) | (down ? kDown : 0));
            });
            links[i] = own;
            found += (own & kRight ? 1 : 0) + (own & kDown ? 1 : 0);
        }
        linkCount += found;
        if (!regular) grid = false;
    });
    if (!grid) return;
    width = reach;
    count = linkCount;
}

}  // namespace kestrova::solver
