#include "photo/mask_blocks.h"

namespace kestrova::photo {

namespace {

constexpr int kSide = 64;

int blocksIn(int length) { return (length + kSide - 1) / kSide; }

}  // namespace

MaskBlocks::MaskBlocks(cv::Size mask)
    : m_columns(blocksIn(mask.width)),
      m_isKept(static_cast<std::size_t>(m_columns) * blocksIn(mask.height)),
      m_bytes(m_isKept.size() / 8) {}

void MaskBlocks::keep(const cv::Mat& mask, const cv::Rect& part) {
    const cv::Rect whole(cv::Point(), mask.size()), inside = part & whole;
    if (inside.empty()) return;
    for (int by = inside.y / kSide; by <= (inside.br().y - 1) / kSide; ++by)
        for (int bx = inside.x / kSide; bx <= (inside.br().x - 1) / kSide; ++bx) {
            auto isKept = m_isKept[static_cast<std::size_t>(by) * m_columns + bx];
            if (isKept) continue;
            isKept = true;
            Block block{cv::Rect(bx * kSide, by * kSide, kSide, kSide) & whole, {}};
            const cv::Mat area = mask(block.area);
            const uchar first = area.at<uchar>(0, 0);
            if (cv::countNonZero(area != first) == 0) {
                block.pixels = {first};
            } else {
                block.pixels.reserve(area.total());
                for (int y = 0; y < area.rows; ++y)
                    block.pixels.insert(block.pixels.end(), area.ptr(y), area.ptr(y) + area.cols);
            }
            m_bytes += sizeof(Block) + block.pixels.size();
            m_blocks.push_back(std::move(block));
        }
}

void MaskBlocks::restore(cv::Mat& mask) const {
    for (const Block& block : m_blocks) {
        cv::Mat area = mask(block.area);
        if (block.pixels.size() == 1)
            area.setTo(block.pixels[0]);
        else
            cv::Mat(block.area.size(), CV_8UC1, const_cast<uchar*>(block.pixels.data())).copyTo(area);
    }
}

}  // namespace kestrova::photo
