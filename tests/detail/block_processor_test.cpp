#include "kestrova/detail/block_processor.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <vector>

#include "tests/support/failures.h"
#include "tests/support/planes.h"
#include "tests/support/threads.h"

namespace {

using Planes = std::vector<cv::Mat>;

namespace reference {

struct Layout {
    int n, block, step;
};

Layout layout(int size, int maxBlock, int overlap, bool align) {
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
std::vector<int> positions(int size, const Layout& l) {
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

ushort linear(ushort older, ushort newer, int i, int overlap) {
    const float unit = 1.0f / static_cast<float>(overlap + 1);
    const float w = static_cast<float>(i + 1) * unit;
    const float a = (1 - w) * static_cast<float>(older);
    const float b = static_cast<float>(newer) * w;
    return static_cast<ushort>(a + b);
}

// One plane after the other, pixel by pixel; `filter(block, index, plane)` gets the buffer of the given block.
template <class Filter>
void run(const Planes& in, Planes& out, const Options& o, const Filter& filter) {
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
void markBlock(cv::Mat& block, int index, int plane) {
    for (int r = 0; r < block.rows; ++r)
        for (int c = 0; c < block.cols; ++c)
            block.at<ushort>(r, c) =
                static_cast<ushort>(block.at<ushort>(r, c) / 2 + index * 997 + plane * 31 + r + 3 * c);
}
void leaveBlock(cv::Mat&, int, int) {}

template <class Filter>
void run(BlockProcessor& processor, const Planes& in, const Planes& out, const Options& o, const Filter& filter) {
    processor.initialize(in, out, o.blockW, o.blockH, true, o.overlap, o.border, o.blendMode);
    cv::Rect roi;
    Planes blocks;
    for (int index = 0; processor.nextBlock(&roi, &blocks); ++index) {
        for (std::size_t p = 0; p < blocks.size(); ++p) filter(blocks[p], index, static_cast<int>(p));
        processor.copyOneBlock();
    }
}

Planes randomPlanes(int rows, int cols, int count) {
    Planes planes;
    for (int p = 0; p < count; ++p) planes.push_back(asSubPlane(randomPlane(rows, cols, CV_16UC1, 40 + p)));
    return planes;
}

Planes copies(const Planes& planes) {
    Planes result;
    for (const cv::Mat& plane : planes) result.push_back(asSubPlane(plane));
    return result;
}

// The options that the detail engine uses.
constexpr Options kEngine = {1024, 1024, 32, 0, 0};
constexpr Options kSmallForms[] = {{64, 48, 8, 0, 0},  {64, 48, 8, 0, 2},  {48, 64, 0, 0, 0},  {40, 40, 17, 3, 0},
                                   {96, 33, 11, 5, 1}, {50, 70, 20, 9, 2}, {63, 41, 1, 15, 0}, {7, 5, 2, 0, 0}};

}  // namespace

TEST(BlockProcessor, StartsWithTheDocumentedValues) {
    const BlockProcessor processor;
    EXPECT_EQ(processor.m_weights_p, nullptr);
    EXPECT_EQ(processor.m_nPlanes, 0);
    EXPECT_TRUE(processor.m_in.empty() && processor.m_out.empty());
    EXPECT_TRUE(processor.m_block.empty() && processor.m_stripe.empty());
    EXPECT_EQ(processor.m_bInterleaved, 0);
    EXPECT_EQ(processor.m_copyKind, 0);
    EXPECT_EQ(processor.m_border, 0);
    EXPECT_EQ(processor.m_spare, -0.05f);
    EXPECT_EQ(processor.m_blendMode, 0);
    EXPECT_TRUE(processor.m_x == 0 && processor.m_y == 0 && processor.m_doneX == 0 && processor.m_doneY == 0);
}

TEST(BlockProcessor, LayoutIsAsDefinedForEverySize) {
    const int maxBlocks[] = {1024, 1000, 256, 64, 33, 16}, overlaps[] = {32, 0, 15, 8, -5};
    for (bool align : {true, false}) {
        for (int maxBlock : maxBlocks) {
            for (int overlap : overlaps) {
                for (int size = 0; size <= 5000; ++size) {
                    if (overlap >= maxBlock) continue;
                    const reference::Layout expected = reference::layout(size, maxBlock, overlap, align);
                    int block = 0, step = 0;
                    const int n = BlockProcessor::computeLayout(size, maxBlock, overlap, &block, &step, align);
                    ASSERT_EQ(n, expected.n) << size << ' ' << maxBlock << ' ' << overlap;
                    ASSERT_EQ(block, expected.block) << size << ' ' << maxBlock << ' ' << overlap;
                    ASSERT_EQ(step, expected.step) << size << ' ' << maxBlock << ' ' << overlap;
                }
            }
        }
    }
}

TEST(BlockProcessor, LayoutOfKnownSizes) {
    const auto expectLayout = [](int size, int n, int block, int step) {
        int actualBlock, actualStep;
        EXPECT_EQ(BlockProcessor::computeLayout(size, 1024, 32, &actualBlock, &actualStep, true), n) << size;
        EXPECT_EQ(actualBlock, block) << size;
        EXPECT_EQ(actualStep, step) << size;
    };
    expectLayout(1500, 2, 784, 752);
    expectLayout(3000, 3, 1032, 985);
    expectLayout(1000, 1, 1008, 1008);
    expectLayout(700, 1, 704, 704);
    expectLayout(1008, 1, 1024, 1024);
    expectLayout(1024, 1, 1040, 1040);
    expectLayout(1, 1, 16, 16);
}

TEST(BlockProcessor, WidthsFrom1025To1983GiveTwoBlocks) {
    int block, step;
    for (int size = 1025; size <= 1983; ++size) {
        ASSERT_EQ(BlockProcessor::computeLayout(size, 1024, 32, &block, &step, true), 2);
        const std::vector<int> at = reference::positions(size, {2, block, step});
        ASSERT_EQ(at.size(), 2u);
        ASSERT_EQ(at[1] + block, size);
    }
    EXPECT_EQ(BlockProcessor::computeLayout(1024, 1024, 32, &block, &step, true), 1);
    EXPECT_EQ(BlockProcessor::computeLayout(1984, 1024, 32, &block, &step, true), 3);
}

TEST(BlockProcessor, BlocksCoverEveryPixelOfEverySizeAndOverlapByLessThanABlock) {
    const int overlaps[] = {32, 0, 1, 700};
    for (int overlap : overlaps) {
        for (int size = 1; size <= 5000; ++size) {
            int block, step;
            BlockProcessor::computeLayout(size, 1024, overlap, &block, &step, true);
            int done = 0;
            for (int at : reference::positions(size, {0, block, step})) {
                ASSERT_LE(at, done) << size;
                ASSERT_LE(done - at, block) << size;
                done = std::min(at + block, size);
            }
            ASSERT_EQ(done, size);
        }
    }
}

TEST(BlockProcessor, UnchangedBlocksGiveThePictureBackAtEverySize) {
    BlockProcessor processor;
    const cv::Mat row = randomPlane(1, 5000, CV_16UC1);
    for (int size = 1; size <= 5000; size += size < 2100 ? 13 : 101) {
        for (bool upright : {false, true}) {
            cv::Mat in = row.colRange(0, size).clone();
            if (upright) in = in.reshape(1, size);
            cv::Mat out(in.size(), CV_16UC1, cv::Scalar(0));
            run(processor, {in}, {out}, kEngine, leaveBlock);
            // Crossing equal pixels over truncates: at most 1 is lost for each of the two crossings.
            ASSERT_TRUE(closePixels(in, out, 2)) << size;
        }
    }
}

TEST(BlockProcessor, JoinsFilteredBlocksAsDefined) {
    const cv::Size sizes[] = {{1, 1}, {5, 70}, {64, 48}, {65, 49}, {130, 101}, {211, 97}, {40, 300}, {301, 227}};
    for (const Options& o : kSmallForms) {
        for (const cv::Size& s : sizes) {
            const Planes in = randomPlanes(s.height, s.width, 2);
            Planes expected = randomPlanes(s.height, s.width, 2), actual = copies(expected);
            reference::run(in, expected, o, markBlock);
            BlockProcessor processor;
            run(processor, in, actual, o, markBlock);
            for (int p = 0; p < 2; ++p)
                ASSERT_TRUE(samePixels(expected[p], actual[p])) << s << " blocks " << o.blockW << "x" << o.blockH;
        }
    }
}

TEST(BlockProcessor, OutputMayBeTheInput) {
    for (const Options& o : kSmallForms) {
        Planes expected = randomPlanes(101, 130, 2), actual = copies(expected);
        // One plane at a time, as the reference runs the blocks of one plane after the other.
        reference::run(expected, expected, o, markBlock);
        BlockProcessor processor;
        run(processor, actual, actual, o, markBlock);
        for (int p = 0; p < 2; ++p) ASSERT_TRUE(samePixels(expected[p], actual[p]));
    }
}

TEST(BlockProcessor, NextStripeReadsWhatTheStripeAboveWroteWhenOutputIsInput) {
    const cv::Mat plane(100, 20, CV_16UC1, cv::Scalar(100));
    BlockProcessor processor;
    processor.initialize({plane}, {plane}, 64, 64, true, 8, 0, 0);
    cv::Rect roi;
    Planes blocks;
    ASSERT_TRUE(processor.nextBlock(&roi, &blocks));
    blocks[0].setTo(7000);
    processor.copyOneBlock();
    ASSERT_TRUE(processor.nextBlock(&roi, &blocks));
    const int overlap = processor.m_doneY - processor.m_y;
    EXPECT_GT(overlap, 0);
    EXPECT_EQ(blocks[0].at<ushort>(overlap - 1, 0), 7000);
    EXPECT_EQ(blocks[0].at<ushort>(overlap, 0), 100);
}

TEST(BlockProcessor, ResultsDoNotDependOnThreads) {
    const Options o = {200, 150, 20, 0, 0};
    const Planes in = randomPlanes(400, 500, 2);
    Planes expected = copies(in);
    reference::run(in, expected, o, markBlock);
    withThreadCounts([&](int) {
        Planes out = copies(in);
        BlockProcessor processor;
        run(processor, in, out, o, markBlock);
        for (int p = 0; p < 2; ++p) EXPECT_TRUE(samePixels(expected[p], out[p]));
    });
}

TEST(BlockProcessor, HandsOutBlocksInRasterOrderWithTheirRectangles) {
    const Planes in = randomPlanes(1500, 3000, 1);
    BlockProcessor processor;
    processor.initialize(in, in, 1024, 1024, true, 32, 0, 0);
    const cv::Rect expected[] = {{0, 0, 1032, 784},   {985, 0, 1032, 784},   {1968, 0, 1032, 784},
                                 {0, 716, 1032, 784}, {985, 716, 1032, 784}, {1968, 716, 1032, 784}};
    cv::Rect roi;
    Planes blocks;
    for (const cv::Rect& rect : expected) {
        ASSERT_TRUE(processor.nextBlock(&roi, &blocks));
        EXPECT_EQ(roi, rect);
        EXPECT_TRUE(samePixels(in[0](rect), blocks[0]));
        processor.copyOneBlock();
    }
    EXPECT_FALSE(processor.nextBlock(&roi, &blocks));
    EXPECT_FALSE(processor.nextBlock(&roi, &blocks));
    EXPECT_EQ(processor.m_nBlocksX, 3);
    EXPECT_EQ(processor.m_nBlocksY, 2);
}

TEST(BlockProcessor, RectangleIncludesTheBorderWithinThePicture) {
    const Planes in = randomPlanes(100, 110, 1);
    BlockProcessor processor;
    processor.initialize(in, in, 70, 120, true, 8, 3, 0);
    ASSERT_EQ(processor.m_blockW, 64);
    ASSERT_EQ(processor.m_blockH, 112);
    cv::Rect roi;
    Planes blocks;
    ASSERT_TRUE(processor.nextBlock(&roi, &blocks));
    EXPECT_EQ(roi, cv::Rect(0, 0, 67, 100));
    EXPECT_EQ(blocks[0].size(), cv::Size(70, 118));
    processor.copyOneBlock();
    ASSERT_TRUE(processor.nextBlock(&roi, &blocks));
    EXPECT_EQ(roi, cv::Rect(43, 0, 67, 100));
}

TEST(BlockProcessor, OnePixelFillsABlockOfSixteen) {
    const cv::Mat in(1, 1, CV_16UC1, cv::Scalar(4321)), out(1, 1, CV_16UC1, cv::Scalar(0));
    BlockProcessor processor;
    processor.initialize({in}, {out}, 1024, 1024, true, 32, 0, 0);
    cv::Rect roi;
    Planes blocks;
    ASSERT_TRUE(processor.nextBlock(&roi, &blocks));
    EXPECT_EQ(roi, cv::Rect(0, 0, 1, 1));
    EXPECT_TRUE(samePixels(cv::Mat(16, 16, CV_16UC1, cv::Scalar(4321)), blocks[0]));
    processor.copyOneBlock();
    EXPECT_EQ(out.at<ushort>(0, 0), 4321);
    EXPECT_FALSE(processor.nextBlock(&roi, &blocks));
}

TEST(BlockProcessor, OneBlockRepeatsTheLastColumnAndRowForTheFilterAlone) {
    const Planes in = randomPlanes(700, 1000, 1);
    const Planes out = randomPlanes(700, 1000, 1);
    BlockProcessor processor;
    processor.initialize(in, out, 1024, 1024, true, 32, 0, 0);
    cv::Rect roi;
    Planes blocks;
    ASSERT_TRUE(processor.nextBlock(&roi, &blocks));
    ASSERT_EQ(blocks[0].size(), cv::Size(1008, 704));
    for (int c = 1000; c < 1008; ++c) EXPECT_TRUE(samePixels(in[0].col(999), blocks[0](cv::Rect(c, 0, 1, 700))));
    for (int r = 700; r < 704; ++r) EXPECT_TRUE(samePixels(blocks[0].row(699), blocks[0].row(r)));
    processor.copyOneBlock();
    EXPECT_TRUE(samePixels(in[0], out[0]));
}

TEST(BlockProcessor, LeftPaddingOverwritesFourTimesItsWidth) {
    const cv::Mat plane = randomPlane(6, 20, CV_16UC1);
    BlockProcessor processor;
    cv::Mat block = plane.clone();
    processor.duplicateBorder(block, 3, 0, 0, 0);
    for (int r = 0; r < 6; ++r)
        for (int c = 0; c < 20; ++c) EXPECT_EQ(block.at<ushort>(r, c), plane.at<ushort>(r, c < 12 ? 3 : c));
}

TEST(BlockProcessor, LeftPaddingStaysInsideTheBuffer) {
    const cv::Mat plane = randomPlane(6, 20, CV_16UC1);
    cv::Mat block = asSubPlane(plane);
    const cv::Mat beside(6, 4, CV_16UC1, block.data + 20 * sizeof(ushort), block.step);
    const cv::Mat before = beside.clone();
    BlockProcessor processor;
    processor.duplicateBorder(block, 7, 0, 0, 0);
    for (int r = 0; r < 6; ++r)
        for (int c = 0; c < 20; ++c) EXPECT_EQ(block.at<ushort>(r, c), plane.at<ushort>(r, 7));
    EXPECT_TRUE(samePixels(before, beside));
}

TEST(BlockProcessor, PaddingFillsRowsFirstThenColumns) {
    cv::Mat block(5, 12, CV_16UC1);
    for (int r = 0; r < 5; ++r)
        for (int c = 0; c < 12; ++c) block.at<ushort>(r, c) = static_cast<ushort>(100 * r + c);
    BlockProcessor processor;
    processor.duplicateBorder(block, 1, 2, 3, 1);
    const int rows[] = {2, 2, 2, 3, 3}, cols[] = {1, 1, 1, 1, 4, 5, 6, 7, 8, 8, 8, 8};
    for (int r = 0; r < 5; ++r)
        for (int c = 0; c < 12; ++c) EXPECT_EQ(block.at<ushort>(r, c), 100 * rows[r] + cols[c]) << r << ' ' << c;
}

TEST(BlockProcessor, WeightsGrowInEqualStepsAndEndAtOne) {
    const cv::Mat plane(40, 40, CV_16UC1, cv::Scalar(0));
    BlockProcessor processor;
    processor.initialize({plane}, {plane}, 64, 64, true, 8, 0, 0);
    processor.computeOverlapWeights(9);
    const float unit = 1.0f / 10.0f;
    for (int i = 0; i < 9; ++i) EXPECT_EQ(processor.m_weights_p[i], static_cast<float>(i + 1) * unit);
    EXPECT_EQ(processor.m_weights_p[9], 1.0f);
    processor.computeOverlapWeights(0);
    EXPECT_EQ(processor.m_weights_p[0], 1.0f);
    processor.computeOverlapWeights(processor.m_blockW);
    EXPECT_EQ(processor.m_weights_p[processor.m_blockW], 1.0f);
}

TEST(BlockProcessor, DiscreteBlendKeepsTheEarlierBlockInTheOverlaps) {
    const cv::Mat in(100, 100, CV_16UC1, cv::Scalar(0)), out(100, 100, CV_16UC1, cv::Scalar(0));
    BlockProcessor processor;
    run(processor, {in}, {out}, {64, 64, 8, 0, 2}, [](cv::Mat& block, int index, int) { block.setTo(index + 1); });
    const int done = 64, quadrant[2][2] = {{1, 2}, {3, 4}};
    for (int y = 0; y < 100; ++y)
        for (int x = 0; x < 100; ++x) ASSERT_EQ(out.at<ushort>(y, x), quadrant[y >= done][x >= done]) << y << ' ' << x;
}

TEST(BlockProcessor, DiscreteBlendDrawsForEachPixelAcrossAndEachRowDown) {
    const Planes planes = randomPlanes(100, 100, 2);
    BlockProcessor processor;
    std::srand(5);
    run(processor, planes, planes, {64, 64, 8, 0, 2}, leaveBlock);
    const int next = std::rand();
    // Blocks of 64 in 100 pixels: each direction overlaps by 28.
    std::srand(5);
    for (int draw = 0; draw < 2 * (2 * 64 * 28 + 28); ++draw) std::rand();
    EXPECT_EQ(std::rand(), next);
}

TEST(BlockProcessor, BlocksShareTheBuffersAndNothingIsMadeInTheLoop) {
    const Planes in = randomPlanes(200, 300, 2);
    BlockProcessor processor;
    processor.initialize(in, in, 64, 64, true, 8, 0, 0);
    const uchar* buffers[] = {processor.m_block[0].data, processor.m_block[1].data};
    cv::Rect roi;
    Planes blocks;
    while (processor.nextBlock(&roi, &blocks)) {
        ASSERT_EQ(blocks.size(), 2u);
        ASSERT_TRUE(blocks[0].data == buffers[0] && blocks[1].data == buffers[1]);
        processor.copyOneBlock();
    }
}

TEST(BlockProcessor, InitializeKeepsBuffersThatFit) {
    const Planes in = randomPlanes(200, 300, 2);
    BlockProcessor processor;
    run(processor, in, in, {64, 64, 8, 0, 0}, leaveBlock);
    const uchar *block = processor.m_block[1].data, *stripe = processor.m_stripe[1].data;
    Planes expected = copies(in), actual = copies(in);
    reference::run(in, expected, {64, 64, 8, 0, 0}, markBlock);
    run(processor, in, actual, {64, 64, 8, 0, 0}, markBlock);
    EXPECT_EQ(processor.m_block[1].data, block);
    EXPECT_EQ(processor.m_stripe[1].data, stripe);
    EXPECT_TRUE(samePixels(expected[1], actual[1]));
}

TEST(BlockProcessor, ServesPicturesOfOtherSizesOneAfterTheOther) {
    BlockProcessor processor;
    for (const cv::Size& s : {cv::Size(30, 200), cv::Size(301, 20), cv::Size(5, 5), cv::Size(150, 150)}) {
        const Planes in = randomPlanes(s.height, s.width, 1);
        Planes expected = copies(in), actual = copies(in);
        reference::run(in, expected, {64, 48, 8, 2, 0}, markBlock);
        run(processor, in, actual, {64, 48, 8, 2, 0}, markBlock);
        EXPECT_TRUE(samePixels(expected[0], actual[0]));
    }
}

TEST(BlockProcessor, TheFirstBlockComesAgainUntilItIsCopied) {
    const Planes in = randomPlanes(200, 300, 1);
    BlockProcessor processor;
    processor.initialize(in, in, 64, 64, true, 8, 0, 0);
    cv::Rect first, again, second;
    Planes blocks;
    ASSERT_TRUE(processor.nextBlock(&first, &blocks));
    blocks[0].setTo(0);
    ASSERT_TRUE(processor.nextBlock(&again, &blocks));
    EXPECT_EQ(first, again);
    EXPECT_TRUE(samePixels(in[0](first), blocks[0]));
    processor.copyOneBlock();
    ASSERT_TRUE(processor.nextBlock(&second, &blocks));
    EXPECT_NE(first, second);
}

TEST(BlockProcessor, AnEmptyOutputPlaneIsNotWritten) {
    const Planes in = randomPlanes(100, 100, 2);
    Planes expected = copies(in), actual = copies(in);
    reference::run(in, expected, {64, 64, 8, 0, 0}, markBlock);
    BlockProcessor processor;
    run(processor, in, {cv::Mat(), actual[1]}, {64, 64, 8, 0, 0}, markBlock);
    EXPECT_TRUE(samePixels(in[0], actual[0]));
    EXPECT_TRUE(samePixels(expected[1], actual[1]));
}

TEST(BlockProcessor, InitializeRefusesMissingPlanes) {
    const Planes planes = randomPlanes(5, 6, 1);
    BlockProcessor processor;
    const char* text = "BlockProcessor::initialize - input or output is empty.";
    EXPECT_FAILURE(processor.initialize({}, planes, 64, 64, true, 8, 0, 0), text);
    EXPECT_FAILURE(processor.initialize(planes, {}, 64, 64, true, 8, 0, 0), text);
}

TEST(BlockProcessor, InitializeRefusesOtherTypes) {
    BlockProcessor processor;
    for (int type : {CV_16UC2, CV_8UC1, CV_32FC1, CV_16SC1}) {
        const Planes planes = {cv::Mat(5, 6, type, cv::Scalar(0))};
        EXPECT_FAILURE(processor.initialize(planes, planes, 64, 64, true, 8, 0, 0),
                       "BlockProcessor::initialize - input type is not correct.");
    }
    EXPECT_FAILURE(processor.initialize({cv::Mat()}, {cv::Mat()}, 64, 64, true, 8, 0, 0),
                   "BlockProcessor::initialize - input type is not correct.");
    const Planes mixed = {cv::Mat(5, 6, CV_16UC1), cv::Mat(5, 6, CV_8UC1)};
    EXPECT_FAILURE(processor.initialize(mixed, {mixed[0], mixed[0]}, 64, 64, true, 8, 0, 0),
                   "BlockProcessor::initialize - input type is not correct.");
    EXPECT_FAILURE(processor.initialize({mixed[0]}, {mixed[1]}, 64, 64, true, 8, 0, 0),
                   "ERROR - BlockProcessor::initialize - out.type()!=CV_16UC1");
}

TEST(BlockProcessor, InitializeRefusesOutputsOfAnotherSize) {
    BlockProcessor processor;
    const char* text = "input size doesn't match with output size!";
    const Planes planes = randomPlanes(5, 6, 2), others = randomPlanes(6, 5, 2);
    EXPECT_FAILURE(processor.initialize(planes, others, 64, 64, true, 8, 0, 0), text);
    EXPECT_FAILURE(processor.initialize(planes, {planes[0], others[1]}, 64, 64, true, 8, 0, 0), text);
    EXPECT_FAILURE(processor.initialize(planes, {planes[0]}, 64, 64, true, 8, 0, 0), text);
    EXPECT_FAILURE(processor.initialize({planes[0]}, planes, 64, 64, true, 8, 0, 0), text);
    for (int type : {CV_16UC3, CV_16UC4}) {
        EXPECT_FAILURE(processor.initialize({cv::Mat(5, 6, type)}, {cv::Mat(6, 5, type)}, 64, 64, true, 8, 0, 0), text);
    }
}

TEST(BlockProcessor, InitializeRefusesInputsOfSeveralSizes) {
    BlockProcessor processor;
    const Planes planes = {cv::Mat(5, 6, CV_16UC1), cv::Mat(4, 6, CV_16UC1)};
    EXPECT_FAILURE(processor.initialize(planes, planes, 64, 64, true, 8, 0, 0),
                   "ERROR - BlockProcessor::initialize - in[i].size()!=in[0].size()");
}

TEST(BlockProcessor, InitializeRefusesInterleavedPlanes) {
    BlockProcessor processor;
    for (int type : {CV_16UC3, CV_16UC4}) {
        const cv::Mat plane(5, 6, type, cv::Scalar::all(3));
        EXPECT_FAILURE(processor.initialize({plane}, {plane}, 64, 64, true, 8, 0, 0),
                       "not supported input is given in BlockProcessor::init");
        EXPECT_FAILURE(processor.initialize({plane, plane}, {cv::Mat()}, 64, 64, true, 8, 0, 0),
                       "not supported input is given in BlockProcessor::init");
    }
}

TEST(BlockProcessor, InitializeRefusesBlocksThatCannotBeLaidOut) {
    BlockProcessor processor;
    const Planes planes = randomPlanes(100, 100, 1);
    const auto initialize = [&](int blockW, int blockH, int overlap, int border) {
        processor.initialize(planes, planes, blockW, blockH, true, overlap, border, 0);
    };
    const char* border = "ERROR - BlockProcessor::initialize - border<0 || blockW-2*border<1 || blockH-2*border<1";
    EXPECT_FAILURE(initialize(64, 64, 8, -1), border);
    EXPECT_FAILURE(initialize(64, 64, 8, 32), border);
    EXPECT_FAILURE(initialize(64, 1, 0, 1), border);
    EXPECT_FAILURE(initialize(64, 64, 8, 1 << 30), border);
    EXPECT_FAILURE(initialize(-2147483647 - 1, 64, 8, 0), border);
    EXPECT_FAILURE(initialize(0, 64, 0, 0), border);
    const char* overlap = "ERROR - BlockProcessor::computeLayout - maxBlock<1 || overlap>=maxBlock";
    EXPECT_FAILURE(initialize(64, 64, 64, 0), overlap);
    EXPECT_FAILURE(initialize(64, 64, 60, 2), overlap);
    EXPECT_FAILURE(initialize(64, 64, 2147483647, 0), overlap);
    int block, step;
    const char* size = "ERROR - BlockProcessor::computeLayout - overlap leaves no block size";
    EXPECT_FAILURE(BlockProcessor::computeLayout(250, 1, -100, &block, &step, true), size);
    EXPECT_FAILURE(BlockProcessor::computeLayout(20010, 20000, 19999, &block, &step, true), size);
}

TEST(BlockProcessor, AnyLayoutThatIsAcceptedEnds) {
    for (int maxBlock = 1; maxBlock <= 40; ++maxBlock) {
        for (int overlap = -3; overlap < maxBlock; ++overlap) {
            for (int size = 1; size <= 130; ++size) {
                int block, step;
                try {
                    BlockProcessor::computeLayout(size, maxBlock, overlap, &block, &step, true);
                } catch (const char*) {
                    continue;
                }
                ASSERT_TRUE(block >= size || step >= 1) << maxBlock << ' ' << overlap << ' ' << size;
            }
        }
    }
}

TEST(BlockProcessor, NothingLeftToCopyIsAFailure) {
    const char* text = "BlockProcessor::convertBlockDuplicatedBorder roiSize<1";
    cv::Rect roi;
    Planes blocks;
    BlockProcessor processor;
    EXPECT_FAILURE(processor.nextBlock(&roi, &blocks), text);
    const Planes empty = {cv::Mat(0, 0, CV_16UC1), cv::Mat(0, 0, CV_16UC1)};
    processor.initialize(empty, empty, 1024, 1024, true, 32, 0, 0);
    EXPECT_FAILURE(processor.nextBlock(&roi, &blocks), text);
    const Planes noRows = {cv::Mat(0, 50, CV_16UC1)};
    processor.initialize(noRows, noRows, 1024, 1024, true, 32, 0, 0);
    EXPECT_FAILURE(processor.nextBlock(&roi, &blocks), text);
}

TEST(BlockProcessor, AFailedInitializeLeavesNothingToProcess) {
    const Planes planes = randomPlanes(100, 100, 1);
    BlockProcessor processor;
    run(processor, planes, planes, {64, 64, 8, 0, 0}, leaveBlock);
    EXPECT_FAILURE(processor.initialize(planes, {}, 64, 64, true, 8, 0, 0),
                   "BlockProcessor::initialize - input or output is empty.");
    cv::Rect roi;
    Planes blocks;
    processor.copyOneBlock();
    EXPECT_FAILURE(processor.nextBlock(&roi, &blocks), "BlockProcessor::convertBlockDuplicatedBorder roiSize<1");
}

TEST(BlockProcessor, ABlockLeftOutIsAFailure) {
    const Planes planes = randomPlanes(50, 300, 1);
    BlockProcessor processor;
    processor.initialize(planes, planes, 64, 64, true, 8, 0, 0);
    cv::Rect roi;
    Planes blocks;
    ASSERT_TRUE(processor.nextBlock(&roi, &blocks));
    processor.copyOneBlock();
    ASSERT_TRUE(processor.nextBlock(&roi, &blocks));
    ASSERT_TRUE(processor.nextBlock(&roi, &blocks));
    EXPECT_FAILURE(processor.copyOneBlock(), "in BlockProcessor::copyOneBlock, overlapX<0");
}

TEST(BlockProcessor, GapsBetweenBlocksAreAFailure) {
    BlockProcessor processor;
    cv::Rect roi;
    Planes blocks;
    const auto copySecondBlock = [&](const Planes& planes) {
        processor.initialize(planes, planes, 64, 64, true, -16, 0, 0);
        processor.nextBlock(&roi, &blocks);
        processor.copyOneBlock();
        processor.nextBlock(&roi, &blocks);
        processor.copyOneBlock();
    };
    EXPECT_FAILURE(copySecondBlock(randomPlanes(20, 150, 1)), "in BlockProcessor::copyOneBlock, overlapX<0");
    EXPECT_FAILURE(copySecondBlock(randomPlanes(150, 20, 1)), "in BlockProcessor::copyOneBlock, overlapY<0");
}
