#include "kestrova/detail/block_processor.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "kestrova/frame/failure.h"
#include "kestrova/frame/kernel.h"
#include "kestrova/frame/memory_failure.h"
#include "kestrova/frame/parallel.h"
#include "kestrova/frame/plane_checks.h"

using namespace kestrova::detail;
using namespace kestrova::frame;

namespace {

// With sides and borders up to this, no sum of positions and sizes leaves an int.
constexpr int kMaxSide = 1 << 28;

inline ushort crossOver(ushort older, ushort newer, float weight) {
    return static_cast<ushort>(static_cast<int>((1.0f - weight) * older + newer * weight));
}

KESTROVA_KERNEL void crossOverColumns(const ushort* older, ushort* newer, const float* weights, int n) noexcept {
    for (int i = 0; i < n; ++i) newer[i] = crossOver(older[i], newer[i], weights[i]);
}

KESTROVA_KERNEL void crossOverRow(ushort* older, const ushort* newer, float weight, int n) noexcept {
    for (int i = 0; i < n; ++i) older[i] = crossOver(older[i], newer[i], weight);
}

// The draw is never above 1, so that the weight is always 0 and the older block's pixel stays: this is intentional.
float discreteWeight() { return std::rand() % 2 > 1 ? 1.0f : 0.0f; }

// Calls `row(plane, r)` for the rows of all planes: with as many threads as planes, each thread has a plane.
template <class Row>
void forEachRow(int planes, int rows, int cols, const Row& row) {
    parallelRows(planes * rows, cols, [&](int i) noexcept { row(i / rows, i % rows); });
}

void checkVectors(const std::vector<cv::Mat>& in, const std::vector<cv::Mat>& out) {
    if (in.empty() || out.empty()) fail("BlockProcessor::initialize - input or output is empty.");
    checkPlanes(in);
    checkPlanes(out);
    const int type = in[0].type();
    if (type != CV_16UC1 && type != CV_16UC3 && type != CV_16UC4)
        fail("BlockProcessor::initialize - input type is not correct.");
    if (type != CV_16UC1) {
        if (!out[0].empty() && out[0].size() != in[0].size()) fail("input size doesn't match with output size!");
        fail("not supported input is given in BlockProcessor::init");
    }
    if (in.size() != out.size()) fail("input size doesn't match with output size!");
    for (std::size_t p = 0; p < in.size(); ++p) {
        if (!out[p].empty() && out[p].size() != in[p].size()) fail("input size doesn't match with output size!");
    }
    for (std::size_t p = 0; p < in.size(); ++p) {
        if (in[p].type() != type) fail("BlockProcessor::initialize - input type is not correct.");
        if (in[p].size() != in[0].size()) fail("ERROR - BlockProcessor::initialize - in[i].size()!=in[0].size()");
        if (in[p].total() > 0 && !in[p].data) fail("ERROR - BlockProcessor::initialize - in[i] has no pixels");
        if (!out[p].empty() && out[p].type() != type) fail("ERROR - BlockProcessor::initialize - out.type()!=CV_16UC1");
    }
}

}  // namespace

BlockProcessor::~BlockProcessor() { delete[] m_weights_p; }

void BlockProcessor::initialize(std::vector<cv::Mat> in, std::vector<cv::Mat> out, int blockW, int blockH,
                                bool /*flag*/, int overlap, int border, int blendMode) {
    // An empty picture has no block to hand out: so it stays if a check fails.
    m_in.clear();
    m_out.clear();
    m_imageW = m_imageH = 0;
    m_x = m_y = m_doneX = m_doneY = 0;
    m_placed.clear();

    checkVectors(in, out);
    if (blockW < 1 || blockH < 1 || border < 0 || border > (std::min(blockW, blockH) - 1) / 2)
        fail("ERROR - BlockProcessor::initialize - border<0 || blockW-2*border<1 || blockH-2*border<1");
    if (std::max({in[0].cols, in[0].rows, border}) > kMaxSide)
        fail("ERROR - BlockProcessor::initialize - a side or the border is above 2^28");
    m_blendMode = blendMode;
    m_border = border;
    m_nBlocksX = computeLayout(in[0].cols, blockW - 2 * border, overlap, &m_blockW, &m_stepX, true);
    m_nBlocksY = computeLayout(in[0].rows, blockH - 2 * border, overlap, &m_blockH, &m_stepY, true);

    m_nPlanes = static_cast<int>(in.size());
    orFailWithoutMemory("ERROR - BlockProcessor::initialize - not enough memory", [&] { makeBuffers(in[0].cols); });

    m_imageW = in[0].cols;
    m_imageH = in[0].rows;
    m_in = std::move(in);
    m_out = std::move(out);
}

