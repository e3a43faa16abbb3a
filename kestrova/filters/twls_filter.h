#pragma once

#include <memory>

#include "kestrova/export.h"

/// Edge-preserving smoothing by weighted least squares, after Farbman, Fattal, Lischinski and Szeliski,
/// "Edge-Preserving Decompositions for Multi-Scale Tone and Detail Manipulation" (SIGGRAPH 2008), with a direct solver.
///
/// The output u of the plane b minimises, over all pixels and all pairs of neighbours,
///     sum (u - b)^2 + sum lambda / (|difference of the guide|^alpha + eps) * (difference of u)^2, eps = 0.0001.
///
/// `lambda`, 0 or more, is how strongly the plane is smoothed: 0.1 to 10 as a rule; 0 leaves it as it is. `alpha`, 0 or
/// more, is how sharply the smoothing stops at edges of the guide: 1.2 to 2 as a rule; 0 smooths evenly.
///
/// Where the guide is constant weights reach lambda / eps, and single precision has to hold the 1 of a pixel beside
/// four of them. An even area keeps its level but for some 5e-8 lambda / eps of it: 0.05 % at lambda 1, 0.5 % at 10, 5
/// % at 100. From lambda / eps of 1e6 on, lambda 100, results mean nothing: such areas may come out several times too
/// bright without a failure, or the system is refused ("pardisoSolverIC - 22").
///
/// One object serves one `Proc` at a time. Assignment shares the buffers, 40 bytes a pixel, and most of what the solver
/// takes, some 190 bytes a pixel in a plane of a megapixel and more in larger ones: kept, it makes the next `Proc` of
/// the same size a fifth faster. All of it is freed by `freemem`, by a `Proc` of another size, or with the last object
/// that shares it. There is no copy constructor.
class KESTROVA_EXPORT TWLSFilter {
public:
    /// Has no buffers yet.
    TWLSFilter();
    /// Not copied.
    TWLSFilter(const TWLSFilter&) = delete;
    /// Shares the buffers.
    TWLSFilter& operator=(const TWLSFilter&);
    /// Frees the buffers, unless another object shares them.
    ~TWLSFilter();

    /// Smooths a plane in place. Always 1: `solved` answers whether it has been smoothed.
    /// @param inOut w x h floats with contiguous rows, on any scale
    /// @param lambda, alpha see above
    /// @param guide a plane of the same size, w x h floats
    /// @param logGuide the guide is replaced by the natural logarithm of itself plus 0.0001 first, for which it is to
    /// be 0 or more, and stays so, also where `Proc` fails afterwards
    ///
    /// Where the solver runs out of memory `inOut` is unchanged, nothing is thrown, and `solved` answers false. Throws
    /// "TWLSFilter::realloc - failed" where there is no memory for the buffers, and a text for null planes, w < 1, h <
    /// 1 or a plane of more than INT_MAX / 3 pixels, before anything is written; and the texts of `pardisoSolver`
    /// (values that are not finite, weights beyond single precision), `inOut` being unchanged.
    int Proc(float* inOut, int w, int h, float lambda, float alpha, float* guide, bool logGuide);

    /// Whether the last `Proc` of this object has smoothed its plane: false before the first one, after one that has
    /// thrown, and where the solver ran out of memory.
    bool solved() const;

    /// Provides the buffers for planes of w x h; those of the size at hand are kept. w < 1 or h < 1 changes nothing.
    /// Throws as `Proc`.
    void realloc(int w, int h);
    /// Releases the buffers and the solver's memory. The size stays, and so does the value of `m_dy_p`; a later `Proc`
    /// provides new ones.
    void freemem();

    /// Columns of the buffers, or of those that there were last; 0 before.
    int getWidth() const;
    /// Rows of the buffers, or of those that there were last; 0 before.
    int getHeight() const;

private:
    /// Owns the six blocks and the solver's memory for all objects that share them.
    struct Buffers;

    /// y += value over n floats.
    static void addConst(int n, float value, float* y);
    /// band = -lambda / (|to - from|^alpha + m_eps) over n floats; overwrites as many of `scratch`.
    KESTROVA_HIDDEN void weights(int n, const float* to, const float* from, float lambda, float alpha, float* scratch,
                                 float* band);
    /// Both bands of row y, from the guide; the row of `m_diag_p` is scratch.
    KESTROVA_HIDDEN void setWeights(int y, const float* guide, float lambda, float alpha);
    /// Makes the main diagonal of row y in `m_diag_p`.
    KESTROVA_HIDDEN void setDiagonal(int y);
    /// Makes row y of the matrix, of the two bands and the diagonal, which it sets.
    KESTROVA_HIDDEN void assemble(int y);

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

/// Solves the symmetric positive-definite system A x = b in single precision, with up to five steps of refinement.
/// @param n the order of A
/// @param a its upper triangle in compressed sparse rows, counted from 1: the values
/// @param ia n + 1 row starts
/// @param ja columns, the diagonal among them, in any order in a row
/// @param b `nrhs` right-hand sides of n values, one after another; the solutions replace them
/// @param x work vector of the same size
/// @param nrhs 1 or more
/// @param mtype 2, real symmetric positive definite
///
/// Returns 0 when solved; 1 when there was not enough memory, `b` being unchanged. Throws "pardisoSolverIC - 11" where
/// the matrix is malformed, "pardisoSolverIC - 22" where it is not positive definite to its precision or not finite or
/// `b` is not finite; `b` is unchanged.
KESTROVA_EXPORT int pardisoSolver(int n, float* a, int* ia, int* ja, float* b, float* x, int nrhs, int mtype);
