// A transform pass through the transform library, by element type and kind.
#include <complex>

#include "fourier/fft_common.hpp"

namespace vfl_fft {

namespace {

template <class T, int kind>
void pass(const vxArray* source, vxArray* output, uint64_t stride, uint64_t n, uint64_t inLen, uint64_t howMany,
          int sign) {
    fftwPlanContainer& container = getFFTWPlanContainer();
    translatingFailures([&] {
        veltraFFT1D<T, kind>(container.context, &container.cache<T, kind>(),
                             static_cast<const InOf<T, kind>*>(source->data), static_cast<OutOf<T, kind>*>(output->data),
                             stride, n, inLen, howMany, sign);
    });
}

}  // namespace

void runPass(FftKind kind, const vxArray* source, vxArray* output, uint64_t stride, uint64_t n, uint64_t inLen,
             uint64_t howMany, int sign) {
    vlmathdsp::withRealType(output, [&](auto type) {
        using T = typename decltype(type)::type;
        if (kind == kRealToComplex) pass<T, kRealToComplex>(source, output, stride, n, inLen, howMany, sign);
        else if (kind == kComplexToReal) pass<T, kComplexToReal>(source, output, stride, n, inLen, howMany, sign);
        else pass<T, kComplexToComplex>(source, output, stride, n, inLen, howMany, sign);
    });
}

}  // namespace vfl_fft
