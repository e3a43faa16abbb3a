#pragma once

#include <opencv2/core.hpp>
#include <vector>

namespace kestrova::photo {

/// What blocks of a mask were like before one stroke, each kept when the stroke first reaches it. Most are of one
/// value, which takes a byte.
class MaskBlocks {
public:
    explicit MaskBlocks(cv::Size mask);

    /// Keeps the blocks of `mask` that `part`, which may lie outside, touches, but for those that are kept already.
    void keep(const cv::Mat& mask, const cv::Rect& part);
    /// Writes what is kept back.
    void restore(cv::Mat& mask) const;
    std::size_t bytes() const { return m_bytes; }

private:
    struct Block {
        cv::Rect area;
        std::vector<uchar> pixels;  ///< one if all are alike
    };

    int m_columns;
    std::vector<bool> m_isKept;  ///< by rows of blocks
    std::vector<Block> m_blocks;
    std::size_t m_bytes = 0;
};

}  // namespace kestrova::photo
