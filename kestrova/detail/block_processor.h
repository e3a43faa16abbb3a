#pragma once

#include <opencv2/core.hpp>

#include <vector>

/// Lets a filter with high memory needs run over a large picture one tile at a time: hands out overlapping blocks in
/// buffers of their own, takes each back as the filter left it, and blends it with its neighbours across the overlaps.
/// Blocks of one band are joined left to right in a stripe as wide as the picture; a full stripe is joined to the
/// output top to bottom.
///
///     BlockProcessor blocks;
///     blocks.initialize(in, out, 1024, 1024, true, 32, 0, 0);
///     while (blocks.nextBlock(&roi, &planes)) {
///         filter(planes);
///         blocks.copyOneBlock();
///     }
///
/// Output planes may be the input planes. The rows of a stripe that the stripe above has already written then enter its
/// blocks in their filtered state: this is meant.
class BlockProcessor {
public:
    BlockProcessor() = default;
    BlockProcessor(const BlockProcessor&) = delete;
    BlockProcessor& operator=(const BlockProcessor&) = delete;
    ~BlockProcessor();

    /// Checks the planes, lays out the blocks and makes the buffers; a later call starts anew and reuses them.
    /// `in`, `out`: as many CV_16UC1 planes, all of one size; an empty output plane is not written. `blockW`, `blockH`:
    /// the largest block, its border of `border` pixels on each side included. `overlap`: the least that neighbours
    /// share; below zero they leave gaps, which `copyOneBlock` refuses. `blendMode` 2 keeps the earlier block's pixels
    /// in the overlap, any other value crosses over linearly. `flag` is read by nothing. Throws a text if the planes do
    /// not fit or cannot be laid out; the object cannot be used then.
    void initialize(std::vector<cv::Mat> in, std::vector<cv::Mat> out, int blockW, int blockH, bool flag, int overlap,
                    int border, int blendMode);

    /// Moves to the next block and fills its buffers; false, and nothing touched, when there is none. `*blocks` share
    /// the buffers, one plane each, and are to be filtered in place. `*roi` is what was copied from the input, in
    /// picture coordinates, border included; the rest of the buffers repeats its outermost pixels. Throws
    /// "BlockProcessor::convertBlockDuplicatedBorder roiSize<1" if the picture is empty.
    bool nextBlock(cv::Rect* roi, std::vector<cv::Mat>* blocks);

    /// Takes the current block into the stripe and, if that makes it full, the stripe into the output.
    void copyOneBlock();

private:
    /// The layout of one direction: the number of blocks, and their size and distance. `align` rounds one or two blocks
    /// up to multiples of 16.
    static int computeLayout(int size, int maxBlock, int overlap, int* block, int* step, bool align);
    void makeBuffers(int stripeW);
    bool convertBlockDuplicatedBorder(cv::Rect* roi);
    void duplicateBorder(cv::Mat& block, int left, int top, int right, int bottom);
    bool advanceBlock();
    void computeOverlapWeights(int overlap);
    void blendHorizontal(int overlap, int rows);
    void copyToStripe(int cols, int rows);
    void blendVertical(int overlap, int rows);

    float* m_weights_p = nullptr;  ///< the new block's share in the overlap, one more than a block has rows or columns
    int m_nPlanes = 0;
    std::vector<cv::Mat> m_in;
    std::vector<cv::Mat> m_out;
    [[maybe_unused]] int m_bInterleaved = 0;  ///< always 0: planes of one channel each
    [[maybe_unused]] int m_copyKind = 0;      ///< always 0: planar
    std::vector<cv::Mat> m_block;
    std::vector<cv::Mat> m_stripe;
    int m_imageW = 0;
    int m_imageH = 0;
    int m_border = 0;
    [[maybe_unused]] float m_spare = -0.05f;  ///< read by nothing
    int m_blendMode = 0;
    int m_blockW = 0;  ///< without border
    int m_blockH = 0;
    int m_stepX = 0;
    int m_stepY = 0;
    int m_nBlocksY = 0;
    int m_nBlocksX = 0;
    int m_x = 0;  ///< left column of the current block
    int m_y = 0;
    int m_doneX = 0;  ///< first column of the stripe not yet written
    int m_doneY = 0;  ///< first row of the output not yet written
};
