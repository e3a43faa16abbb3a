#pragma once

#include <algorithm>
#include <vector>

#include "kestrova/detail/block_processor.h"
#include "tests/support/planes.h"
#include "tests/support/rooms.h"

/// Block processing in the plain: one plane after the other, pixel by pixel.

using Planes = std::vector<cv::Mat>;

namespace reference {

struct Layout {
    int n, block, step;
};

inline Layout layout(int size, int maxBlock, int overlap, bool align) {
    const float r = static_cast<float>(overlap) / static_cast<float>(maxBlock);
    const float q = 1 - r;
    if (size <= maxBlock) {
        const int block = 16 * (size / 16 + 1);
        return {1, block, block};
    }
    int n, block;
    if (align) {
        if (static_cast<float>(size) < static_cast<float>(2 * maxBlock) * q) {
            const int half = static_cast<int>(size * 0.5 / static_cast<double>(q));
            return {2, 16 * (half / 16 + 1), 16 * ((size / 2) / 16 + 1)};
        }
        const int A = 16 * (maxBlock / 16 + 1);
        const float ratio = static_cast<float>(size - A) / (static_cast<float>(A) * q);
        n = std::max(static_cast<int>(ratio + 0.85) + 1, 3);
        block = static_cast<int>(static_cast<float>(size) / static_cast<float>(n) / q);
    } else {
        block = maxBlock;
        const float ratio = static_cast<float>(size - maxBlock) / (q * static_cast<float>(maxBlock));
        n = std::max(static_cast<int>(ratio + 0.85) + 1, 2);
    }
    const int d = (size - block) / (n - 1);
    int step = d + 1;
    const int rest = size - (n - 1) * (d + 1) - block;
    if (rest > 0) step = d + 2 + rest / n;
    if (step > block) step = static_cast<int>(static_cast<float>(block) * q);
    return {n, block, step};
}

// Where the blocks of one direction begin.
inline std::vector<int> positions(int size, const Layout& l) {
    std::vector<int> at(1, 0);
    while (at.back() + l.block < size) {
        int next = at.back() + l.step;
        if (next + l.block > size) next = size - l.block;
        at.push_back(std::max(next, 0));
    }
    return at;
}

struct Options {
    int blockW, blockH, overlap, border, blendMode;
};

inline ushort linear(ushort older, ushort newer, int i, int overlap) {
    const float unit = 1.0f / static_cast<float>(overlap + 1);
    const float w = static_cast<float>(i + 1) * unit;
    const float a = (1 - w) * static_cast<float>(older);
    const float b = static_cast<float>(newer) * w;
    return static_cast<ushort>(a + b);
}

// One plane after the other, pixel by pixel; `filter(block, index, plane)` gets the buffer of the given block.
template <class Filter>
inline void run(const Planes& in, Planes& out, const Options& o, const Filter& filter) {
    const int W = in[0].cols, H = in[0].rows, b = o.border;
    const Layout lx = layout(W, o.blockW - 2 * b, o.overlap, true), ly = layout(H, o.blockH - 2 * b, o.overlap, true);
    const std::vector<int> xs = positions(W, lx), ys = positions(H, ly);
    for (std::size_t p = 0; p < in.size(); ++p) {
        int index = 0, doneY = 0;
        for (int y : ys) {
            cv::Mat stripe(ly.block, W, CV_16UC1, cv::Scalar(0));
            int doneX = 0;
            for (int x : xs) {
                cv::Mat block(ly.block + 2 * b, lx.block + 2 * b, CV_16UC1);
                for (int r = 0; r < block.rows; ++r) {
                    for (int c = 0; c < block.cols; ++c) {
                        // The first 4 * padding columns show the first real column, wherever they lie.
                        const int left = std::max(b - x, 0);
                        const int col = left > 0 && c < 4 * left ? left : c;
                        block.at<ushort>(r, c) = in[p].at<ushort>(std::min(std::max(y - b + r, 0), H - 1),
                                                                  std::min(std::max(x - b + col, 0), W - 1));
                    }
                }
                filter(block, index++, static_cast<int>(p));
                const int overlap = doneX - x;
                for (int r = 0; r < ly.block; ++r) {
                    for (int c = 0; c < lx.block && x + c < W; ++c) {
                        ushort v = block.at<ushort>(r + b, c + b);
                        ushort& s = stripe.at<ushort>(r, x + c);
                        if (c < overlap) v = o.blendMode == 2 ? s : linear(s, v, c, overlap);
                        s = v;
                    }
                }
                doneX = std::min(W, x + lx.block);
            }
            const int overlap = doneY - y;
            for (int r = 0; r < ly.block && y + r < H; ++r) {
                for (int c = 0; c < W; ++c) {
                    ushort v = stripe.at<ushort>(r, c);
                    ushort& s = out[p].at<ushort>(y + r, c);
                    if (r < overlap) v = o.blendMode == 2 ? s : linear(s, v, r, overlap);
                    s = v;
                }
            }
            doneY = std::min(H, y + ly.block);
        }
    }
}

}  // namespace reference

