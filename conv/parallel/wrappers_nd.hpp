// N-dimensional wrappers: the body of one parallel_for over up to three output dimensions, and
// its launcher. A task walks its own sub-box of the output, so no two tasks write one element.
#pragma once

#include <algorithm>
#include <type_traits>
#include <vector>

#include <oneapi/tbb/blocked_range.h>
#include <oneapi/tbb/blocked_range2d.h>
#include <oneapi/tbb/blocked_range3d.h>

#include "common/parallel_range.hpp"
#include "conv/kernels/conv_op.hpp"
#include "conv/kernels/strided_walk.hpp"
#include "conv/kernels/walk_nd.hpp"
#include "module/argument_helpers.hpp"
#include "module/checked_size.hpp"

namespace vfl_conv::parallel {

// Walk: the dense plan walk, the sparse walk or the plain walk of walk_nd.hpp over a sub-box; or
// the sampled forms of strided_walk.hpp, whose ranges count samples.
enum class NDWalk { Plans, Sparse, Plain, StridedDense, StridedSparse };

// Whether an operator's runs may go through the fused sweeps (Op::kFusable).
template <class Op, class = void>
struct Fusable : std::false_type {};
template <class Op>
struct Fusable<Op, std::void_t<decltype(Op::kFusable)>> : std::bool_constant<Op::kFusable> {};

// Operands are given by their lowest addresses; their strides may be negative. Output strides
// are positive, and `out` is the box's first element.

template <NDWalk Walk, class Op, class Out, class F, class S>
struct ParWrapperNDBody {
    const ConvGeometry& geometry;
    const ConvFlags& flags;
    const std::vector<size_t>& parallelDims;
    Out* out;
    const F* first;
    const S* second;
    size_t n;
    Op op;
    const Sizes* stride = nullptr;  // the sampled walks only

    void operator()(const tbb::blocked_range<uint64_t>& r) const {
        const uint64_t lo[1] = {r.begin()}, hi[1] = {r.end()};
        walk(lo, hi);
    }
    void operator()(const tbb::blocked_range2d<uint64_t>& r) const {
        const uint64_t lo[2] = {r.rows().begin(), r.cols().begin()}, hi[2] = {r.rows().end(), r.cols().end()};
        walk(lo, hi);
    }
    void operator()(const tbb::blocked_range3d<uint64_t>& r) const {
        const uint64_t lo[3] = {r.pages().begin(), r.rows().begin(), r.cols().begin()};
        const uint64_t hi[3] = {r.pages().end(), r.rows().end(), r.cols().end()};
        walk(lo, hi);
    }

