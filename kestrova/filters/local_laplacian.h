#pragma once

#include <opencv2/core.hpp>

#include <memory>

#include "kestrova/export.h"

/// Edge-aware softening or boosting of detail by local Laplacian pyramids, after Paris, Hasinoff and Kautz, "Local
/// Laplacian Filters: Edge-aware Image Processing with a Laplacian Pyramid" (SIGGRAPH 2011), in the fast form of Aubry,
/// Paris, Hasinoff, Kautz and Durand, "Fast Local Laplacian Filters: Theory and Applications" (ACM TOG 2014).
///
/// The picture is remapped around K reference levels, evenly spaced over the range. Each remapped picture has a
/// Laplacian pyramid, and every node of the output's pyramid is interpolated between those of the two references around
/// the node's Gaussian value.
///
/// Values above the top reference, 58977 for K = 10, 61425 for 16 and 62790 for 24, are extrapolated, and what is
/// extrapolated is cut to its low 16 bits: with a negative alpha near-white wraps to black. In even areas this happens
///     for K = 10 with |alpha| of 0.028 to 0.207, to values from 61694 on,
///     for K = 16 with |alpha| of 0.017 to 0.130, to values from 63127 on,
///     for K = 24 with |alpha| of 0.012 to 0.087, to values from 63927 on;
/// these are the limits over all `blur` from 0 to 1 (0: the smallest values, 1: the smallest |alpha|). With a positive
/// alpha only the last ten values or so may wrap. Detail of half the range beside near-white may wrap too. A host that
/// boosts detail leaves headroom: it maps its picture to 4096 to 61440, say, by 0.875 Y + 4096, filters with 0.875
/// alpha, and maps the result back.
///
/// One object serves one call at a time. Assignment and copies share the remap table, which every call makes its own:
/// objects that share it count as one. It is freed with the last of them.
class KESTROVA_EXPORT LocalLaplacian {
public:
    /// Throws "ERROR - LocalLaplacian::LocalLaplacian - !m_remap_p" if there is no memory for the table.
    LocalLaplacian();
    /// Shares the table.
    LocalLaplacian(const LocalLaplacian&);
    /// Shares the table.
    LocalLaplacian& operator=(const LocalLaplacian&);
    /// Frees the table, unless another object shares it.
    ~LocalLaplacian();

    /// Filters with 10 references. Always true.
    /// @param in CV_16UC1, not empty
    /// @param out is re-created to the size and type of `in` if needed; it may be `in` or overlap it
    /// @param alpha the size of the detail that is changed, in parts of half the range, well inside -1..1: differences
    /// of up to |alpha| * 32768 from the surroundings are flattened if it is positive and doubled if it is negative;
    /// from there to twice that size the effect fades, and larger steps, the edges, stay. 0.05 to 0.4 is usual; 0
    /// changes nothing but roundings. NaN counts as 0.
    /// @param blur smooths the bends of the remap curve, sigma per unit of its size: 0 to 1, 0.3 as a rule; 0 keeps
    /// them sharp
    /// @param levels of the pyramid, 1 or more; the coarsest stays a Gaussian one, so that detail up to about 2^levels
    /// pixels is reached. `levelJ` proposes a number.
    ///
    /// The more references, the closer to the exact filter for a small |alpha|, at a cost in proportion. They should
    /// lie no further apart than |alpha| * 32768 or so: K = 10 serves |alpha| from 0.2 up, K = 24 from 0.08. The work
    /// planes take some K / 6 + 3 bytes a pixel.
    ///
    /// Throws, before `out` is touched,
    ///     "ERROR - LocalLaplacian::proc - in.type()!=CV_16UC1",
    ///     "ERROR - LocalLaplacian::proc - in.empty()" (also for a plane of more than two dimensions),
    ///     "ERROR - LocalLaplacian::proc - levels<1";
    /// and "ERROR - LocalLaplacian::proc - not enough memory". An `out` that fits and does not overlap `in` may then be
    /// written in part; any other is as it was.
    bool proc10K(const cv::Mat& in, cv::Mat& out, float alpha, float blur, int levels);
    /// Filters with 16 references, otherwise as `proc10K`.
    bool proc16K(const cv::Mat& in, cv::Mat& out, float alpha, float blur, int levels);
    /// Filters with 24 references, otherwise as `proc10K`.
    bool proc24K(const cv::Mat& in, cv::Mat& out, float alpha, float blur, int levels);

    /// `lo` if v < lo, otherwise the smaller of `v` and `hi`.
    static int clamp(int v, int lo, int hi);
    /// A number of levels for a picture of sides `a` and `b` at scale `f`: one more than the base-two logarithm of the
    /// shorter side, rounded, at least 2. The coarsest level is then a pixel or two wide.
    static int levelJ(int a, int b, float f);

private:
    /// Owns the table for all objects that share it.
    struct RemapTable;

    /// The three forms of `proc`.
    template <class References>
    bool proc(const cv::Mat& in, cv::Mat& out, float alpha, float blur, int levels);
    /// Builds the table from `m_alpha` and `m_blur`, unless it is of these two already.
    void calRemapLut();

    float m_alpha = 0.15f;  ///< size of the remap curve, in parts of 32768; positive softens, negative boosts
    float m_blur = 0.3f;    ///< sigma of the table's smoothing per unit of that size
    int m_levels = 2;       ///< levels of the pyramid
    ushort* m_remap_p;      ///< 65536 offsets to add, halved and biased by 32768, for halved differences, biased alike
    std::shared_ptr<RemapTable> m_table;
};
