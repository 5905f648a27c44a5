// Complex-to-real transforms of conjugate-symmetric sequences, from their first halves.
#include "fftlib/driver.hpp"

namespace vfl_fft {

template <class T>
struct Driver<T, kComplexToReal> {
    static void run(const Job<T>& job, fftwPlanCacheInterface<T, kComplexToReal>* cache, const std::complex<T>* in,
                    T* out, uint64_t inLen) {
        using F = Fftw<T>;
        using FC = typename F::complex;
        const uint64_t n = job.n, stride = job.stride, outer = job.outer, half = n / 2 + 1;
        // FFTW's complex-to-real pass destroys its input: it reads a staged copy of the first half.
        Buffer<std::complex<T>> staged(size_t(stride * half * outer));
        restage(in, inLen, staged.data, half, stride, outer);
        fftw_iodim64 d, how[2];
        job.dims(d, how, stride * half, stride * n);
        const PlanOwner<T> plan = planFor<T>(
            cache, job, staged.data, out, size_t(stride * half * outer) * sizeof(std::complex<T>),
            size_t(stride * n * outer) * sizeof(T), [&](unsigned flags, std::complex<T>* i, T* o) {
                return F::c2r(1, &d, 2, how, reinterpret_cast<FC*>(i), o, flags);
            });
        F::execC2r(plan.plan, reinterpret_cast<FC*>(staged.data), out);
    }
};

VL_FFT_INSTANCES(kComplexToReal)

}  // namespace vfl_fft