void BlockProcessor::makeBuffers(int stripeW) {
    m_block.resize(static_cast<std::size_t>(m_nPlanes));
    m_stripe.resize(static_cast<std::size_t>(m_nPlanes));
    const int rows = m_blockH + 2 * m_border, cols = m_blockW + 2 * m_border;
    for (cv::Mat& block : m_block) block.create(rows, cols, CV_16UC1);
    for (cv::Mat& stripe : m_stripe) stripe.create(rows, stripeW, CV_16UC1);
    // The last block is pushed back to end at the edge: its overlap is bounded by the block alone.
    float* weights = new float[static_cast<std::size_t>(std::max(m_blockW, m_blockH)) + 1];
    delete[] m_weights_p;
    m_weights_p = weights;
}

int BlockProcessor::computeLayout(int size, int maxBlock, int overlap, int* block, int* step, bool align) {
    const float q = 1.0f - static_cast<float>(overlap) / static_cast<float>(maxBlock);
    if (maxBlock < 1 || !(q > 0.0f)) fail("ERROR - BlockProcessor::computeLayout - maxBlock<1 || overlap>=maxBlock");

    if (size <= maxBlock) {
        *block = *step = 16 * (size / 16 + 1);
        return 1;
    }
    const float length = static_cast<float>(size);
    if (align && length < 2.0f * static_cast<float>(maxBlock) * q) {
        *block = 16 * (static_cast<int>(size * 0.5 / static_cast<double>(q)) / 16 + 1);
        *step = 16 * (size / 2 / 16 + 1);
        return 2;
    }
    const int first = align ? 16 * (maxBlock / 16 + 1) : maxBlock;
    const float more = static_cast<float>(size - first) / (static_cast<float>(first) * q);
    const int n = std::max(static_cast<int>(static_cast<double>(more) + 0.85) + 1, align ? 3 : 2);
    const float even = align ? length / static_cast<float>(n) / q : static_cast<float>(maxBlock);
    if (!(even >= 1.0f && even < 0x1p24f)) fail("ERROR - BlockProcessor::computeLayout - overlap leaves no block size");
    *block = static_cast<int>(even);
    // n - 1 steps of this size never fall short of the edge.
    *step = (size - *block) / (n - 1) + 1;
    if (*step > *block) *step = static_cast<int>(static_cast<float>(*block) * q);
    return n;
}

bool BlockProcessor::nextBlock(cv::Rect* roi, std::vector<cv::Mat>* blocks) {
    orFailWithoutMemory("ERROR - BlockProcessor::nextBlock - not enough memory",
                        [&] { blocks->reserve(m_block.size()); });
    const bool first = m_doneX == 0 && m_doneY == 0;
    if (!first && !advanceBlock()) return false;
    convertBlockDuplicatedBorder(roi);
    *blocks = m_block;
    return true;
}

bool BlockProcessor::advanceBlock() {
    if (m_x + m_blockW < m_imageW) {
        m_x = std::max(std::min(m_x + m_stepX, m_imageW - m_blockW), 0);
        return true;
    }
    if (m_y + m_blockH >= m_imageH) return false;
    m_x = 0;
    m_doneX = 0;
    m_doneY = std::min(m_y + m_blockH, m_imageH);
    m_y = std::max(std::min(m_y + m_stepY, m_imageH - m_blockH), 0);
    return true;
}

