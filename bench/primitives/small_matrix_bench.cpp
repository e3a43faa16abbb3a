#include "kestrova/primitives/small_matrix.h"

#include <memory>
#include <vector>

#include "bench/support/bench.h"
#include "kestrova/frame/parallel.h"
#include "tests/support/rooms.h"

namespace {

KESTROVA_BENCH(smallMatrix) {
    // A row a pixel: the matrix in, the inverse out.
    constexpr int kRows = 1080, kCols = 192;
    benchRow("ippmInvert_m_32f order 3/1080x192", std::size_t{kRows} * kCols * 72, [] {
        auto matrices = std::make_shared<std::vector<float>>(kRows * kCols * 9, 0.1f);
        auto inverses = std::make_shared<std::vector<float>>(matrices->size());
        for (std::size_t i = 0; i < matrices->size(); i += 9)
            for (std::size_t k = 0; k < 9; k += 4) (*matrices)[i + k] = 0.3f;
        return [=] {
            parallelRows(kRows, kCols * 8, [&](int y) noexcept {
                for (int x = 0; x < kCols; ++x) {
                    const std::size_t i = (static_cast<std::size_t>(y) * kCols + x) * 9;
                    ippmInvert_m_32f(&(*matrices)[i], 12, 4, nullptr, &(*inverses)[i], 12, 4, 3);
                }
            });
        };
    });
}

}  // namespace
