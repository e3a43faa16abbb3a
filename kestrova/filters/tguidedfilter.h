#pragma once

#include <opencv2/core.hpp>

#include <vector>

#include "kestrova/export.h"
#include "kestrova/frame/vendor_types.h"

/// Guided image filter after He, Sun and Tang, "Guided Image Filtering" (ECCV 2010; IEEE TPAMI 35(6), 2013), in two
/// halves that may run at different sizes, as in He and Sun, "Fast Guided Filter" (arXiv:1505.00996, 2015).
///
/// `setup` fits, in the window around each pixel, the plane p as a linear function of the guide, q = a I + b, and keeps
/// the box means of the coefficients. `proc` applies them to a guide that may be larger. Guides have one plane, or
/// three with one slope each.
///
///     luminance.convertTo(scaled, CV_32F, 1.0 / 65535);    // CV_16UC1
///     TGuidedFilter filter;
///     filter.setup({scaled}, scaled, 16, 0.001f);          // guided by itself: smooths, and keeps edges
///     filter.proc({luminance}, smooth);                    // smooth becomes CV_16UC1
///
/// Radius r, 0 to 32767 pixels: the window has 2r + 1 pixels a side. 2 to 16 suits noise and small detail, up to some
/// 1/30 of the longer side large structure. `eps`, above 0: the variance of the guide below which the plane is smoothed
/// rather than followed, in squared units of the guide; on the scale 0..1 usual values are 0.0001 (only faint texture
/// goes) to 0.1 (close to a box mean). With eps 0 a flat window of a single guide gives 0 / 0, which is NaN.
///
/// Cost: from r = 4 on a window's sums take the same time whatever r is; narrower windows are added anew for each pixel
/// and take less. A row of windows takes the time of 2r columns more than the plane has, since the windows reach beyond
/// it: a plane narrower than r takes its rows times 2r. Rows are done eight at a time. Beside its planes `setup` works
/// on 2r + 16 rows of each coefficient (two of them, four with three planes of guide) of a panel of its columns for
/// each thread, 2.5 MiB at most, or, where panels would be narrow, on r + 1 rows of narrow stripes, 2 MiB, and on a few
/// rows of sums. All threads have work whatever r is. `stripProc` keeps 2r + 16 rows of its panels.
///
/// Copies share the planes of the model, so that a new `setup` of the same size on one changes the other too. `proc`
/// may run on several threads at once. The number of threads changes no bit of a result.
///
/// Failures are thrown texts, caught as `const char*`. Where memory runs out "ERROR - TGuidedFilter::setup - not enough
/// memory" is thrown, or the same of the operation (`proc`, `apply`, `stripProc`, `calcov2`); the model and the output
/// are as they were. Planes of three dimensions and, where floats are filtered, rows of 2^31 bytes and more are
/// failures too.
class KESTROVA_EXPORT TGuidedFilter {
public:
    /// Fits the model and replaces the one before.
    /// @param guide 1 or 3 CV_32FC1 planes
    /// @param p a CV_32FC1 plane of their size; one scale for all, 0..1 if integers are to go through `proc`
    /// @param r 0..32767
    /// @param eps above 0, see above
    ///
    /// Throws "ERROR - TGuidedFilter::setup - input vector size is not correct." for another number of planes, and a
    /// text for planes that do not fit, an empty one or another r; the model is as it was.
    ///
    /// A model of one plane leaves the other slopes of an earlier model of three where they are: do not apply it to
    /// three planes.
    void setup(const std::vector<cv::Mat>& guide, const cv::Mat& p, int r, float eps);

    /// Applies the model. A coefficient serves a block of pixels, ceil(size of the guide / size of the model) each way.
    /// @param guide 1 or 3 planes, as many as the model has, CV_8UC1 or CV_16UC1 and of any size
    /// @param q gets size and type of `guide[0]`; its values, v = sum of guide times slope, plus b times 255 or 65535,
    /// are rounded to nearest, ties to even, and saturated. It may be a plane of the guide, or overlap one.
    ///
    /// For any other depth of `guide[0]` `q` is a copy of it; this is intentional. Throws
    /// "ERROR - TGuidedFilter::proc - input vector size is not correct." for another number of planes, and a text for
    /// planes that do not fit each other or a model that is missing, before anything is written.
    void proc(const std::vector<cv::Mat>& guide, cv::Mat& q) const;

