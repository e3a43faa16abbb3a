#pragma once

#include <opencv2/core.hpp>
#include <vector>

namespace kestrova::photo {

/// A plane at 1/n of the picture's size, n a power of two: cell i stands for the pixels n i to n i + n - 1, the last
/// one for those that are left. Between the centres of cells values are interpolated.
struct Reduced {
    cv::Mat plane;  ///< CV_32FC1 or CV_8UC1
    int n = 1;

    /// The size of a plane reduced by n.
    static cv::Size sizeOf(cv::Size picture, int n) {
        return {(picture.width + n - 1) / n, (picture.height + n - 1) / n};
    }
};

/// Reads rows of a reduced plane at the size of the picture.
class ReducedReader {
public:
    /// For the columns x to x + width - 1 of the picture.
    ReducedReader(const Reduced& reduced, int x, int width);

    /// Row `y` of the picture, as floats. Valid until the next call.
    const float* row(int y);

private:
    const Reduced& m_reduced;
    int m_x, m_width;
    int m_firstCell;
    std::vector<float> m_cells;      ///< of one row, interpolated between two rows of cells
    std::vector<float> m_fractions;  ///< the way from a cell's centre to the next, pixel by pixel
    std::vector<float> m_row;
};

/// The means of the cells of a plane, CV_16UC1, on a scale on which 65535 is 1: `into`, CV_32FC1, gets the cells that
/// begin at pixel `origin` of the picture, a multiple of n.
void reduceInto(const cv::Mat& plane, cv::Point origin, int n, cv::Mat& into);
/// The same of a plane of floats, CV_32FC1.
void reduceFloatsInto(const cv::Mat& plane, cv::Point origin, int n, cv::Mat& into);

}  // namespace kestrova::photo
