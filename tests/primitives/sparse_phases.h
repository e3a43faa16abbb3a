#pragma once

#include <vector>

#include "kestrova/primitives/sparse_solver.h"
#include "tests/primitives/sparse_system.h"

constexpr int kAnalyse = 11, kFactorise = 22, kSolve = 33, kRelease = -1;
constexpr int kDone = 0, kRefused = -1, kNoMemory = -2, kNotPositiveDefinite = -4;

/// The phases of one solver, with arguments that a test may spoil.
struct Phases {
    void* pt[64] = {};
    int iparm[64] = {};
    int maxfct = 1, mnum = 1, mtype = 2, nrhs = 1, perm = 0, msglvl = 0;

    Phases() { iparm[5] = 1, iparm[7] = 5, iparm[27] = 1; }
    ~Phases() { run(kRelease, SparseSystem{}, nullptr, nullptr); }

    int run(int phase, const SparseSystem& s, float* b, float* x) {
        int error = 77;
        PARDISO(pt, &maxfct, &mnum, &mtype, &phase, &s.n, s.a.data(), s.ia.data(), s.ja.data(), &perm, &nrhs, iparm,
                &msglvl, b, x, &error);
        return error;
    }
    int analyse(const SparseSystem& s) {
        float none = 0;
        return run(kAnalyse, s, &none, &none);
    }
    int factorise(const SparseSystem& s) {
        float none = 0;
        return run(kFactorise, s, &none, &none);
    }
    int solve(const SparseSystem& s, std::vector<float>& b) {
        std::vector<float> work(b.size());
        return run(kSolve, s, b.data(), work.data());
    }
};