    /// The whole filter in strips of 600 rows (one strip below 2250000 pixels or 600 rows), apart from the model.
    /// @param I guide, CV_32FC1, at least 4r pixels a side
    /// @param p plane to filter, of the same type and size
    /// @param q of the same type and size, allocated by the caller; it may be one of the others
    /// @param r 0..32767
    /// @param eps as in `setup`
    ///
    /// The filtered picture stands 2r pixels further right and 2r pixels further down than the guide, and a frame 4r
    /// wide is copied from `p`; both are intentional. Throws a text for planes that do not fit or another r, before
    /// anything is written.
    void stripProc(const cv::Mat& I, const cv::Mat& p, cv::Mat& q, int r, float eps) const;

protected:
    /// `setup` with one plane of guide.
    void gFc1_estimate(const cv::Mat& I, const cv::Mat& p, int r, float eps);
    /// `setup` with three planes of guide.
    void gFc3_estimate(const std::vector<cv::Mat>& guide, const cv::Mat& p, int r, float eps);

    /// `proc` with one plane of guide.
    void gFc1_applyLoop(const cv::Mat& I, cv::Mat& q) const;
    /// `proc` with three planes of guide.
    void gFc3_applyLoop(const std::vector<cv::Mat>& guide, cv::Mat& q) const;

    /// Applies the model to a CV_32FC1 plane of any size, in units of the model; `q` gets its size and type. The
    /// coefficients are resized cubically. Throws a text for a plane that does not fit or a model that is missing.
    void gFc1_apply(const cv::Mat& I, cv::Mat& q) const;
    /// `gFc1_apply` with three planes of guide, except that the coefficients are resized to the nearest.
    void gFc3_apply(const std::vector<cv::Mat>& guide, cv::Mat& q) const;

    /// `stripProc` with strips of `blkH` rows of output, 1 or more.
    void gFc1_stripproc(const cv::Mat& I, const cv::Mat& p, cv::Mat& q, int r, float eps, int blkH) const;

    /// The filter on one strip, without borders: q(y, x) is the result at (y + 2r, x + 2r) of `I` and `p`, which are
    /// CV_32FC1, at least 4r larger than `q` and share no pixels with it.
    void gFc1_blkGuide(const cv::Mat& I, const cv::Mat& p, cv::Mat& q, int r, float eps) const;

    /// The height of a strip: h if w * h, a 32-bit signed product that wraps, is below 2250000 or h is below 600,
    /// otherwise 600.
    static int checkBlkSz(int w, int h);

    /// The variance of `X` over a mask: `calcov2` of `X` with itself.
    void calvar2(cv::Mat& out, const cv::Mat& X, const cv::Mat& meanX, cv::Mat& tmpWide, cv::Mat& tmpInner,
                 IppiSize wideRoi, IppiSize innerRoi, IppiSize mask, IppiPoint anchor, bool offset) const;
    /// The covariance of `X` and `Y` over a mask, from the planes and their means. All planes are CV_32FC1 and
    /// allocated. `tmpWide` takes the products over `wideRoi`; their means over `mask`, at `innerRoi` pixels from
    /// `anchor` on, less the products of the means (`tmpInner`), go to `out`, from `anchor` on if `offset` is set.
    /// Throws a text if a region does not fit, before anything is written; where memory runs out, `out` is as it was.
    void calcov2(cv::Mat& out, const cv::Mat& X, const cv::Mat& Y, const cv::Mat& meanX, const cv::Mat& meanY,
                 cv::Mat& tmpWide, cv::Mat& tmpInner, IppiSize wideRoi, IppiSize innerRoi, IppiSize mask,
                 IppiPoint anchor, bool offset) const;

    cv::Mat m_a0;  ///< CV_32FC1, box means of the slope of the guide's first plane
    cv::Mat m_a1;  ///< CV_32FC1, box means of the slope of the guide's second plane, if it has three
    cv::Mat m_a2;  ///< CV_32FC1, box means of the slope of the guide's third plane, if it has three
    cv::Mat m_b;   ///< CV_32FC1, box means of the offset, in units of full scale
};
