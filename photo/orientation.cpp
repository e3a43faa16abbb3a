#include "photo/orientation.h"

#include <algorithm>
#include <cstdint>

#include "photo/rows.h"

namespace kestrova::photo {

namespace {

// How to find a pixel of the upright picture in the stored one: its row and column are swapped, then counted from the
// end.
struct Turn {
    bool transposed, rowsFlipped, columnsFlipped;
};

using Pixel = std::uint64_t;

void turn(const cv::Mat& stored, cv::Mat& result, const Turn& t, int threads) {
    // Transposing by tiles keeps the stored rows of one tile in the cache.
    constexpr int kTileSide = 32;
    const int bands = (result.rows + kTileSide - 1) / kTileSide;
    shareRows(bands, threads, [&](int band) {
        const int bottom = std::min((band + 1) * kTileSide, result.rows);
        for (int left = 0; left < result.cols; left += kTileSide) {
            const int right = std::min(left + kTileSide, result.cols);
            for (int r = band * kTileSide; r < bottom; ++r) {
                Pixel* out = result.ptr<Pixel>(r);
                for (int c = left; c < right; ++c) {
                    const int row = t.transposed ? c : r, column = t.transposed ? r : c;
                    out[c] =
                        stored.ptr<Pixel>(t.rowsFlipped ? stored.rows - 1 - row
                                                        : row)[t.columnsFlipped ? stored.cols - 1 - column : column];
                }
            }
        }
    });
}

}  // namespace

cv::Mat upright(const cv::Mat& stored, int orientation, int threads) {
    if (orientation < 2 || orientation > 8) return stored;
    CV_Assert(stored.elemSize() == sizeof(Pixel));
    constexpr Turn turns[9] = {{},
                               {},
                               {false, false, true},
                               {false, true, true},
                               {false, true, false},
                               {true, false, false},
                               {true, true, false},
                               {true, true, true},
                               {true, false, true}};
    const Turn& t = turns[orientation];
    cv::Mat result(t.transposed ? cv::Size(stored.rows, stored.cols) : stored.size(), stored.type());
    turn(stored, result, t, threads);
    return result;
}

}  // namespace kestrova::photo
