#pragma once

#include <opencv2/core.hpp>

#include "kestrova/export.h"

/// The colour side of the detail engine. One pass over the chroma planes makes chroma follow a change of luminance and
/// looks the colour up in a table over (Y, Dr, Db), 33 nodes an axis, that applies temperature, tint, saturation and
/// vibrance. The table is the identity until the host sets parameters and then `m_bChanged`.
///
/// One object serves one thread at a time.
class KESTROVA_EXPORT TColorAdjVL {
public:
    /// `warmScale` and `coolScale`, `tintPosScale` and `tintNegScale` scale the two sides of temperature and tint,
    /// `maxSatGain` is the gain of chroma at saturation 1, `vibScale` scales vibrance.
    TColorAdjVL(float warmScale = 0.25f, float coolScale = 0.6f, float tintPosScale = 0.2f, float tintNegScale = 0.9f,
                float maxSatGain = 4.0f, float vibScale = 0.9f);
    /// Copies parameters and tables; the saturation rows too, so that the two objects share nothing.
    TColorAdjVL(const TColorAdjVL& other);
    TColorAdjVL& operator=(const TColorAdjVL& other);
    ~TColorAdjVL();

    /// Writes the adjusted chroma of a picture whose luminance went from `y0` to `y1`; always true. All planes are
    /// CV_16UC1 of one size, zero chroma is 32768. `drOut` and `dbOut` are created unless they fit; each may be the
    /// plane it is made from. Rebuilds the table first if `m_bChanged`; writes the time that this took to standard
    /// output, also when nothing was to be done. Throws, before anything is written, if the planes are empty, of
    /// another type or of different sizes, or if both outputs are one plane.
    bool proc(const cv::Mat& y0, const cv::Mat& y1, const cv::Mat& drIn, const cv::Mat& dbIn, cv::Mat& drOut,
              cv::Mat& dbOut);

    /// The host's parameters, about -1 to 1, 0 for no change. They have no effect until the flag is set.
    float m_temperature;
    float m_tint;
    float m_saturation;
    float m_vibrance;
    /// To be set after a change of the parameters; the next `proc` rebuilds the table and clears it.
    bool m_bChanged;

protected:
    /// Rebuilds saturation rows and tables if `m_bChanged`, and writes the time line.
    void computeLUT16U();
    /// The index of node (i, j, k) of the axes (Y, Dr, Db), each 0..32.
    int get3DLUTIdx(int i, int j, int k);
    /// Linear, bilinear and trilinear interpolation: `fx` leads from `a` to `b`, `fy` from the first pair to the
    /// second, `fz` from the first four to the second four.
    void mix(float& out, float a, float b, float f);
    void mix(float& out, float a, float b, float c, float d, float fy, float fx);
    void mix(float& out, float a, float b, float c, float d, float e, float f, float g, float h, float fz, float fy,
             float fx);

    uchar (*m_satLUT_p)[256];  ///< chroma magnitude out for magnitude in, one row for each of the 33 nodes of Y
    int m_shift;               ///< bits of a 16-bit value below a grid step
    float m_gridStep;          ///< 16-bit value of a grid step: node n stands at trunc(n * m_gridStep)
    float m_vibSlope;          ///< growth of the vibrance threshold per node of Y
    float m_warmScale;         ///< as given to the constructor, and the five below
    float m_coolScale;         ///< scale of temperatures below 0
    float m_tintPosScale;      ///< scale of tints above 0
    float m_tintNegScale;      ///< scale of tints below 0
    float m_maxSatGain;        ///< gain of chroma at saturation 1
    float m_vibScale;          ///< scale of vibrance
    ushort m_lutDr[35937];     ///< Dr at each node
    ushort m_lutDb[35937];     ///< Db at each node
};
