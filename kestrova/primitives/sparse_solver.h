#pragma once

/// A direct solver for sparse symmetric positive-definite systems A x = b in single precision. Internal.
///
/// The matrix is given as its upper triangle in compressed sparse rows, counted from 1: row i holds the entries
/// ia[i] .. ia[i+1] - 1 of the values `a` and the columns `ja`, its diagonal among them. Columns may stand in any
/// order; those named twice are added, explicit zeros are accepted.
///
/// One `phase` a call, in the order 11 (analysis of the pattern), 22 (factorisation), 33 (solution), -1 (release).
/// `pt` holds 64 pointers, all null before phase 11; it keeps the solver's state between the phases. pt[1] alone may
/// point to a `kestrova::solver::SolverMemory`: phase 11 takes over what that holds, and phase -1 puts the solver's
/// memory there rather than free it, so that the next solver need not touch fresh memory. `*error` gives the outcome;
/// without an `error` nothing is done:
///
///      0  done
///     -1  the arguments are refused and the state stays as it is: a null pointer (`perm` and `msglvl` may be null, and
///         in phase -1 all but `pt` and `phase`), n or nrhs < 1, a matrix type other than 2, a malformed pattern, a
///         phase out of order
///     -2  there is not enough memory
///     -4  the factorisation met a value that is not finite or a pivot that is not positive, or the solution is not
///         finite or its refinement gains nothing: the matrix is singular to its precision
///
/// Phase 33 solves for `nrhs` right-hand sides, one after another in `b`, and refines each by at most iparm[7] steps
/// with residuals in double; iparm[6] receives how many the last took. The solutions go to `b` if iparm[5] is 1, else
/// to `x`; nothing is written unless all are found. iparm[27] must be 1, single precision; maxfct and mnum must be 1.
/// `perm` and `msglvl` and the rest of `iparm` are not looked at. Any number of threads gives the same bits.
void PARDISO(void** pt, const int* maxfct, const int* mnum, const int* mtype, const int* phase, const int* n,
             const float* a, const int* ia, const int* ja, const int* perm, const int* nrhs, int* iparm,
             const int* msglvl, float* b, float* x, int* error);