bool BlockProcessor::convertBlockDuplicatedBorder(cv::Rect* roi) {
    const int left = std::max(m_border - m_x, 0);
    const int top = std::max(m_border - m_y, 0);
    const int right = std::max(m_x + m_blockW + m_border - m_imageW, 0);
    const int bottom = std::max(m_y + m_blockH + m_border - m_imageH, 0);
    const cv::Rect source(std::max(m_x - m_border, 0), std::max(m_y - m_border, 0),
                          m_blockW + 2 * m_border - left - right, m_blockH + 2 * m_border - top - bottom);
    if (source.width < 1 || source.height < 1) fail("BlockProcessor::convertBlockDuplicatedBorder roiSize<1");

    forEachRow(m_nPlanes, source.height, source.width, [&](int p, int r) {
        std::memcpy(m_block[p].ptr<ushort>(top + r) + left, m_in[p].ptr<ushort>(source.y + r) + source.x,
                    source.width * sizeof(ushort));
    });
    for (cv::Mat& block : m_block) duplicateBorder(block, left, top, right, bottom);
    *roi = source;
    return true;
}

void BlockProcessor::duplicateBorder(cv::Mat& block, int left, int top, int right, int bottom) {
    const std::size_t rowBytes = block.cols * sizeof(ushort);
    for (int r = 0; r < top; ++r) std::memcpy(block.ptr(r), block.ptr(top), rowBytes);
    const int end = block.rows - bottom;
    for (int r = end; r < block.rows; ++r) std::memcpy(block.ptr(r), block.ptr(end - 1), rowBytes);

    // Four times the padding, over real pixels too: this is intentional.
    const int leftEnd = std::min(4 * left, block.cols);
    const int rightBegin = block.cols - right;
    for (int r = 0; r < block.rows; ++r) {
        ushort* row = block.ptr<ushort>(r);
        if (left >= 1) std::fill(row, row + leftEnd, row[left]);
        if (right >= 1) std::fill(row + rightBegin, row + block.cols, row[rightBegin - 1]);
    }
}

void BlockProcessor::copyOneBlock() {
    const int overlapX = m_doneX - m_x;
    if (overlapX < 0) fail("in BlockProcessor::copyOneBlock, overlapX<0");
    const int cols = std::min(m_blockW, m_imageW - m_x);
    const int rows = std::min(m_blockH, m_imageH - m_y);
    if (!m_out.empty()) {
        if (overlapX > 0) {
            computeOverlapWeights(overlapX);
            blendHorizontal(overlapX, rows);
        }
        copyToStripe(cols, rows);
        if (m_x + m_blockW >= m_imageW) {
            const int overlapY = m_doneY - m_y;
            if (overlapY < 0) fail("in BlockProcessor::copyOneBlock, overlapY<0");
            computeOverlapWeights(overlapY);
            blendVertical(overlapY, rows);
        }
    }
    m_doneX = std::min(m_imageW, m_x + cols);
}

void BlockProcessor::computeOverlapWeights(int overlap) {
    const float unit = 1.0f / static_cast<float>(overlap + 1);
    for (int i = 0; i < overlap; ++i) m_weights_p[i] = static_cast<float>(i + 1) * unit;
    m_weights_p[overlap] = 1.0f;
}

void BlockProcessor::blendHorizontal(int overlap, int rows) {
    const auto blendRow = [&](int p, int r) {
        crossOverColumns(m_stripe[p].ptr<ushort>(r) + m_x, m_block[p].ptr<ushort>(r + m_border) + m_border, m_weights_p,
                         overlap);
    };
    if (m_blendMode != 2) {
        forEachRow(m_nPlanes, rows, overlap, blendRow);
        return;
    }
    for (int p = 0; p < m_nPlanes; ++p) {
        for (int r = 0; r < rows; ++r) {
            std::generate_n(m_weights_p, overlap, discreteWeight);
            blendRow(p, r);
        }
    }
}

void BlockProcessor::copyToStripe(int cols, int rows) {
    forEachRow(m_nPlanes, rows, cols, [&](int p, int r) {
        std::memcpy(m_stripe[p].ptr<ushort>(r) + m_x, m_block[p].ptr<ushort>(r + m_border) + m_border,
                    cols * sizeof(ushort));
    });
}

