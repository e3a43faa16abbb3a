#include "kestrova/curves/tspline.h"

#include <vector>

#include "kestrova/frame/failure.h"

using namespace kestrova::frame;

namespace {

using Floats = std::vector<float>;

// The right-hand side of equation i; only here is anything computed in double.
float curvature(const float* y, const Floats& h, int i) {
    return static_cast<float>(double(y[i + 2] - y[i + 1]) * (3.0 / double(h[i + 1])) -
                              double(y[i + 1] - y[i]) * (3.0 / double(h[i])));
}

Floats spans(int n, const float* x) {
    Floats h(n);
    for (int i = 0; i < n - 1; ++i) h[i] = x[i + 1] - x[i];
    return h;
}

void completeSegments(int n, const float* y, const Floats& h, float* b, const float* c, float* d) {
    constexpr float kThird = 0x1.555556p-2f;
    for (int i = 0; i < n - 1; ++i) {
        d[i] = (c[i + 1] - c[i]) / (3.0f * h[i]);
        b[i] = (y[i + 1] - y[i]) / h[i] - (2.0f * c[i] + c[i + 1]) * h[i] * kThird;
    }
}

// Up to three points leave no knot to be "not a knot": the one polynomial y0 + p (t - x0) + q (t - x0) (t - x1).
void throughFewPoints(int n, const float* x, const float* y, float* b, float* c, float* d) {
    const float p = n > 1 ? (y[1] - y[0]) / (x[1] - x[0]) : 0.0f;
    const float q = n > 2 ? ((y[2] - y[1]) / (x[2] - x[1]) - p) / (x[2] - x[0]) : 0.0f;
    for (int i = 0; i < n; ++i) {
        b[i] = n > 2 ? p + q * ((x[i] - x[0]) + (x[i] - x[1])) : p;
        c[i] = q;
        d[i] = 0.0f;
    }
}

}  // namespace

TSpline::TSpline(int n) : m_n(n) {
    for (auto& array : m_owner) array.reset(new float[n]);
    float** const members[] = {&m_x_p, &m_y_p, &m_b_p, &m_c_p, &m_d_p};
    for (int i = 0; i < 5; ++i) *members[i] = m_owner[i].get();
    const float last = static_cast<float>(double(n) - 1.0);
    for (int i = 0; i < n; ++i) m_x_p[i] = m_y_p[i] = static_cast<float>(i) / last;
}

TSpline::TSpline(const TSpline& other) = default;
TSpline& TSpline::operator=(const TSpline& other) = default;
TSpline::~TSpline() = default;

void TSpline::setCtrPoint(int i, float x, float y) {
    if (i < 0 || i >= m_n) fail("ERROR - TSpline::setCtrPoint - i<0 || i>=m_n");
    m_x_p[i] = x;
    m_y_p[i] = y;
}

float TSpline::ctrPx(int i) const {
    if (i < 0 || i >= m_n) fail("ERROR - TSpline::ctrPx - i<0 || i>=m_n");
    return m_x_p[i];
}

float TSpline::ctrPy(int i) const {
    if (i < 0 || i >= m_n) fail("ERROR - TSpline::ctrPy - i<0 || i>=m_n");
    return m_y_p[i];
}

void TSpline::update() {
    if (m_n < 4)
        throughFewPoints(m_n, m_x_p, m_y_p, m_b_p, m_c_p, m_d_p);
    else
        cubic_nak(m_n, m_x_p, m_y_p, m_b_p, m_c_p, m_d_p);
}

float TSpline::value(float t) const { return m_n < 1 ? 0.0f : spline_eval(m_n, m_x_p, m_y_p, m_b_p, m_c_p, m_d_p, t); }

