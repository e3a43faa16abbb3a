#pragma once

#include "kestrova/solver/sparse_memory.h"

/// `pardisoSolver` with the answer the other way round: 1 when solved, 0 when there was not enough memory. Internal.
int pardisoSolverIC(int n, float* a, int* ia, int* ja, float* b, float* x, int nrhs, int mtype);

/// The same in memory that is kept: most of what the solver takes stands in `memory` afterwards, for the next call.
int pardisoSolverInKeptMemory(int n, float* a, int* ia, int* ja, float* b, float* x, int nrhs, int mtype,
                              kestrova::solver::SolverMemory& memory);