void BlockProcessor::blendVertical(int overlap, int rows) {
    rows = std::min(rows, m_imageH - m_y);
    if (m_blendMode != 2) {
        forEachRow(m_nPlanes, rows, m_imageW, [&](int p, int r) { joinRow(p, r, overlap); });
        return;
    }
    for (int p = 0; p < m_nPlanes; ++p) {
        std::generate_n(m_weights_p, overlap, discreteWeight);
        for (int r = 0; r < rows; ++r) joinRow(p, r, overlap);
    }
}

void BlockProcessor::joinRow(int p, int r, int overlap) const noexcept {
    if (m_out[p].empty()) return;
    const ushort* stripe = m_stripe[p].ptr<ushort>(r);
    ushort* out = rowToWrite(m_out[p], m_y + r);
    if (r < overlap)
        crossOverRow(out, stripe, m_weights_p[r], m_imageW);
    else
        std::memcpy(out, stripe, m_imageW * sizeof(ushort));
}

const std::vector<PlacedBlock>* BlockProcessor::nextStripe() {
    if (m_border != 0) fail("ERROR - BlockProcessor::nextStripe - border!=0");
    if (m_imageW < 1 || m_imageH < 1) fail("BlockProcessor::convertBlockDuplicatedBorder roiSize<1");
    if (m_placed.empty())
        orFailWithoutMemory("ERROR - BlockProcessor::nextStripe - not enough memory", [this] { placeBlocks(); });
    else if (!advanceBlock())
        return nullptr;
    const cv::Range rows(m_y, std::min(m_y + m_blockH, m_imageH)), stripeRows(0, rows.size());
    for (PlacedBlock& block : m_placed) {
        const cv::Range all(block.x, std::min(block.x + m_blockW, m_imageW));
        const cv::Range own(block.x + static_cast<int>(block.weights.size()), all.end);
        for (int p = 0; p < m_nPlanes; ++p) {
            block.in[p] = m_in[p](rows, all);
            block.own[p] = m_stripe[p](stripeRows, own);
        }
    }
    return &m_placed;
}

void BlockProcessor::placeBlocks() {
    std::vector<PlacedBlock> placed;
    for (int x = 0, done = 0; done < m_imageW; x = std::max(std::min(x + m_stepX, m_imageW - m_blockW), 0)) {
        const int overlap = done - x;
        if (overlap < 0) fail("in BlockProcessor::copyOneBlock, overlapX<0");
        done = std::min(x + m_blockW, m_imageW);
        const std::vector<cv::Mat> planes(static_cast<std::size_t>(m_nPlanes));
        placed.push_back({{m_blockW, m_blockH}, x, planes, planes, planes, {}});
        for (cv::Mat& shared : placed.back().shared) shared.create(m_blockH, overlap, CV_16UC1);
        computeOverlapWeights(overlap);
        if (m_blendMode == 2) std::fill_n(m_weights_p, overlap, 0.0f);
        placed.back().weights.assign(m_weights_p, m_weights_p + overlap);
    }
    m_placed = std::move(placed);
}

void BlockProcessor::copyStripe() {
    m_x = m_placed.back().x;
    m_doneX = m_imageW;
    if (m_out.empty()) return;
    const int overlapY = m_doneY - m_y;
    if (overlapY < 0) fail("in BlockProcessor::copyOneBlock, overlapY<0");
    computeOverlapWeights(overlapY);
    if (m_blendMode == 2) std::fill_n(m_weights_p, overlapY, 0.0f);
    forEachRow(m_nPlanes, std::min(m_blockH, m_imageH - m_y), m_imageW, [&](int p, int r) {
        for (const PlacedBlock& block : m_placed) {
            const int overlap = static_cast<int>(block.weights.size());
            if (overlap == 0) continue;
            ushort *older = m_stripe[p].ptr<ushort>(r) + block.x, *newer = rowToWrite(block.shared[p], r);
            crossOverColumns(older, newer, block.weights.data(), overlap);
            std::memcpy(older, newer, overlap * sizeof(ushort));
        }
        joinRow(p, r, overlapY);
    });
}
