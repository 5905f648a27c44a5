// What the cosine and sine built-ins share: the transform a call asks for, the working input, and
// one pass of the transform.
#pragma once

#include "fourier/fft_common.hpp"

namespace vlmathdsp {

struct DcstTransform {
    int type;    // 1 to 4
    bool isDCT;  // cosine, else sine
    int sign;    // -1 forward, +1 inverse

    int kind() const { return type - 1 + (isDCT ? 0 : 4); }
    bool isDct1() const { return isDCT && type == 1; }
};

// x as single when single, else as double, or the family's refusal.
inline OwnedArray dcstInput(const vxArray* x) {
    return vfl_fft::workingInput<VELTRA::dcstfcn::InvalidInputType, VELTRA::dcstfcn::SparseInputType>(x);
}

// The bodies, once the trailing "Variant" pair is read and dropped from the count.
void dcstBody(int nlhs, vxArray** plhs, int nrhs, const vxArray** prhs, DcstTransform transform);
void dcstnBody(int nlhs, vxArray** plhs, int nrhs, const vxArray** prhs, DcstTransform transform);

// howMany transforms of length n from source to output (the same array for in place), through
// the scope's cosine and sine plan container.
void runDcstPass(const DcstTransform& transform, const vxArray* source, vxArray* output, uint64_t stride, uint64_t n,
                 uint64_t inLen, uint64_t howMany);

}  // namespace vlmathdsp