using reference::Options;

// Makes every block and plane different, by its number and by where a pixel lies in the buffer.
inline void markBlock(cv::Mat& block, int index, int plane) {
    for (int r = 0; r < block.rows; ++r)
        for (int c = 0; c < block.cols; ++c)
            block.at<ushort>(r, c) =
                static_cast<ushort>(block.at<ushort>(r, c) / 2 + index * 997 + plane * 31 + r + 3 * c);
}
inline void leaveBlock(cv::Mat&, int, int) {}

template <class Filter>
inline void run(BlockProcessor& processor, const Planes& in, const Planes& out, const Options& o,
                const Filter& filter) {
    processor.initialize(in, out, o.blockW, o.blockH, true, o.overlap, o.border, o.blendMode);
    cv::Rect roi;
    Planes blocks;
    for (int index = 0; processor.nextBlock(&roi, &blocks); ++index) {
        for (std::size_t p = 0; p < blocks.size(); ++p) filter(blocks[p], index, static_cast<int>(p));
        processor.copyOneBlock();
    }
}

// The same by stripes: `filter` gets a copy of each block, and its pixels go to their places; the last block first.
template <class Filter>
inline void runByStripes(BlockProcessor& processor, const Planes& in, const Planes& out, const Options& o,
                         const Filter& filter) {
    processor.initialize(in, out, o.blockW, o.blockH, true, o.overlap, o.border, o.blendMode);
    int first = 0;
    while (const std::vector<PlacedBlock>* stripe = processor.nextStripe()) {
        for (int i = static_cast<int>(stripe->size()) - 1; i >= 0; --i) {
            const PlacedBlock& placed = (*stripe)[i];
            for (std::size_t p = 0; p < in.size(); ++p) {
                const cv::Mat &from = placed.in[p], &shared = placed.shared[p], &own = placed.own[p];
                cv::Mat block(placed.size, CV_16UC1);
                for (int r = 0; r < block.rows; ++r)
                    for (int c = 0; c < block.cols; ++c)
                        block.at<ushort>(r, c) =
                            from.at<ushort>(std::min(r, from.rows - 1), std::min(c, from.cols - 1));
                filter(block, first + i, static_cast<int>(p));
                const int overlap = static_cast<int>(placed.weights.size());
                for (int r = 0; r < own.rows; ++r) {
                    for (int c = 0; c < overlap; ++c)
                        const_cast<cv::Mat&>(shared).at<ushort>(r, c) = block.at<ushort>(r, c);
                    for (int c = 0; c < own.cols; ++c)
                        const_cast<cv::Mat&>(own).at<ushort>(r, c) = block.at<ushort>(r, overlap + c);
                }
            }
        }
        processor.copyStripe();
        first += static_cast<int>(stripe->size());
    }
}

inline Planes randomPlanes(int rows, int cols, int count) {
    Planes planes;
    for (int p = 0; p < count; ++p) planes.push_back(asSubPlane(randomPlane(rows, cols, CV_16UC1, 40 + p)));
    return planes;
}

inline Planes copies(const Planes& planes) {
    Planes result;
    for (const cv::Mat& plane : planes) result.push_back(asSubPlane(plane));
    return result;
}

// The options that the detail engine uses.
constexpr Options kEngine = {1024, 1024, 32, 0, 0};
constexpr Options kSmallForms[] = {{64, 48, 8, 0, 0},  {64, 48, 8, 0, 2},  {48, 64, 0, 0, 0},  {40, 40, 17, 3, 0},
                                   {96, 33, 11, 5, 1}, {50, 70, 20, 9, 2}, {63, 41, 1, 15, 0}, {7, 5, 2, 0, 0}};
