#include <gtest/gtest.h>

#include <cstdlib>

#include "tests/detail/block_processor_reference.h"
#include "tests/support/failures.h"
#include "tests/support/threads.h"

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

TEST(BlockProcessor, JoinsTheBlocksOfAStripeInAnyOrderAsOneByOne) {
    const cv::Size sizes[] = {{1, 1}, {5, 70}, {64, 48}, {65, 49}, {130, 101}, {211, 97}, {40, 300}, {301, 227}};
    for (const Options& o : kSmallForms) {
        if (o.border != 0) continue;
        for (const cv::Size& s : sizes) {
            for (const bool inPlace : {false, true}) {
                Planes expected = randomPlanes(s.height, s.width, 2), actual = copies(expected);
                const Planes in = randomPlanes(s.height, s.width, 2);
                reference::run(inPlace ? expected : in, expected, o, markBlock);
                BlockProcessor processor;
                runByStripes(processor, inPlace ? actual : in, actual, o, markBlock);
                for (int p = 0; p < 2; ++p)
                    ASSERT_TRUE(samePixels(expected[p], actual[p])) << s << " blocks " << o.blockW << "x" << o.blockH;
            }
        }
    }
}

TEST(BlockProcessor, StripesDoNotDependOnThreads) {
    const Options o = {200, 150, 20, 0, 0};
    const Planes in = randomPlanes(400, 500, 2);
    Planes expected = copies(in);
    reference::run(in, expected, o, markBlock);
    withThreadCounts([&](int) {
        Planes out = copies(in);
        BlockProcessor processor;
        for (int use = 0; use < 2; ++use) runByStripes(processor, in, out, o, markBlock);
        for (int p = 0; p < 2; ++p) EXPECT_TRUE(samePixels(expected[p], out[p]));
    });
}

TEST(BlockProcessor, StripesHaveNoBorderAndThereIsNoneOfAnEmptyPicture) {
    BlockProcessor processor;
    const cv::Mat plane = randomPlane(30, 20, CV_16UC1);
    processor.initialize({plane}, {plane}, 16, 16, true, 4, 2, 0);
    EXPECT_FAILURE(processor.nextStripe(), "ERROR - BlockProcessor::nextStripe - border!=0");
    const cv::Mat none(0, 0, CV_16UC1);
    processor.initialize({none}, {none}, 16, 16, true, 4, 0, 0);
    EXPECT_FAILURE(processor.nextStripe(), "BlockProcessor::convertBlockDuplicatedBorder roiSize<1");
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
