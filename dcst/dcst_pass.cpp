// A cosine or sine pass through the transform library, by element type and kind.
#include <utility>

#include "dcst/dcst_common.hpp"
#include "dcst/plan_container.hpp"
#include "fourier/plan_container.hpp"
#include "module/argument_helpers.hpp"

namespace vlmathdsp {

namespace {

using Pass = void (*)(const vxArray*, vxArray*, uint64_t, uint64_t, uint64_t, uint64_t, int);

template <class T, int kind>
void pass(const vxArray* source, vxArray* output, uint64_t stride, uint64_t n, uint64_t inLen, uint64_t howMany,
          int sign) {
    vfl_fft::dcstPlanContainer& container = vfl_fft::getDCSTPlanContainer();
    vfl_fft::translatingFailures([&] {
        vfl_fft::veltraDCST1D<T, kind>(container.context, &container.cache<T, kind>(),
                                       static_cast<const T*>(source->data), static_cast<T*>(output->data), stride, n,
                                       inLen, howMany, sign, vxIsComplexFlags(output));
    });
}

template <class T, int... kinds>
constexpr std::array<Pass, sizeof...(kinds)> passes(std::integer_sequence<int, kinds...>) {
    return {&pass<T, kinds>...};
}

}  // namespace

void runDcstPass(const DcstTransform& transform, const vxArray* source, vxArray* output, uint64_t stride, uint64_t n,
                 uint64_t inLen, uint64_t howMany) {
    withRealType(output, [&](auto type) {
        using T = typename decltype(type)::type;
        static constexpr auto table = passes<T>(std::make_integer_sequence<int, 8>());
        table[transform.kind()](source, output, stride, n, inLen, howMany, transform.sign);
    });
}

}  // namespace vlmathdsp
