// The two plan builders.
#include "conv/kernels/dim_plan.hpp"

#include <algorithm>
#include <cstring>

namespace vfl_conv {

namespace {

using u64 = uint64_t;
using i64 = int64_t;

void buildTapMajor(ConvDimPlan& p, u64 lo, u64 hi, u64 m, u64 k) {
    const i64 so = p.strideOut, sf = p.strideFirst, ss = p.strideSecond;
    const u64 jLo = lo < m ? 0 : lo - m + 1;
    const u64 jHi = std::min(k, hi);
    u64 top = std::min(m - 1, lo);
    u64 tail = jLo + m > hi ? 0 : hi - jLo - m;
    p.runStart = std::min(jLo + m, hi) - std::max(jLo, lo);

    p.offsetOut = 0;
    p.offsetFirst = sf * i64(top);
    p.offsetSecond = ss * i64(jLo);

    p.stepOut1 = 0, p.stepFirst1 = -sf, p.stepSecond1 = ss;
    p.stepOut2 = 0, p.stepFirst2 = -sf, p.stepSecond2 = ss;
    p.stepOut3 = so, p.stepFirst3 = 0, p.stepSecond3 = ss;
    p.stepOut4 = so, p.stepFirst4 = 0, p.stepSecond4 = ss;

    const u64 total = jHi > jLo ? jHi - jLo : 0;
    p.count1 = std::min({total, tail, top});
    tail -= p.count1;
    top -= p.count1;
    u64 pos = jLo + p.count1;
    auto left = [&] { return jHi > pos ? jHi - pos : 0; };
    p.count2 = std::min(left(), top);
    pos += p.count2;
    p.count3 = std::min(left(), tail);
    pos += p.count3;
    p.count4 = left();
}

void buildOutputMajor(ConvDimPlan& p, u64 lo, u64 hi, u64 m, u64 k) {
    const i64 so = p.strideOut, sf = p.strideFirst, ss = p.strideSecond;
    const u64 e = k - 1;
    const u64 aLo = std::max(lo, e), bLo = std::max(lo, m - 1);
    p.runStart = e + lo - aLo - bLo + m;
    p.offsetOut = 0;
    p.offsetFirst = (i64(aLo) - i64(k) + 1) * sf;
    p.offsetSecond = (i64(bLo) - i64(m) + 1) * ss;
    p.stepOut1 = so, p.stepFirst1 = 0, p.stepSecond1 = 0;
    p.stepOut2 = so, p.stepFirst2 = sf, p.stepSecond2 = 0;
    p.stepOut3 = so, p.stepFirst3 = 0, p.stepSecond3 = ss;
    p.stepOut4 = so, p.stepFirst4 = sf, p.stepSecond4 = ss;

    const u64 k1 = std::min(hi, std::min(m, k) - 1);
    p.count1 = lo < k1 ? k1 - lo : 0;
    u64 pos = lo + p.count1;
    const u64 k2 = std::min(hi, m - 1);
    p.count2 = pos < k2 ? k2 - pos : 0;
    pos += p.count2;
    const u64 k3 = std::min(hi, k - 1);
    p.count3 = pos < k3 ? k3 - pos : 0;
    pos += p.count3;
    p.count4 = hi - pos;
}

}  // namespace

void buildDimPlan(ConvDimPlan& plan, size_t lo, size_t hi, const DimStrides& strides, size_t m, size_t k,
                  int32_t order) {
    std::memset(&plan, 0, sizeof plan);
    plan.strideOut = strides.out;
    plan.strideFirst = strides.first;
    plan.strideSecond = strides.second;
    plan.order = order;
    if (hi <= lo) return;
    if (order == ORDER_TAPS) buildTapMajor(plan, lo, hi, m, k);
    else buildOutputMajor(plan, lo, hi, m, k);
}

}  // namespace vfl_conv
