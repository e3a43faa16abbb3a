#include <gtest/gtest.h>

#include <climits>

#include "tests/detail/block_processor_reference.h"
#include "tests/support/failures.h"

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

TEST(BlockProcessor, RowsOfAStripeBelowThePictureAreSkipped) {
    const Planes in = randomPlanes(20, 30, 2);
    Planes out = {cv::Mat(20, 30, CV_16UC1, cv::Scalar(0)), cv::Mat(20, 30, CV_16UC1, cv::Scalar(0))};
    for (int blendMode : {0, 2}) {
        BlockProcessor processor;
        processor.initialize(in, out, 64, 64, true, 8, 0, blendMode);
        cv::Rect roi;
        Planes blocks;
        ASSERT_TRUE(processor.nextBlock(&roi, &blocks));
        processor.copyOneBlock();
        processor.computeOverlapWeights(0);
        processor.m_y = 15;
        processor.blendVertical(0, processor.m_blockH);
        for (std::size_t p = 0; p < in.size(); ++p) {
            EXPECT_TRUE(samePixels(in[p].rowRange(0, 15).clone(), out[p].rowRange(0, 15).clone()));
            EXPECT_TRUE(samePixels(in[p].rowRange(0, 5).clone(), out[p].rowRange(15, 20).clone()));
        }
        processor.m_y = 20;
        processor.blendVertical(0, processor.m_blockH);
    }
}

TEST(BlockProcessor, BlocksOfAnySizeAndBordersUpToALimitAreLaidOut) {
    const Planes planes = randomPlanes(20, 30, 1);
    Planes out = copies(planes);
    BlockProcessor processor;
    for (int overlap : {INT_MIN, -1, 0, 32, 1 << 30}) {
        processor.initialize(planes, out, INT_MAX, INT_MAX, true, overlap, 0, 0);
        cv::Rect roi;
        Planes blocks;
        ASSERT_TRUE(processor.nextBlock(&roi, &blocks));
        EXPECT_EQ(roi, cv::Rect(0, 0, 30, 20));
        processor.copyOneBlock();
        EXPECT_FALSE(processor.nextBlock(&roi, &blocks));
    }
    EXPECT_FAILURE(processor.initialize(planes, out, INT_MAX, INT_MAX, true, 32, (INT_MAX - 1) / 2, 0),
                   "ERROR - BlockProcessor::initialize - a side or the border is above 2^28");
    ushort pixel = 0;
    const Planes wide = {cv::Mat(1, INT_MAX / 4, CV_16UC1, &pixel)};
    EXPECT_FAILURE(processor.initialize(wide, wide, 64, 64, true, 8, 0, 0),
                   "ERROR - BlockProcessor::initialize - a side or the border is above 2^28");
}
