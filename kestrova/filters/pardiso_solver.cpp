#include "kestrova/filters/pardiso_solver.h"

#include "kestrova/filters/twls_filter.h"
#include "kestrova/frame/failure.h"
#include "kestrova/frame/plane_checks.h"
#include "kestrova/primitives/sparse_solver.h"
#include "kestrova/primitives/vector_math.h"

using namespace kestrova::frame;

namespace {

constexpr int kAnalyse = 11;
constexpr int kFactorise = 22;
constexpr int kSolve = 33;
constexpr int kRelease = -1;

constexpr int kNotEnoughMemory = -2;

}  // namespace

int pardisoSolver(int n, float* a, int* ia, int* ja, float* b, float* x, int nrhs, int mtype) {
    if (!aligned(a) || !aligned(ia) || !aligned(ja) || !aligned(b) || !aligned(x))
        fail("ERROR - pardisoSolver - a%4 || ia%4 || ja%4 || b%4 || x%4");
    return !pardisoSolverIC(n, a, ia, ja, b, x, nrhs, mtype);
}

int pardisoSolverIC(int n, float* a, int* ia, int* ja, float* b, float* x, int nrhs, int mtype) {
    kestrova::solver::SolverMemory memory;
    return pardisoSolverInKeptMemory(n, a, ia, ja, b, x, nrhs, mtype, memory);
}

int pardisoSolverInKeptMemory(int n, float* a, int* ia, int* ja, float* b, float* x, int nrhs, int mtype,
                              kestrova::solver::SolverMemory& memory) {
    mkl_get_max_threads();  // asked before each solve, not heeded: the count in iparm stays fixed

    void* pt[64] = {nullptr, &memory};
    int iparm[64] = {};
    iparm[0] = 1;   // all given, no defaults
    iparm[2] = 4;   // processors
    iparm[5] = 1;   // the solution overwrites b
    iparm[6] = 16;  // an output
    iparm[7] = 1;   // refinement steps
    iparm[9] = 13;  // pivot perturbation 1e-13
    iparm[27] = 1;  // single precision

    const int maxfct = 1, mnum = 1, msglvl = 0, noPerm = 0;
    float none = 0;
    const auto run = [&](int phase, float* values, float* rhs, float* solution) {
        int error = 0;
        PARDISO(pt, &maxfct, &mnum, &mtype, &phase, &n, values, ia, ja, &noPerm, &nrhs, iparm, &msglvl, rhs, solution,
                &error);
        return error;
    };
    const auto release = [&] { run(kRelease, &none, &none, &none); };

    int error = run(kAnalyse, a, &none, &none);
    if (error != 0) {
        release();
        if (error == kNotEnoughMemory) return 0;
        fail("pardisoSolverIC - 11");
    }
    error = run(kFactorise, a, &none, &none);
    if (error == 0) {
        iparm[7] = 5;
        error = run(kSolve, a, b, x);
    }
    release();
    if (error == 0) return 1;
    if (error == kNotEnoughMemory) return 0;
    fail("pardisoSolverIC - 22");  // a failed solution has no text of its own
}
