// The two-input paths, instantiated for the sixteen pairs of element types.
#include "conv/conv2_paths.hpp"

#include "conv/parallel/wrappers.hpp"
#include "module/argument_helpers.hpp"

namespace vfl_conv {

void runConv2Path(ConvPath path, vxArray* result, const ConvWindow& w, const vxArray* first, size_t m1, size_t n1,
                  const vxArray* second, size_t m2, size_t n2, bool keepZeros) {
    const ConvFlags flags{static_cast<uint8_t>(keepZeros), 1};
    vlmathdsp::withElementTypes(first, second, [&](auto a, auto b) {
        using TFirst = typename decltype(a)::type;
        using TSecond = typename decltype(b)::type;
        using Out = OutputOf<TFirst, TSecond>;
        Out* out = static_cast<Out*>(result->data);
        const auto* f = static_cast<const TFirst*>(first->data);
        const auto* s = static_cast<const TSecond*>(second->data);
        const size_t rowEnd = w.rowEnd + 1, colEnd = w.colEnd + 1;
        switch (path) {
            case PATH_AXPY_1D:
                parallel::runConv1D<TFirst, TSecond, KIND_AXPY>(flags, out, w.rowStart, rowEnd, 1, f, m1, 1, s, m2, 1);
                break;
            case PATH_DOT_1D:
                parallel::runConv1D<TFirst, TSecond, KIND_DOT>(flags, out, w.rowStart, rowEnd, 1, f, m1, 1, s, m2, 1);
                break;
            case PATH_PHASED_1D:
                parallel::runConv1D<TFirst, TSecond, KIND_PHASED>(flags, out, w.rowStart, rowEnd, 1, f, m1, 1, s, m2,
                                                                  1);
                break;
            case PATH_PLANS_2D:
                parallel::runConv2D<TFirst, TSecond, false>(flags, out, w.outRows, w.rowStart, rowEnd, w.colStart,
                                                            colEnd, f, m1, n1, s, m2, n2, false);
                break;
            case PATH_SPARSE_2D:
                parallel::runConv2D<TFirst, TSecond, true>(flags, out, w.outRows, w.rowStart, rowEnd, w.colStart,
                                                           colEnd, f, m1, n1, s, m2, n2, false);
                break;
        }
    });
}

}  // namespace vfl_conv