    // The box with the parallel dimensions narrowed to a task's sub-ranges (none: the whole box).
    void walk(const uint64_t* subLo, const uint64_t* subHi) const {
        const ConvGeometry& g = geometry;
        Sizes lo(g.rangeLo.begin(), g.rangeLo.begin() + ptrdiff_t(n)), hi(g.rangeHi.begin(), g.rangeHi.begin() + ptrdiff_t(n));
        Out* o = out;
        constexpr bool sampled = Walk == NDWalk::StridedDense || Walk == NDWalk::StridedSparse;
        for (size_t k = 0; k < parallelDims.size(); ++k) {
            const size_t p = parallelDims[k];
            if constexpr (sampled) {
                const uint64_t s = (*stride)[p];
                lo[p] = g.rangeLo[p] + s * subLo[k];
                hi[p] = std::min(g.rangeLo[p] + s * subHi[k], g.rangeHi[p]);
                o += int64_t(subLo[k]) * g.outStride[p];
            } else {
                lo[p] = subLo[k], hi[p] = subHi[k];
                o += int64_t(subLo[k] - g.rangeLo[p]) * g.outStride[p];
            }
        }
        const F* f0 = elementZero(first, g.firstSize, g.firstStride);
        const S* s0 = elementZero(second, g.secondSize, g.secondStride);
        if constexpr (Walk == NDWalk::Plans) {
            walkPlans(g, lo, hi, flags, op, o, f0, s0, Fusable<Op>::value);
        } else {
            if constexpr (Walk == NDWalk::Sparse) {
                walkSparse(g, lo, hi, flags, op, o, f0, s0);
            } else if constexpr (Walk == NDWalk::Plain) {
                walkRecursive(g, lo, hi, flags, op, n - 1, o, f0, s0);
            } else {
                const StridedWalk<Op, Out, F, S> w{g, *stride, flags, op, lo, hi};
                if constexpr (Walk == NDWalk::StridedSparse) w.sparse(o, f0, s0);
                else w.dense(n - 1, o, f0, s0);
            }
        }
    }
};

template <class Op, class Out, class F, class S>
using ParWrapperNDWithPlans = ParWrapperNDBody<NDWalk::Plans, Op, Out, F, S>;
template <class Op, class Out, class F, class S>
using SparseParWrapperND = ParWrapperNDBody<NDWalk::Sparse, Op, Out, F, S>;
template <class Op, class Out, class F, class S>
using ParWrapperND = ParWrapperNDBody<NDWalk::Plain, Op, Out, F, S>;
template <class Op, class Out, class F, class S>
using StridedParWrapperND = ParWrapperNDBody<NDWalk::StridedDense, Op, Out, F, S>;
template <class Op, class Out, class F, class S>
using StridedSparseParWrapperND = ParWrapperNDBody<NDWalk::StridedSparse, Op, Out, F, S>;

// Clamps the box to the full convolution; false when it is empty in some dimension.
inline bool clampToFull(Sizes& lo, Sizes& hi, const Sizes& firstSize, const Sizes& secondSize) {
    for (size_t d = 0; d < lo.size(); ++d) {
        // A virtual operand may be of any length: the sum saturates.
        const uint64_t c = std::max<uint64_t>(vlmathdsp::saturatedSum(firstSize[d], secondSize[d]), 1) - 1;
        lo[d] = std::min(lo[d], c), hi[d] = std::min(hi[d], c);
        if (hi[d] <= lo[d]) return false;
    }
    return true;
}

// Runs the body over the box: serially when parallelDims is empty, else one parallel_for over
// [lo, hi) of the first one, two or three parallel dimensions with their grains.
template <class Body>
void launchND(const Body& body, const Sizes& lo, const Sizes& hi, const std::vector<size_t>& parallelDims,
              const std::vector<uint64_t>& grains) {
    const std::vector<size_t>& p = parallelDims;
    if (p.empty()) return body.walk(nullptr, nullptr);
    if (p.size() == 1) return vlcommon::runRange(true, tbb::blocked_range<uint64_t>(lo[p[0]], hi[p[0]], grains[0]), body);
    if (p.size() == 2)
        return vlcommon::runRange(
            true, tbb::blocked_range2d<uint64_t>(lo[p[0]], hi[p[0]], grains[0], lo[p[1]], hi[p[1]], grains[1]), body);
    vlcommon::runRange(true,
                       tbb::blocked_range3d<uint64_t>(lo[p[0]], hi[p[0]], grains[0], lo[p[1]], hi[p[1]], grains[1],
                                                      lo[p[2]], hi[p[2]], grains[2]),
                       body);
}

// Walks the box with `op`, serially when parallelDims is empty. The launch ranges are [lo, hi):
// the box itself, or sample counts for the sampled walks, which take `stride`.
template <NDWalk Walk, class Op, class Out, class F, class S>
void runWalk(const Op& op, Out* out, const F* first, const S* second, const ConvGeometry& g, const ConvFlags& flags,
             const std::vector<size_t>& parallelDims, const std::vector<uint64_t>& grains, const Sizes& lo,
             const Sizes& hi, const Sizes* stride = nullptr) {
    const ParWrapperNDBody<Walk, Op, Out, F, S> body{g, flags, parallelDims, out, first, second, g.rangeLo.size(), op,
                                                     stride};
    launchND(body, lo, hi, parallelDims, grains);
}

// The walk for the element types of `first` and `second` with VELTRAConvOp, inside the bracket
// of a parallel region when a dimension is split.
template <NDWalk Walk>
void runNDWalk(vxArray* out, const vxArray* first, const vxArray* second, const ConvGeometry& g, const ConvFlags& flags,
               const std::vector<size_t>& parallelDims, const std::vector<uint64_t>& grains, const Sizes& lo,
               const Sizes& hi, const Sizes* stride = nullptr) {
    vlmathdsp::withElementTypes(first, second, [&](auto a, auto b) {
        using F = typename decltype(a)::type;
        using S = typename decltype(b)::type;
        using Out = OutputOf<F, S>;
        auto run = [&] {
            runWalk<Walk>(VELTRAConvOp<F, S, KIND_AXPY>{}, static_cast<Out*>(out->data),
                          static_cast<const F*>(first->data), static_cast<const S*>(second->data), g, flags,
                          parallelDims, grains, lo, hi, stride);
        };
        if (parallelDims.empty()) return run();
        vlmathdsp::ComputationalThreadScope scope;
        run();
    });
}

}  // namespace vfl_conv::parallel