// The unknowns are the quadratic coefficients. That the third derivative is continuous at x[1] and x[n-2] eliminates
// the two end ones, which leaves n - 2 equations.
void TSpline::cubic_nak(int n, float* x, float* y, float* b, float* c, float* d) {
    const Floats h = spans(n, x);
    Floats sub(n), diag(n), sup(n);
    for (int i = 0; i < n - 3; ++i) sub[i] = sup[i] = h[i + 1];
    for (int i = 0; i < n - 2; ++i) {
        diag[i] = 2.0f * (h[i] + h[i + 1]);
        c[i] = curvature(y, h, i);
    }
    diag[0] = h[0] * h[0] / h[1] + h[0] + diag[0];
    diag[n - 3] += h[n - 2] * h[n - 2] / h[n - 3] + h[n - 2];
    sup[0] -= h[0] * h[0] / h[1];
    sub[n - 4] -= h[n - 2] * h[n - 2] / h[n - 3];
    tridiagonal(n - 2, sub.data(), diag.data(), sup.data(), c);

    for (int i = n - 3; i >= 0; --i) c[i + 1] = c[i];
    const float first = h[0] / h[1], last = h[n - 2] / h[n - 3];
    c[0] = (first + 1.0f) * c[1] - first * c[2];
    c[n - 1] = (last + 1.0f) * c[n - 2] - last * c[n - 3];
    completeSegments(n, y, h, b, c, d);
}

void TSpline::cubic_clamped(int n, float* x, float* y, float* b, float* c, float* d, float fpa, float fpb) {
    const Floats h = spans(n, x);
    Floats sub(h), diag(n), sup(h);
    diag[0] = 2.0f * h[0];
    diag[n - 1] = 2.0f * h[n - 2];
    c[0] = static_cast<float>(double(y[1] - y[0]) * (3.0 / double(h[0])) - double(fpa * 3.0f));
    c[n - 1] = static_cast<float>(double(fpb * 3.0f) - double(y[n - 1] - y[n - 2]) * (3.0 / double(h[n - 2])));
    for (int i = 0; i < n - 2; ++i) {
        diag[i + 1] = 2.0f * (h[i] + h[i + 1]);
        c[i + 1] = curvature(y, h, i);
    }
    tridiagonal(n, sub.data(), diag.data(), sup.data(), c);
    completeSegments(n, y, h, b, c, d);
}

void TSpline::tridiagonal(int n, float* sub, float* diag, float* sup, float* rhs) {
    for (int i = 0; i < n - 1; ++i) {
        sup[i] = sup[i] / diag[i];
        diag[i + 1] -= sub[i] * sup[i];
    }
    rhs[0] = rhs[0] / diag[0];
    for (int i = 1; i < n; ++i) rhs[i] = (rhs[i] - sub[i - 1] * rhs[i - 1]) / diag[i];
    for (int i = n - 2; i >= 0; --i) rhs[i] -= sup[i] * rhs[i + 1];
}

float TSpline::spline_eval(int n, float* x, float* y, float* b, float* c, float* d, float t) {
    int i = 1;
    while (i < n - 1 && t >= x[i]) ++i;
    const int s = i - 1;
    const float u = t - x[s];
    return ((u * d[s] + c[s]) * u + b[s]) * u + y[s];
}

float* TSpline::divdiff(int n, float* x, float* y) {
    float* q = new float[n];
    for (int i = 0; i < n; ++i) q[i] = y[i];
    for (int j = 1; j < n; ++j)
        for (int i = n - 1; i >= j; --i) q[i] = (q[i] - q[i - 1]) / (x[i] - x[i - j]);
    return q;
}

float TSpline::nf_eval(int n, float* x, float* c, float t) {
    float r = c[n - 1];
    for (int i = n - 2; i >= 0; --i) r = (t - x[i]) * r + c[i];
    return r;
}

float TSpline::neville(int n, float* x, float* y, float t) {
    Floats q(y, y + n);
    for (int j = 1; j < n; ++j)
        for (int i = n - 1; i >= j; --i) q[i] = ((t - x[i - j]) * q[i] - (t - x[i]) * q[i - 1]) / (x[i] - x[i - j]);
    return q[n - 1];
}
