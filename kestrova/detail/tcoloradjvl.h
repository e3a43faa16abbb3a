#pragma once

#include <opencv2/core.hpp>

#include <cstdint>
#include <vector>

#include "kestrova/export.h"

/// The colour side of the detail engine. One pass over the chroma planes makes chroma follow a change of luminance,
/// times (y1 + 1024) / (y0 + 1025) within 0.5..1.2, and looks the colour up in a table over (Y, Dr, Db), 33 nodes an
/// axis, that applies temperature, tint, saturation and vibrance. The table is the identity until the host sets
/// parameters and then `m_bChanged`. A table that is rebuilt has R, G, B of its nodes clamped to 0..65535: colours next
/// to these limits, below a luminance of some 2000 all colours, then lose chroma even with all parameters 0.
///
///     TColorAdjVL colour;
///     colour.m_vibrance = 0.3f;
///     colour.m_bChanged = true;
///     colour.proc(y0, y1, dr, db, dr, db);
///
/// y0 and y1 are the luminance before and after, and chroma has their size: `TVelline` says what to take for a view;
/// `upSize2XGuidedByYSimple` enlarges the half-size planes of a whole picture. An object takes 144 KB, so that it does
/// not belong on a small stack, and as much again once it has been used. One object serves one thread at a time.
///
/// Failures are thrown texts, caught as `const char*`. Where memory runs out, the text is "ERROR -
/// TColorAdjVL::<operation> - not enough memory" or that of an operation inside, and the outputs are as they were.
class KESTROVA_EXPORT TColorAdjVL {
public:
    /// All parameters 0. `warmScale` and `coolScale` scale temperatures above and below 0, `tintPosScale` and
    /// `tintNegScale` tints above and below 0, `maxSatGain` is the gain of chroma at saturation 1, `vibScale` scales
    /// vibrance.
    TColorAdjVL(float warmScale = 0.25f, float coolScale = 0.6f, float tintPosScale = 0.2f, float tintNegScale = 0.9f,
                float maxSatGain = 4.0f, float vibScale = 0.9f);
    /// Copies parameters and tables; the two objects share nothing.
    TColorAdjVL(const TColorAdjVL& other);
    /// Copies parameters and tables, as the copy constructor does.
    TColorAdjVL& operator=(const TColorAdjVL& other);
    /// Releases the tables.
    ~TColorAdjVL();

    /// Writes the adjusted chroma of a picture whose luminance went from `y0` to `y1`; always true. All planes are
    /// CV_16UC1 of one size, zero chroma is 32768. `drOut` and `dbOut` are created unless they fit; each may be the
    /// plane it is made from. Four planes without pixels give outputs without pixels. Rebuilds the table first if
    /// `m_bChanged`; prints "time to compute LUT for color adj: SECONDS" (processor time) to standard output, also when
    /// nothing was to be done, unless `Kestrova::setPrinting(false)` keeps it off. Throws "ERROR - TColorAdjVL::proc -
    /// ..." and leaves all as it was if the planes are of another type or of different sizes or have no pixels, or if
    /// both outputs are one plane.
    bool proc(const cv::Mat& y0, const cv::Mat& y1, const cv::Mat& drIn, const cv::Mat& dbIn, cv::Mat& drOut,
              cv::Mat& dbOut);

    float m_temperature;  ///< about -1..1: above 0 warmer (red and green rise), below 0 cooler (blue rises)
    float m_tint;         ///< about -1..1: above 0 towards magenta, below 0 towards green
    float m_saturation;   ///< -1..1: with g = 1 + (maxSatGain - 1) s above 0 and 1 + s below, chroma (dr, db) times
                          ///< (g m + 4) / (m + 4), m = sqrt(2 (dr^2 + db^2)) / 256 or 11 if that is more, so about 3.2
                          ///< for weak chroma at g = 4, and at most 4; -1 is grey
    float m_vibrance;     ///< about -1..1: above 0 lifts weak colours up to a threshold, below 0 removes them; more for
                          ///< bright colours than for dark ones
    bool m_bChanged;      ///< to be set after a change of the four; the next `proc` rebuilds the table and clears it

protected:
    /// Rebuilds saturation rows and tables if `m_bChanged`, and prints the time line.
    void computeLUT16U();
    /// The index of node (i, j, k) of the axes (Y, Dr, Db), each 0..32.
    int get3DLUTIdx(int i, int j, int k);
    /// Linear interpolation from `a` at `f` 0 to `b` at 1.
    void mix(float& out, float a, float b, float f);
    /// Bilinear interpolation: `fx` leads from `a` to `b` and from `c` to `d`, `fy` from the first pair to the second.
    void mix(float& out, float a, float b, float c, float d, float fy, float fx);
    /// Trilinear interpolation: `fz` leads from the first four, mixed as above, to the second four.
    void mix(float& out, float a, float b, float c, float d, float e, float f, float g, float h, float fz, float fy,
             float fx);

    uchar (*m_satLUT_p)[256];  ///< chroma magnitude out for magnitude in, one row for each of the 33 nodes of Y
    int m_shift;               ///< bits of a 16-bit value below a grid step
    float m_gridStep;          ///< 16-bit value of a grid step: node n stands at trunc(n * m_gridStep)
    float m_vibSlope;          ///< growth of the vibrance threshold per node of Y
    float m_warmScale;         ///< scale of temperatures above 0
    float m_coolScale;         ///< scale of temperatures below 0
    float m_tintPosScale;      ///< scale of tints above 0
    float m_tintNegScale;      ///< scale of tints below 0
    float m_maxSatGain;        ///< gain of chroma at saturation 1
    float m_vibScale;          ///< scale of vibrance
    ushort m_lutDr[35937];     ///< Dr at each node
    ushort m_lutDb[35937];     ///< Db at each node

private:
    KESTROVA_HIDDEN void packNodes();

    std::vector<std::uint32_t> m_nodes;  ///< both tables in one, as `proc` reads them; renewed when they differ
};
