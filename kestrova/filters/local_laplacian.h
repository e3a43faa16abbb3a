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
/// the node's Gaussian value. The brightest values lie above the top reference and are extrapolated.
///
/// One object serves one call at a time. Assignment and copies share the remap table, which every call makes its own:
/// objects that share it count as one. It goes with the last of them.
class KESTROVA_EXPORT LocalLaplacian {
public:
    /// Throws "ERROR - LocalLaplacian::LocalLaplacian - !m_remap_p" if there is no memory for the table.
    LocalLaplacian();
    /// Shares the table.
    LocalLaplacian(const LocalLaplacian&);
    LocalLaplacian& operator=(const LocalLaplacian&);
    ~LocalLaplacian();

    /// Filters `in`, `CV_16UC1`, into `out`, which is re-created to the size and type of `in` if needed; in place is
    /// fine. Always true.
    ///
    /// `alpha` is the size of the detail that is changed, in parts of half the range, well inside -1..1: differences of
    /// up to |alpha| * 32768 from the surroundings are flattened if it is positive and doubled if it is negative; from
    /// there to twice that size the effect fades, and larger steps, the edges, stay. 0.05..0.4 is usual; 0 changes
    /// nothing but roundings. `blur` smooths the bends of the remap curve, sigma per unit of its size: 0..1, 0.3 as a
    /// rule; 0 keeps them sharp. `levels` counts the levels of the pyramid, at least 1; the coarsest stays a Gaussian
    /// one, so that detail up to about 2^levels pixels is reached. `levelJ` proposes a number.
    ///
    /// K = 10, 16 or 24 references: the more, the closer to the exact filter for a small |alpha|, at a cost in
    /// proportion. The references should lie no further apart than |alpha| * 32768 or so: K = 10 serves |alpha| from
    /// 0.2 up, K = 24 from 0.08. The work planes take some K / 6 + 3 bytes a pixel.
    ///
    /// Throws, before `out` is touched,
    ///     "ERROR - LocalLaplacian::proc - in.type()!=CV_16UC1",
    ///     "ERROR - LocalLaplacian::proc - in.empty()" (also for a plane of more than two dimensions),
    ///     "ERROR - LocalLaplacian::proc - levels<1",
    ///     "ERROR - LocalLaplacian::proc - not enough memory".
    bool proc10K(const cv::Mat& in, cv::Mat& out, float alpha, float blur, int levels);
    bool proc16K(const cv::Mat& in, cv::Mat& out, float alpha, float blur, int levels);
    bool proc24K(const cv::Mat& in, cv::Mat& out, float alpha, float blur, int levels);

    /// `lo` if v < lo, otherwise the smaller of `v` and `hi`.
    static int clamp(int v, int lo, int hi);
    /// A number of levels for a picture of sides `a` and `b` at scale `f`: one more than the base-two logarithm of the
    /// shorter side, rounded, at least 2. The coarsest level is then a pixel or two wide.
    static int levelJ(int a, int b, float f);

private:
    /// Owns the table for all objects that share it.
    struct RemapTable;

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
