#pragma once

#include <opencv2/core.hpp>

#include <memory>

#include "kestrova/export.h"

class TProgress;  // kestrova/frame/tprogress.h

/// Edge-preserving smoothing by a cross-bilateral filter on a coarse grid over x, y and the value of a guide: pixels
/// are summed up in the grid's cells, the grid is blurred along its three axes, and each pixel is read back at its
/// position and guide value by trilinear interpolation.
///
/// J. Chen, S. Paris, F. Durand, "Real-time Edge-Aware Image Processing with the Bilateral Grid", SIGGRAPH 2007; the
/// blur is the recursive Gaussian of L. Alvarez and L. Mazorra, "Signal and Image Restoration Using Shock Filters and
/// Anisotropic Diffusion", SIAM Journal on Numerical Analysis 31 (1994), with a sigma of 0.85 cells. Unlike the paper,
/// pixels are read back half a cell lower along the guide's axis than they were put in; this is intentional. Positions
/// along that axis are what OpenCV's `convertTo` gives without fused operations, on every processor.
///
///     BilateralFilter filter;
///     filter.proc(cv::Mat(), luminance, 16, 6000, nullptr);    // CV_16UC1, guided by itself, in place
///
/// One object serves one `proc` at a time. It keeps its two grids, 4 bytes for each of some
/// (w / sampling + 4) * (h / sampling + 4) * (span of the guide / range + 4) cells, for the next plane of the same
/// size. Assignment shares them; they are freed with the last object that shares them. There is no copy constructor.
/// Failures are thrown texts, caught as `const char*`.
class KESTROVA_EXPORT BilateralFilter {
public:
    /// Has no grids yet.
    BilateralFilter();
    /// Not copied.
    BilateralFilter(const BilateralFilter&) = delete;
    /// Shares the grids.
    BilateralFilter& operator=(const BilateralFilter&);
    /// Frees the grids without a look at their guards: a destructor that throws would end the host.
    ~BilateralFilter();

    /// Smooths a plane in place along the edges of a guide. True when done; false as soon as `progress` answers false
    /// to one of the steps 0 to 4 of 4. `inOut` is written between steps 3 and 4 only.
    /// @param edge the guide: a plane of the same size and one channel of any depth, with values within +-2^31. An
    /// empty one makes `inOut` its own guide. Pixels whose guide is NaN come out 0. Depths in the grid are floats:
    /// 32-bit integers and floats that lie far from 0 for their span, as 10^9 + 1 for a span of 10, get wrong ones.
    /// @param inOut CV_8UC1 or CV_16UC1
    /// @param sampling pixels per cell in x and y, 2 or more; the spatial sigma is 0.85 of it. 8 to 64 is usual.
    /// @param range guide levels per cell, 1 or more; the sigma among values is 0.85 of it. Some 5 to 20 percent of the
    /// guide's span is usual. Where the span takes more than 248 cells, `range` is overridden by trunc(span / 248).
    /// That may still be too little for the span, as 1 is for 495 levels: its upper end then falls into the cells next
    /// to its own.
    /// @param progress may be null
    ///
    /// With `sampling` below 2 the grids of the call before are used with their own sampling and range. Throws, before
    /// `inOut` is written, "ERROR - bool BilateralFilter::proc - inOut.size !=  edge.size"; "ERROR -
    /// BilateralFilter::alloc()" where there is no memory for the grids, the ones before being released; "ERROR -
    /// BilateralFilter::proc - not enough memory" where there is none to work with; "BilateralFilter::dealloc() - !=
    /// 0x6d6d6d6d" where the guard of a grid that is replaced is damaged; and a text for planes of other types, a range
    /// below 1, a guide without finite values or beyond +-2^31, and a sampling below 2 where there are no grids or they
    /// do not fit the planes.
    bool proc(const cv::Mat& edge, cv::Mat& inOut, int sampling, int range, TProgress* progress);

    /// The cells of each grid, INT_MAX where there are more; 0 before the first `proc`.
    int getGridSize() const;

