#pragma once

#include <opencv2/core.hpp>

#include <vector>

namespace kestrova::detail {

/// A block with its places in the planes of the picture and of the stripe, one each per plane.
struct PlacedBlock {
    cv::Size size;                ///< of the block
    int x;                        ///< its left column in the stripe
    std::vector<cv::Mat> in;      ///< its pixels; where it is larger than they are, the last ones repeat
    std::vector<cv::Mat> shared;  ///< where its first columns go, which the block before has too
    std::vector<cv::Mat> own;     ///< where the columns after them go; what they have no room for is dropped
    std::vector<float> weights;   ///< its share in each shared column
};

/// Row `r` of a plane of 16 bits, to be written: a plane that is `const` is a header that does not change.
inline ushort* rowToWrite(const cv::Mat& plane, int r) {
    return reinterpret_cast<ushort*>(plane.data + r * plane.step[0]);
}

}  // namespace kestrova::detail

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
/// A filter that takes several blocks at once gets all those of a band, and reads and writes the pixels itself:
///
///     while (const std::vector<PlacedBlock>* band = blocks.nextStripe()) {
///         filter(*band);
///         blocks.copyStripe();
///     }
///
/// Output planes may be the input planes. The rows of a stripe that the stripe above has already written then enter its
/// blocks in their filtered state: this is intentional. Internal: a documented name, but not installed.
class BlockProcessor {
public:
    /// Without planes: `initialize` comes first.
    BlockProcessor() = default;
    /// Not copied.
    BlockProcessor(const BlockProcessor&) = delete;
    /// Not assigned.
    BlockProcessor& operator=(const BlockProcessor&) = delete;
    /// Releases planes, buffers and weights.
    ~BlockProcessor();

    /// Checks the planes, lays out the blocks and makes the buffers; a later call starts anew and reuses them.
    /// `in`, `out`: as many CV_16UC1 planes, all of one size; an empty output plane is not written. `blockW`, `blockH`:
    /// the largest block, its border of `border` pixels on each side included. `overlap`: the least that neighbours
    /// share; below zero they leave gaps, which `copyOneBlock` refuses. `blendMode` 2 keeps the earlier block's pixels
    /// in the overlap, any other value crosses over linearly. `flag` is read by nothing. Throws a text if the planes do
    /// not fit or cannot be laid out, if a side of them or the border is above 2^28, and "ERROR -
    /// BlockProcessor::initialize - not enough memory"; there are no blocks then, and a later call may succeed.
    void initialize(std::vector<cv::Mat> in, std::vector<cv::Mat> out, int blockW, int blockH, bool flag, int overlap,
                    int border, int blendMode);

    /// Moves to the next block and fills its buffers; false, and nothing touched, when there is none. `*blocks` share
    /// the buffers, one plane each, and are to be filtered in place. `*roi` is what was copied from the input, in
    /// picture coordinates, border included; the rest of the buffers repeats its outermost pixels. Throws
    /// "BlockProcessor::convertBlockDuplicatedBorder roiSize<1" if the picture is empty.
    bool nextBlock(cv::Rect* roi, std::vector<cv::Mat>* blocks);

    /// Takes the current block into the stripe and, if that makes it full, the stripe into the output.
    void copyOneBlock();

    /// Moves to the next stripe and returns its blocks, which may be filtered in any order or at once: each is read
    /// from `in`, and each of its pixels is written to `shared` or `own`. Null, and nothing touched, when there is
    /// none. Not to be mixed with `nextBlock`. Throws "ERROR - BlockProcessor::nextStripe - border!=0", and as
    /// `nextBlock`.
    const std::vector<kestrova::detail::PlacedBlock>* nextStripe();

    /// Blends the stripe's blocks where they overlap, and takes the stripe into the output.
    void copyStripe();

private:
    /// The layout of one direction: the number of blocks, and their size and distance. `align` rounds one or two blocks
    /// up to multiples of 16.
    static int computeLayout(int size, int maxBlock, int overlap, int* block, int* step, bool align);
    /// Makes block, stripe and weights, unless they fit.
    void makeBuffers(int stripeW);
    /// Makes the blocks of a stripe, in their columns.
    void placeBlocks();
    /// Copies the current block out of the input, and says where it lies there.
    bool convertBlockDuplicatedBorder(cv::Rect* roi);
    /// Fills the padding of a block: rows first, then four times `left` columns, then the right ones.
    void duplicateBorder(cv::Mat& block, int left, int top, int right, int bottom);
    /// Moves to the next block; false behind the last one.
    bool advanceBlock();
    /// Makes the weights of an overlap, and a 1 after them.
    void computeOverlapWeights(int overlap);
    /// Blends the first `overlap` columns of the block with those of the stripe.
    void blendHorizontal(int overlap, int rows);
    /// Copies the block, without border, into the stripe.
    void copyToStripe(int cols, int rows);
    /// Blends the first `overlap` rows of the stripe into the output and copies the rest; rows below it are skipped.
    void blendVertical(int overlap, int rows);
    /// Row `r` of plane `p` of the stripe to the output, blended if it is one of the first `overlap`.
    void joinRow(int p, int r, int overlap) const noexcept;

    float* m_weights_p = nullptr;  ///< the new block's share in the overlap, one more than a block has rows or columns
    int m_nPlanes = 0;             ///< planes of the input
    std::vector<cv::Mat> m_in;     ///< the input, shared
    std::vector<cv::Mat> m_out;    ///< the output, shared
    [[maybe_unused]] int m_bInterleaved = 0;  ///< always 0: planes of one channel each
    [[maybe_unused]] int m_copyKind = 0;      ///< always 0: planar
    std::vector<cv::Mat> m_block;             ///< a block of each plane, border included
    std::vector<cv::Mat> m_stripe;            ///< a stripe of each plane, as wide as the picture
    int m_imageW = 0;                         ///< columns of the picture
    int m_imageH = 0;                         ///< rows of the picture
    int m_border = 0;                         ///< duplicated pixels on each side of a block
    [[maybe_unused]] float m_spare = -0.05f;  ///< read by nothing
    int m_blendMode = 0;                      ///< 2 keeps the earlier block's pixels, any other value crosses over
    int m_blockW = 0;                         ///< columns of a block without border
    int m_blockH = 0;                         ///< rows of a block without border
    int m_stepX = 0;                          ///< from block to block in a row of them
    int m_stepY = 0;                          ///< from row of blocks to row of blocks
    int m_nBlocksY = 0;                       ///< rows of blocks
    int m_nBlocksX = 0;                       ///< blocks in a row
    int m_x = 0;                              ///< left column of the current block
    int m_y = 0;                              ///< top row of the current block
    int m_doneX = 0;                          ///< first column of the stripe not yet written
    int m_doneY = 0;                          ///< first row of the output not yet written
    std::vector<kestrova::detail::PlacedBlock>
        m_placed;  ///< the blocks of the current stripe; none before `nextStripe`
};
