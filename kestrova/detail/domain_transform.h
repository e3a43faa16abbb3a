#pragma once

#include <opencv2/core.hpp>

#include <memory>
#include <vector>

namespace kestrova::detail {
struct PlacedBlock;
}

/// Edge-preserving smoothing of a float image of any number of channels by the domain transform: distances along rows
/// and columns are stretched by the local differences, and a one-dimensional filter runs along rows, then along
/// columns, three times with shrinking width.
///
/// E. Gastal, M. Oliveira, "Domain Transform for Edge-Aware Image and Video Processing", SIGGRAPH 2011. Unlike the
/// paper, the passes read the distance of the step from x to x + 1 one pixel later, the last row and column count as
/// flat, and the recursive filter's widths are products of those before: all three are intentional.
///
/// The operations always answer true. They throw a text for what is not float or does not fit, before anything is
/// written, and "ERROR - DomainTransformFilter::<operation> - not enough memory". `filterPair` and `filterPairs` leave
/// their planes as they were then; the others may leave an unfinished image. Internal: a documented name, but not
/// installed.
class DomainTransformFilter {
public:
    /// `sigmaS`: spatial standard deviation in pixels; `sigmaR`: range standard deviation in units of the image values.
    /// Sets the process's OpenMP threads (all processors, nested regions, fixed teams) and prints "system has N cores".
    DomainTransformFilter(float sigmaS, float sigmaR);
    /// Releases what the filter keeps from call to call.
    ~DomainTransformFilter();

    /// Mode 0: `filterRF`, mode 1: `filterNC`, with the object's sigmas; any other mode does nothing. `in` and `out`
    /// may be the same matrix.
    bool filter(const cv::Mat& in, cv::Mat& out, int mode);

    /// The recursive filter, on float images of any number of channels.
    bool filterRF(const cv::Mat& in, cv::Mat& out, float sigmaS, float sigmaR);

    /// Normalized convolution: means over the pixels within a radius in the transformed domain, on float images of up
    /// to four channels.
    bool filterNC(const cv::Mat& in, cv::Mat& out, float sigmaS, float sigmaR);

    /// Mode 0 on two CV_16UC1 planes of one size, in place, as the channels of one image: the same bits as
    /// interleaving, converting to float, filtering, and converting back (rounded, clamped). Keeps its scratch for the
    /// next call.
    bool filterPair(cv::Mat& first, cv::Mat& second);

    /// The same on blocks of two planes, all of one size, in one parallel region.
    bool filterPairs(const std::vector<kestrova::detail::PlacedBlock>& blocks);

    /// One recursive pass along the rows, forward and back, with the distances `D` (CV_32FC1).
    bool recursivePass(cv::Mat& image, const cv::Mat& D, float sigma);

    /// One pass of normalized convolution along the rows, with the running sums `ct` of the distances (CV_32FC1).
    bool boxPass(cv::Mat& image, const cv::Mat& ct, float radius);

    /// Differences to the right neighbour; the last column is not written.
    bool diffX(const cv::Mat& in, cv::Mat& dx);

    /// Differences to the neighbour below; the last row and the last column are not written.
    bool diffY(const cv::Mat& in, cv::Mat& dy);

    /// The absolute values summed over the channels, CV_32FC1; 0 in the last row and the last column.
    bool sumAbs(const cv::Mat& d, cv::Mat& sum);

private:
    struct Workspace;

    float m_sigmaS;                          ///< spatial standard deviation, in pixels
    float m_sigmaR;                          ///< range standard deviation, in units of the image values
    std::unique_ptr<Workspace> m_workspace;  ///< planes and tables for the next call
};
