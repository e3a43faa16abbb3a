#pragma once

#include <opencv2/core.hpp>

#include "kestrova/export.h"

/// A filter of large support from three small kernels, after Farbman, Fattal and Lischinski, "Convolution Pyramids"
/// (SIGGRAPH Asia 2011). The plane is analysed down to a cell or two with the first kernel; on the way back up each
/// level adds the coarser result, enlarged by zeros and filtered with the second kernel, and its own analysis signal,
/// filtered with the third:
///     down[l+1] = every second row and column of k1 * down[l]
///     up[l]     = k2 * (up[l+1] with zeros in between) + k3 * down[l]
/// The coefficients make the filter. Five taps, five and three, the paper's: 0.15, 0.5, 0.7, 0.5, 0.15 for k1 and k2
/// and 0.175, 0.547, 0.175 for k3 recover a picture, but for a constant, from its negative Laplacian; 0.1507, 0.6836,
/// 1.0334, 0.6836, 0.1507 for k1, 0.0269 times that for k2 and 0.0312, 0.7753, 0.0312 for k3 spread scattered values
/// smoothly over the plane (those of the values divided by those of the places that have one).
///
/// A kernel is one row or column of coefficients, used on both axes as in `cv::sepFilter2D`: correlated, about its
/// middle tap (the one after the middle, for an even number). Outside the plane given, also a part of a larger one,
/// the signal is zero at every level. Sums are of single precision, in the order of the taps, along x first, and not
/// fused: the same bits with any number of threads and on every instruction set.
///
/// Kernels share their pixels with the caller's and are copied by reference. A kernel or a depth that
/// `cv::sepFilter2D` refuses makes it throw its `cv::Exception` before anything is written. Planes of three dimensions
/// and planes wider than INT_MAX / 4 are failures with a text.
///
/// Where memory runs out "ERROR - ConvPyr::proc - not enough memory" is thrown, or the same of the operation
/// (`pyrDown`, `pyrUp`); the output and the object are as they were. One object serves one thread at a time.
class KESTROVA_EXPORT ConvPyr {
public:
    /// `k1` filters before a reduction, `k2` after an enlargement, `k3` each level itself. Nothing is checked before a
    /// plane is filtered.
    ConvPyr(const cv::Mat& k1, const cv::Mat& k2, const cv::Mat& k3);
    /// Shares the kernels.
    ConvPyr(const ConvPyr&);
    /// Shares the kernels.
    ConvPyr& operator=(const ConvPyr&);

    /// Runs the pyramid, which has floor(log2(longer side)) + 1 levels. Always true.
    /// @param in one channel of a depth that `cv::sepFilter2D` takes to float (8 or 16 bits, float), any scale
    /// @param out is made CV_32FC1 of the size of `in`, on its scale; it may be `in` or overlap it
    ///
    /// Throws "ERROR - ConvPyr::proc - in.channels() != 1", and the `cv::Exception` of an empty plane for an empty
    /// `in`.
    bool proc(const cv::Mat& in, cv::Mat& out);

protected:
    /// One step of analysis: the even rows and columns of `src` filtered with `m_k1`. `dst` is made CV_32FC1 of half
    /// the size of `src`, rounded up. Always true; raises `m_level`.
    /// Throws "ERROR - ConvPyr::pyrDown - src.channels() != 1".
    bool pyrDown(const cv::Mat& src, cv::Mat& dst);
    /// One step of synthesis: `low`, CV_32FC1 of half the size of `src` rounded up, enlarged by zeros and filtered
    /// with `m_k2`, added to `src` filtered with `m_k3`. `dst` is made CV_32FC1 of the size of `src`. Always true;
    /// lowers `m_level`. Throws "ERROR - ConvPyr::pyrUp - src.channels() != 1" and
    /// "ERROR - ConvPyr::pyrUp - low is not CV_32FC1 of half the size of src".
    bool pyrUp(const cv::Mat& low, const cv::Mat& src, cv::Mat& dst);

    cv::Mat m_k1;     ///< analysis kernel, applied before each decimation
    cv::Mat m_k2;     ///< synthesis kernel, applied after each enlarging by zeros
    cv::Mat m_k3;     ///< kernel of the analysis signal of a level, and of the coarsest level
    int m_level = 0;  ///< depth: as many `pyrDown` as there were, less the `pyrUp`; `proc` leaves it as it was
};
