#pragma once

#include <array>
#include <memory>

#include "kestrova/export.h"

/// A not-a-knot cubic spline through a short list of control points, in single precision: the shape behind every tone
/// curve. Segment i runs from x[i] to x[i+1] and is ((d[i] u + c[i]) u + b[i]) u + y[i] with u = t - x[i].
///
/// Construct, `setCtrPoint` for each point, `update` once, `value` as often as wanted, from any number of threads.
/// The abscissae must ascend strictly: a repeated one divides by zero, and infinities and NaNs result.
///
/// Memory that runs out is the allocator's own exception (`std::bad_alloc`); the spline is then as it was.
class KESTROVA_EXPORT TSpline {
public:
    /// `n` control points on the line from (0, 0) to (1, 1); coefficients undefined until `update`. A negative n throws
    /// the allocator's exception.
    explicit TSpline(int n);
    /// A copy shares all five arrays with its source: a point moved, or an update, in one shows in the other. The last
    /// spline that shares them releases them.
    TSpline(const TSpline& other);
    /// Shares the arrays of `other`, likewise.
    TSpline& operator=(const TSpline& other);
    /// Releases the arrays, unless others share them.
    ~TSpline();

    /// Moves control point `i`, 0 <= i < n. The coefficients stay as they are until `update`; the knots that `value`
    /// searches are the new ones at once. Throws "ERROR - TSpline::setCtrPoint - i<0 || i>=m_n".
    void setCtrPoint(int i, float x, float y);
    /// The abscissa of control point `i`. Throws "ERROR - TSpline::ctrPx - i<0 || i>=m_n".
    float ctrPx(int i) const;
    /// The ordinate of control point `i`. Throws "ERROR - TSpline::ctrPy - i<0 || i>=m_n".
    float ctrPy(int i) const;

    /// Computes the coefficients. Below four points it is the polynomial through them.
    void update();

    /// The spline at `t`; beyond either end the end segment goes on, unclamped. A knot belongs to the segment that
    /// starts there. 0 without control points.
    float value(float t) const;

private:
    /// Coefficients b, c, d of the not-a-knot spline through four points or more. `b[n-1]` and `d[n-1]` stay.
    static void cubic_nak(int n, float* x, float* y, float* b, float* c, float* d);
    /// The same of the spline with the slopes `fpa` at the first point and `fpb` at the last.
    static void cubic_clamped(int n, float* x, float* y, float* b, float* c, float* d, float fpa, float fpb);
    /// Solves a tridiagonal system by Crout's factorisation, without pivoting. `rhs` receives the solution, `diag` and
    /// `sup` are overwritten.
    static void tridiagonal(int n, float* sub, float* diag, float* sup, float* rhs);
    /// As `value`, on explicit arrays.
    static float spline_eval(int n, float* x, float* y, float* b, float* c, float* d, float t);
    /// Newton's divided differences, in a new array that the caller releases with `delete[]`.
    static float* divdiff(int n, float* x, float* y);
    /// Newton's form with the divided differences `c`, at `t`.
    static float nf_eval(int n, float* x, float* c, float t);
    /// The polynomial through the points, at `t`, by Neville's scheme.
    static float neville(int n, float* x, float* y, float t);

    int m_n;                                          ///< number of control points
    float* m_x_p;                                     ///< abscissae, which are the knots too
    float* m_y_p;                                     ///< ordinates, the constant coefficients
    float* m_b_p;                                     ///< linear coefficients
    float* m_c_p;                                     ///< quadratic coefficients
    float* m_d_p;                                     ///< cubic coefficients
    std::array<std::shared_ptr<float[]>, 5> m_owner;  ///< keeps the arrays for all splines that share them
};
