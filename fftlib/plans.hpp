// FFTW's two precisions behind one template. Internal to the transform library.
#pragma once

#include <complex>
#include <cstdint>

#include <fftw3.h>

namespace vfl_fft {

void countPlanMade();

// The widest SIMD alignment. FFTW's planner picks codelets by an array's alignment up to this
// (its own alignment_of reports 16 bytes only), so plans are keyed and made by the address
// modulo this: a plan made on one array never runs another whose residue differs.
constexpr uintptr_t kAlignmentSpan = 64;
inline int alignmentOf(const void* p) { return int(reinterpret_cast<uintptr_t>(p) % kAlignmentSpan); }

// FFTW's planner, plan destruction and wisdom are one process-wide state that only one thread may
// touch at a time (FFTW's own planner lock leaves wisdom out): every such call holds this lock.
void lockFftw();
void unlockFftw();

// While one is alive on a thread, the pieces of the plans that thread runs run one after another
// there (a context of one thread), not as tasks on the host's threads.
struct SerialPieces {
    explicit SerialPieces(bool serial);
    ~SerialPieces();
    SerialPieces(const SerialPieces&) = delete;
    SerialPieces& operator=(const SerialPieces&) = delete;
    bool before;
};

struct FftwLock {
    FftwLock() { lockFftw(); }
    ~FftwLock() { unlockFftw(); }
    FftwLock(const FftwLock&) = delete;
    FftwLock& operator=(const FftwLock&) = delete;
};

template <class T>
struct Fftw;

template <>
struct Fftw<double> {
    using plan = fftw_plan;
    using complex = fftw_complex;
    static plan dft(int rank, const fftw_iodim64* dims, int howRank, const fftw_iodim64* how, complex* in,
                    complex* out, int sign, unsigned flags) {
        return fftw_plan_guru64_dft(rank, dims, howRank, how, in, out, sign, flags);
    }
    static plan r2c(int rank, const fftw_iodim64* dims, int howRank, const fftw_iodim64* how, double* in,
                    complex* out, unsigned flags) {
        return fftw_plan_guru64_dft_r2c(rank, dims, howRank, how, in, out, flags);
    }
    static plan c2r(int rank, const fftw_iodim64* dims, int howRank, const fftw_iodim64* how, complex* in,
                    double* out, unsigned flags) {
        return fftw_plan_guru64_dft_c2r(rank, dims, howRank, how, in, out, flags);
    }
    static plan r2r(int rank, const fftw_iodim64* dims, int howRank, const fftw_iodim64* how, double* in, double* out,
                    const fftw_r2r_kind* kinds, unsigned flags) {
        return fftw_plan_guru64_r2r(rank, dims, howRank, how, in, out, kinds, flags);
    }
    static void execDft(plan p, complex* in, complex* out) { fftw_execute_dft(p, in, out); }
    static void execR2r(plan p, double* in, double* out) { fftw_execute_r2r(p, in, out); }
    static void execR2c(plan p, double* in, complex* out) { fftw_execute_dft_r2c(p, in, out); }
    static void execC2r(plan p, complex* in, double* out) { fftw_execute_dft_c2r(p, in, out); }
    static void destroy(plan p) {
        FftwLock lock;
        fftw_destroy_plan(p);
    }
    static void threads(int n) { fftw_plan_with_nthreads(n); }
    static int alignment(double* p) { return alignmentOf(p); }
};

template <>
struct Fftw<float> {
    using plan = fftwf_plan;
    using complex = fftwf_complex;
    static plan dft(int rank, const fftw_iodim64* dims, int howRank, const fftw_iodim64* how, complex* in,
                    complex* out, int sign, unsigned flags) {
        return fftwf_plan_guru64_dft(rank, dims, howRank, how, in, out, sign, flags);
    }
    static plan r2c(int rank, const fftw_iodim64* dims, int howRank, const fftw_iodim64* how, float* in,
                    complex* out, unsigned flags) {
        return fftwf_plan_guru64_dft_r2c(rank, dims, howRank, how, in, out, flags);
    }
    static plan c2r(int rank, const fftw_iodim64* dims, int howRank, const fftw_iodim64* how, complex* in,
                    float* out, unsigned flags) {
        return fftwf_plan_guru64_dft_c2r(rank, dims, howRank, how, in, out, flags);
    }
    static plan r2r(int rank, const fftw_iodim64* dims, int howRank, const fftw_iodim64* how, float* in, float* out,
                    const fftw_r2r_kind* kinds, unsigned flags) {
        return fftwf_plan_guru64_r2r(rank, dims, howRank, how, in, out, kinds, flags);
    }
    static void execDft(plan p, complex* in, complex* out) { fftwf_execute_dft(p, in, out); }
    static void execR2r(plan p, float* in, float* out) { fftwf_execute_r2r(p, in, out); }
    static void execR2c(plan p, float* in, complex* out) { fftwf_execute_dft_r2c(p, in, out); }
    static void execC2r(plan p, complex* in, float* out) { fftwf_execute_dft_c2r(p, in, out); }
    static void destroy(plan p) {
        FftwLock lock;
        fftwf_destroy_plan(p);
    }
    static void threads(int n) { fftwf_plan_with_nthreads(n); }
    static int alignment(float* p) { return alignmentOf(p); }
};

}  // namespace vfl_fft
