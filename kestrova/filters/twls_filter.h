#pragma once

#include <memory>

#include "kestrova/export.h"

/// Edge-preserving smoothing by weighted least squares, after Farbman, Fattal, Lischinski and Szeliski,
/// "Edge-Preserving Decompositions for Multi-Scale Tone and Detail Manipulation" (SIGGRAPH 2008), with a direct solver.
///
/// The output u of the plane b minimises, over all pixels and all pairs of neighbours,
///     sum (u - b)^2 + sum lambda / (|difference of the guide|^alpha + eps) * (difference of u)^2.
///
/// Weights reach lambda / eps where the guide is constant; from some 1e7 on single precision cannot hold the system any
/// more, and it is refused.
///
/// One object serves one `Proc` at a time. Assignment shares the buffers; they go when the last object that shares them
/// does. There is no copy constructor.
class KESTROVA_EXPORT TWLSFilter {
public:
    TWLSFilter();
    TWLSFilter(const TWLSFilter&) = delete;
    /// Shares the buffers.
    TWLSFilter& operator=(const TWLSFilter&);
    ~TWLSFilter();

    /// Smooths `inOut`, w x h floats with contiguous rows, in place. `guide` is a plane of the same size. With
    /// `logGuide` the guide is replaced by the natural logarithm of itself plus 0.0001 first, and stays so.
    /// Always 1; where the solver runs out of memory `inOut` is unchanged. Throws "TWLSFilter::realloc - failed" where
    /// the buffers are not to be had, the texts of `pardisoSolver`, and a text for null planes, w < 1 or h < 1 or a
    /// plane of more than INT_MAX / 3 pixels, before anything is written.
    int Proc(float* inOut, int w, int h, float lambda, float alpha, float* guide, bool logGuide);

    /// Whether the last `Proc` of this object has solved its system.
    bool solved() const;

    /// Provides the buffers for planes of w x h; those of the size at hand are kept. w < 1 or h < 1 changes nothing.
    void realloc(int w, int h);
    /// Lets go of the buffers. The size stays, and so does the value of `m_dy_p`; a later `Proc` provides new ones.
    void freemem();

    /// Columns of the buffers, or of those that there were last.
    int getWidth() const;
    /// Rows of them.
    int getHeight() const;

private:
    /// Owns the six blocks for all objects that share them.
    struct Buffers;

    /// y += value over n floats
    static void addConst(int n, float value, float* y);
    /// band = -lambda / (|to - from|^alpha + m_eps) over n floats; overwrites as many of `m_diag_p`.
    KESTROVA_HIDDEN void weights(int n, const float* to, const float* from, float lambda, float alpha, float* band);
    /// The main diagonal, and the matrix of all three.
    KESTROVA_HIDDEN void setDiagonal();
    KESTROVA_HIDDEN void assemble();

    float m_eps = 0x1.a36e2ep-14f;     ///< 0.0001, added to the gradient term of a weight
    float m_epsLog = 0x1.a36e2ep-14f;  ///< 0.0001, added to the guide before its logarithm
    int m_width = 0;                   ///< w of the buffers
    int m_height = 0;                  ///< h of the buffers
    int m_n = 0;                       ///< N = w * h
    float* m_dy_p = nullptr;           ///< N weights to the pixel below
    float* m_dx_p = nullptr;           ///< N weights to the pixel at the right
    float* m_diag_p = nullptr;         ///< N floats: scratch, then the main diagonal
    float* m_a_p = nullptr;            ///< 3N matrix values in compressed sparse rows
    int* m_ia_p = nullptr;             ///< N + 1 row starts, from 1
    int* m_ja_p = nullptr;             ///< 3N column numbers, from 1
    int m_nnz = 0;                     ///< 3N, the capacity of `m_a_p` and `m_ja_p`
    std::shared_ptr<Buffers> m_buffers;
    bool m_solved = false;
};

/// Solves the symmetric positive-definite system A x = b for `nrhs` right-hand sides, one after another in `b`, and
/// leaves the solutions in `b`; `x` is a work vector of the same size. The upper triangle of A, n by n, stands in
/// compressed sparse rows counted from 1: values `a`, row starts `ia`, columns `ja`; `mtype` is 2.
/// 0 when solved; 1 when there was not enough memory, `b` being unchanged. Throws "pardisoSolverIC - 11" where the
/// matrix is malformed, "pardisoSolverIC - 22" where it is not positive definite to its precision or not finite or `b`
/// is not finite.
KESTROVA_EXPORT int pardisoSolver(int n, float* a, int* ia, int* ja, float* b, float* x, int nrhs, int mtype);
