// ConvDimPlan: the loop schedule of one dimension of a convolution, in four phases.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vfl_conv {

struct ConvDimPlan {
    int64_t stepOut1, stepFirst1, stepSecond1;
    int64_t stepOut2, stepFirst2, stepSecond2;
    int64_t stepOut3, stepFirst3, stepSecond3;
    int64_t stepOut4, stepFirst4, stepSecond4;
    uint64_t count1, count2, count3, count4;
    int64_t offsetOut, offsetFirst, offsetSecond;
    uint64_t runStart;
    int64_t strideOut, strideFirst, strideSecond;
    int32_t order;  // 0 tap-major, 1 output-major
};

struct DimStrides {
    int64_t out, first, second;
};

enum PlanOrder : int32_t { ORDER_TAPS = 0, ORDER_OUTPUTS = 1 };

// Plans the output range [lo, hi) of a dimension with operand lengths m (first) and k (second),
// for positive strides; offsets and steps are element indices times the strides.
// Tap-major: each iteration is one tap of the second operand over a run of the first.
// Output-major: each iteration is one output with a run of (first ascending, second descending)
// pairs.
void buildDimPlan(ConvDimPlan& plan, size_t lo, size_t hi, const DimStrides& strides, size_t m, size_t k,
                  int32_t order);

// Calls visit(outOffset, firstOffset, secondOffset, run) for every iteration of a plan.
template <class Visit>
inline void walkDimPlan(const ConvDimPlan& p, Visit&& visit) {
    int64_t o = p.offsetOut, f = p.offsetFirst, s = p.offsetSecond;
    uint64_t run = p.runStart;
    for (uint64_t c = 0; c < p.count1; ++c, o += p.stepOut1, f += p.stepFirst1, s += p.stepSecond1, ++run)
        visit(o, f, s, run);
    for (uint64_t c = 0; c < p.count2; ++c, o += p.stepOut2, f += p.stepFirst2, s += p.stepSecond2) visit(o, f, s, run);
    for (uint64_t c = 0; c < p.count3; ++c, o += p.stepOut3, f += p.stepFirst3, s += p.stepSecond3) visit(o, f, s, run);
    for (uint64_t c = 0; c < p.count4; ++c, o += p.stepOut4, f += p.stepFirst4, s += p.stepSecond4, --run)
        visit(o, f, s, run);
}

}  // namespace vfl_conv
