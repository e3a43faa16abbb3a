#pragma once

#include <opencv2/core.hpp>

#include <memory>

#include "kestrova/export.h"

/// A table of one row that is applied to a plane: out(y, x) = table[in(y, x)].
///
/// The table reads 8- or 16-bit planes (256 or 65536 entries) and writes 8- or 16-bit ones. Its contents are undefined
/// until a `setup` of a derived class, or the caller's own, has filled it. A copy shares the table with its source, and
/// the last object that shares it releases it. Several threads may `apply` one table at once.
class KESTROVA_EXPORT TLut1D {
public:
    /// Types are `CV_8UC1` (0) or `CV_16UC1` (2); any other pair throws "ERROR - TLut1D::TLut1D - type". Without memory
    /// it throws "ERROR - TLut1D::TLut1D - not enough memory".
    explicit TLut1D(int inType = 0, int outType = 0);
    /// Shares the table of `other`.
    TLut1D(const TLut1D& other);
    /// Shares the table of `other` and takes its types over.
    TLut1D& operator=(const TLut1D& other);
    /// Releases the table, unless others share it.
    ~TLut1D();

    /// Looks `in` up into `out`, which is created with the size of `in` and the type that the table writes. `out` is a
    /// header by value: a host that wants the result passes a plane which already has that form. In place is fine.
    ///
    /// Only the table's own types count, never those of the planes: of a plane of another type, the first `in.cols`
    /// elements of each row are read as if they were of the table's type. Throws "ERROR - TLut1D::apply -
    /// in.elemSize()<elemSize of m_inType" if the pixels of `in` are too small for that, and "ERROR - TLut1D::apply -
    /// not enough memory" where planes overlap and there is none for a copy; nothing is written then. A plane without
    /// pixels is ignored. A table from 16 to 8 bits looks at the low byte of the source alone.
    void apply(const cv::Mat& in, cv::Mat out);
    /// The same in place.
    void apply(cv::Mat inOut);

protected:
    /// The entries of a table that writes 8 bits; valid as long as an object shares the table.
    uchar* lut8U();
    /// The entries of a table that writes 16 bits, likewise.
    ushort* lut16U();
    /// A hook that does nothing.
    void curve(int* const x, int* const y, int n, int size);

    int m_inType;   ///< type of the plane that the table reads
    int m_outType;  ///< type of the plane that it writes
    void* m_lut_p;  ///< the table

private:
    std::shared_ptr<void> m_owner;  ///< keeps the table for all objects that share it
};

/// A curve for signed 8-bit detail planes, zero at 128: a straight line through the middle with a slope of choice and,
/// at the middle, a step that lifts small detail or a dead zone that removes it.
class KESTROVA_EXPORT TLut8U : public TLut1D {
public:
    /// The four values as in `setKRange`; the table is undefined.
    explicit TLut8U(float kMin = 0.0f, float kMax = 6.0f, int threshold = 32, float blurScale = 0.35f);

    /// `kMin` and `kMax` are the slopes at K = -1 and K = +1, `threshold` the half width of the centre at T = 1 in
    /// table levels, `blurScale` the sigma of the smoothing per level of half width. The table stays as it is until the
    /// next `setup`.
    void setKRange(float kMin, float kMax, int threshold, float blurScale);

    /// Builds the table from a slope `k` and a threshold `t`, each -1..1, on top of a base of the same ranges. With
    ///
    ///     K = (k >= 0 ? 1 - baseK : 1 + baseK) k + baseK      T = (t >= 0 ? 1 - baseT : 1 + baseT) t + baseT
    ///
    /// the slope is 1 at K = 0, `kMax` at 1 and `kMin` at -1, and the half width `threshold` T levels, over the slope
    /// where that is above 1. A positive one makes a step: small detail gets the value at the edge of the centre. A
    /// negative one makes a dead zone: small detail becomes zero. Half widths are limited to 127 levels, which reach
    /// the ends of the table. The table is smoothed in the end, by `blurScale`: with 0.35 a step multiplies the
    /// smallest detail by some 2.9 slopes rather than lifting it whole. NaN is half width 0, or a line at 0.
    void setupLinearThreshold(float k, float t, float baseK, float baseT);

protected:
    float m_kMin;       ///< slope at K = -1
    float m_kMax;       ///< slope at K = +1
    int m_threshold;    ///< half width of the centre at T = 1, in table levels
    float m_blurScale;  ///< sigma of the smoothing per level of half width
};

/// The same for 16-bit detail planes, zero at 32768. The formulas differ on purpose: slopes and thresholds range over
/// -1.5..1.5, and dead zones are damped by 0.4.
class KESTROVA_EXPORT TLut16U : public TLut1D {
public:
    /// The four values as in `setKRange`; the table is undefined.
    explicit TLut16U(float kMin = 0.0f, float kMax = 6.0f, int threshold = 8191, float blurScale = 0.35f);

    /// As `TLut8U::setKRange`.
    void setKRange(float kMin, float kMax, int threshold, float blurScale);

    /// As `TLut8U::setupLinearThreshold`, with `k` and `t` in -1.5..1.5, half widths up to 32767 and, a negative
    /// `baseT` being taken times 0.4,
    ///
    ///     K = (k >= 0 ? 1.5 - baseK : 1.5 + baseK) 2/3 k + baseK
    ///     T = t >= 0 ? (1.5 - baseT) 2/3 t + baseT : (1.5 + baseT) 2/3 0.4 t + baseT
    ///
    /// Beyond K = -1 and 1 the slope goes on in a line: with `kMin` 0 it is below 0 there, and detail changes its sign.
    /// Without memory it throws the allocator's exception (`std::bad_alloc`), and the table stays.
    void setupLinearThreshold(float k, float t, float baseK, float baseT);

    /// Builds the table of a light adjustment instead: a straight line, raised by 0.2 `brightness` of full scale and
    /// turned about the middle by `contrast` (its slope as in `setKRange`, with `contrast` as K), through a tone curve
    /// that `shadows` moves at a quarter of the scale and `highlights` at three quarters, upwards above 0 and by 0.175
    /// of full scale at 1. All range over -1..1, and 0 changes nothing. The curve is a spline through five points,
    /// sampled at 64 and read linearly. Throws "ERROR - TLut16U::setupLightAdjust - not enough memory", and the table
    /// stays.
    void setupLightAdjust(float brightness, float contrast, float shadows, float highlights);

protected:
    float m_kMin;            ///< slope at K = -1
    float m_kMax;            ///< slope at K = +1
    int m_threshold;         ///< half width of the centre at T = 1, in table levels
    float m_blurScale;       ///< sigma of the smoothing per level of half width
    float m_curve[64] = {};  ///< the tone curve of the last `setupLightAdjust` at i / 63, values 0..1; 0 before
};
