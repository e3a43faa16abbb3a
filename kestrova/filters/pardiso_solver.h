#pragma once

/// `pardisoSolver` with the answer the other way round: 1 when solved, 0 when there was not enough memory. Internal.
int pardisoSolverIC(int n, float* a, int* ia, int* ja, float* b, float* x, int nrhs, int mtype);