    /// Moves pixels of a plane to the guide's value at the same place, where that lies between the pixel and the
    /// farther of its local extremes. With the maximum A and the minimum B of `inOut` over a disc of `radius` pixels, a
    /// pixel v that is nearer A, or as near to both, goes down to the guide's g if B < g < v, and one that is nearer B
    /// goes up to it if v < g < A. All others stay, and so do those nearer than `radius` to the plane's border: a guide
    /// that is smoother than the plane flattens its peaks, a sharper one changes little. Always true.
    /// @param guide, inOut both CV_8UC1 or both CV_16UC1 and of one size
    /// @param radius in pixels; below 1 nothing changes, whatever the planes
    ///
    /// Throws "ERROR - BilateralFilter::gradientGuide - in image type", a text for planes of different sizes, and
    /// "ERROR - BilateralFilter::gradientGuide - not enough memory"; `inOut` is as it was.
    static bool gradientGuide(const cv::Mat& guide, cv::Mat& inOut, int radius);

private:
    /// Geometry and grids for planes of `width` x `height` guided by `edge`; false if `sampling` is below 2.
    bool setup(const cv::Mat& edge, int width, int height, int sampling, int range, bool mode16);
    /// Throws unless the grids at hand can take a plane guided by `guide`.
    KESTROVA_HIDDEN void checkOldGrids(const cv::Mat& guide) const;
    /// Provides the grids for the extents at hand, each with a guard behind its last cell.
    void alloc();
    /// Releases the grids. Throws "BilateralFilter::dealloc() - != 0x6d6d6d6d" where a guard is damaged, that of the
    /// weights first; the damaged grid stays then.
    void dealloc();
    /// Sets all cells of the grids, if there are any.
    void gridInit(float weight, float value);
    /// Sums the pixels up in the grids, blurs them and divides values by weights.
    void buildGrid(cv::Mat& inOut, const cv::Mat& edge);
    /// Sums the pixels up in the grids.
    template <class Pixel>
    void splat(const cv::Mat& plane, const cv::Mat& guide);
    /// Blurs both grids along z, x and y.
    void filterGrids();
    /// Reads the pixels back; `edge` may overlap `inOut`.
    void interpGrid(cv::Mat& inOut, const cv::Mat& edge);
    /// Reads the pixels back; `guide` may be `plane`, but does not overlap it across rows.
    template <class Pixel>
    void readBack(cv::Mat& plane, const cv::Mat& guide) const;
    /// The deepest cell that a pixel is added to; a grid of the largest size is overrun on purpose.
    int deepestAdded() const { return m_gridZ < kMaxCellsZ ? m_gridZ - 1 : 255; }
    /// The deepest cell that a pixel is read from, together with the next one.
    int deepestRead() const { return m_gridZ < kMaxCellsZ ? m_gridZ - 2 : 255; }
    /// A cell of the weights.
    float* gridPtr(int x, int y, int z);
    /// A cell of the values.
    float* gridDPtr(int x, int y, int z);
    /// The recursive Gaussian, forth and back `steps` times, over `n` elements at distances of `stride`. A negative
    /// `steps` filters nothing and scales by the reciprocal.
    static void iir(float* data, int n, int stride, float sigma, int steps);
    /// Trilinear interpolation between p[x + 2 y + 4 z], along z first, by `w`, then x, by `u`, then y, by `v`.
    /// Overwrites the first four.
    static float interp8Points(float* p, float u, float v, float w);

    static constexpr int kMaxCellsZ = 252;  ///< a depth is a byte

    bool m_mode16 = false;             ///< planes of 16 bits, else of 8
    int m_gridW = 0;                   ///< cells in x, padding included
    int m_gridH = 0;                   ///< cells in y, padding included
    int m_gridZ = 0;                   ///< cells along the guide's values, padding included, at most 252
    float* m_weights_p = nullptr;      ///< cell (x, y, z) is element (m_gridW * y + x) * m_gridZ + z
    float* m_values_p = nullptr;       ///< sums of values, after `buildGrid` the filtered values
    int m_padXY = 1;                   ///< cells of padding at each end of x and y
    int m_padZ = 1;                    ///< cells of padding at each end of the guide's values
    int m_min = 0;                     ///< smallest guide value, truncated
    int m_width = 0;                   ///< columns of the planes
    int m_height = 0;                  ///< rows of the planes
    int m_sampling = 0;                ///< pixels per cell
    int m_range = 0;                   ///< guide levels per cell
    int m_ready = 1;                   ///< set by `setup`, read by nothing
    std::shared_ptr<float> m_weights;  ///< keeps the weights for all objects that share them
    std::shared_ptr<float> m_values;   ///< keeps the values for all objects that share them
};
