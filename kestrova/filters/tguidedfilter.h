#pragma once

#include <opencv2/core.hpp>

#include <vector>

#include "kestrova/export.h"

struct IppiPoint;
struct IppiSize;

/// Guided image filter after He, Sun and Tang, "Guided Image Filtering" (ECCV 2010; IEEE TPAMI 35(6), 2013), in two
/// halves that may run at different sizes, as in He and Sun, "Fast Guided Filter" (arXiv:1505.00996, 2015).
///
/// `setup` fits, in the window around each pixel, the plane p as a linear function of the guide, q = a I + b, and keeps
/// the box means of the coefficients. `proc` applies them to a guide that may be larger. Guides have one plane, or
/// three with one slope each.
///
/// Radius r, 0 or more: the window has 2r + 1 pixels a side; cost grows with the logarithm of r. Sensible are 2 to 16
/// for noise and small detail, up to some 1/30 of the longer side for large structure. eps, above 0: variance of the
/// guide below which the plane is smoothed rather than followed, in squared units of the guide; on the scale 0..1
/// sensible are 0.0001 (only faint texture goes) to 0.1 (close to a box mean). With eps 0 a flat window of a single
/// guide gives 0 / 0.
///
/// Copies share the planes of the model, so that a new `setup` of the same size on one changes the other too. `proc`
/// may run on several threads at once. The number of threads changes no bit of a result. Where there is no memory a
/// text is thrown, and the model and the output are as they were.
class KESTROVA_EXPORT TGuidedFilter {
public:
    /// Fits the model. `guide`: 1 or 3 CV_32FC1 planes; `p`: a CV_32FC1 plane of their size; one scale for all, 0..1 if
    /// integers are to go through `proc`. Throws "ERROR - TGuidedFilter::setup - input vector size is not correct." for
    /// another number of planes, and a text for planes that do not fit, an empty one or r outside 0..32767.
    void setup(const std::vector<cv::Mat>& guide, const cv::Mat& p, int r, float eps);

    /// Applies the model to 1 or 3 planes, CV_8UC1 or CV_16UC1 and of any size; each coefficient serves a block of
    /// pixels. `q` gets size and type of `guide[0]`, the values rounded to nearest, ties to even, and saturated; it may
    /// be a plane of the guide, or run over one. For any other depth of `guide[0]` `q` is a copy of it: this is meant.
    /// Throws "ERROR - TGuidedFilter::proc - input vector size is not correct." for another number of planes, and a
    /// text for planes that do not fit each other or a model that is missing.
    void proc(const std::vector<cv::Mat>& guide, cv::Mat& q) const;

    /// The whole filter in strips, apart from the model. `I`, `p`, `q`: CV_32FC1 planes of one size, at least 4r pixels
    /// a side; `q` is allocated by the caller and may be one of the others. The filtered picture stands 2r pixels
    /// further right and 2r pixels further down than the guide, and a frame 4r wide is copied from `p`: both are meant.
    /// Throws a text for planes that do not fit or r outside 0..32767.
    void stripProc(const cv::Mat& I, const cv::Mat& p, cv::Mat& q, int r, float eps) const;

protected:
    /// `setup` with one plane, and with three
    void gFc1_estimate(const cv::Mat& I, const cv::Mat& p, int r, float eps);
    void gFc3_estimate(const std::vector<cv::Mat>& guide, const cv::Mat& p, int r, float eps);

    /// `proc` with one plane, and with three
    void gFc1_applyLoop(const cv::Mat& I, cv::Mat& q) const;
    void gFc3_applyLoop(const std::vector<cv::Mat>& guide, cv::Mat& q) const;

    /// Applies the model to CV_32FC1 planes of any size, in units of the model: `q` of their size, CV_32FC1. The
    /// coefficients are resized: cubically for one plane, to the nearest for three; the difference is meant. Throw a
    /// text for planes that do not fit or a model that is missing.
    void gFc1_apply(const cv::Mat& I, cv::Mat& q) const;
    void gFc3_apply(const std::vector<cv::Mat>& guide, cv::Mat& q) const;

    /// `stripProc` with strips of `blkH` rows of output, 1 or more
    void gFc1_stripproc(const cv::Mat& I, const cv::Mat& p, cv::Mat& q, int r, float eps, int blkH) const;

    /// The filter on one strip, without borders: q(y, x) is the result at (y + 2r, x + 2r) of `I` and `p`, which are
    /// at least 4r larger than `q` and share no pixels with it.
    void gFc1_blkGuide(const cv::Mat& I, const cv::Mat& p, cv::Mat& q, int r, float eps) const;

    /// The height of a strip: h if w * h, a 32-bit signed product that wraps, is below 2250000 or h below 600, else
    /// 600.
    static int checkBlkSz(int w, int h);

    /// Variance and covariance of `X`, and of `X` and `Y`, over a mask, from planes and their means: `tmpWide` takes
    /// the products over `wideRoi`; their box means over `innerRoi`, less the products of the means (`tmpInner`), go to
    /// `out`, at `anchor` if `offset` is set. All CV_32FC1 and allocated; throw a text if a region does not fit.
    void calvar2(cv::Mat& out, const cv::Mat& X, const cv::Mat& meanX, cv::Mat& tmpWide, cv::Mat& tmpInner,
                 IppiSize wideRoi, IppiSize innerRoi, IppiSize mask, IppiPoint anchor, bool offset) const;
    void calcov2(cv::Mat& out, const cv::Mat& X, const cv::Mat& Y, const cv::Mat& meanX, const cv::Mat& meanY,
                 cv::Mat& tmpWide, cv::Mat& tmpInner, IppiSize wideRoi, IppiSize innerRoi, IppiSize mask,
                 IppiPoint anchor, bool offset) const;

    cv::Mat m_a0;  ///< CV_32FC1, box means of the slope of the guide's first plane
    cv::Mat m_a1;  ///< of its second plane; not touched by a guide of one plane
    cv::Mat m_a2;  ///< of its third plane; not touched by a guide of one plane
    cv::Mat m_b;   ///< CV_32FC1, box means of the offset
};
