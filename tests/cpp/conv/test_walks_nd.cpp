// The N-dimensional walks against a plain loop, against each other bit for bit, split or whole,
// and with negative strides, which must read an operand exactly as its reversed copy does.
#include <cmath>

#include "conv/kernels/conv_op.hpp"
#include "conv/parallel/wrappers_nd.hpp"
#include "tests/cpp/support.hpp"

using namespace vfl_conv;
using parallel::NDWalk;

namespace {

struct Tensor {
    Sizes size;
    std::vector<double> data;

    uint64_t at(const Sizes& index) const {
        uint64_t offset = 0, step = 1;
        for (size_t d = 0; d < size.size(); ++d) offset += index[d] * step, step *= size[d];
        return offset;
    }
    // The copy read backwards along the dimensions where `flip` is set.
    Tensor reversed(const std::vector<bool>& flip) const {
        Tensor r = *this;
        Sizes i(size.size(), 0), src(size.size());
        do {
            for (size_t d = 0; d < size.size(); ++d) src[d] = flip[d] ? size[d] - 1 - i[d] : i[d];
            r.data[at(i)] = data[at(src)];
        } while (nextIndex(i, Sizes(size.size(), 0), size));
        return r;
    }
};

Tensor randomTensor(std::mt19937& rng, const Sizes& size, double zeros) {
    Tensor t{size, {}};
    uint64_t count = 1;
    for (uint64_t s : size) count *= s;
    std::normal_distribution<double> value;
    std::uniform_real_distribution<double> u;
    for (uint64_t i = 0; i < count; ++i) t.data.push_back(u(rng) < zeros ? 0.0 : value(rng));
    return t;
}

// One box of a random convolution, with its sampling.
struct Case {
    Tensor first, second;
    Sizes lo, hi, stride, count;
};

Case randomCase(std::mt19937& rng, size_t n, bool sampled, double zeros) {
    std::uniform_int_distribution<uint64_t> len(1, 7), step(1, 3);
    Sizes a(n), b(n), lo(n), hi(n), stride(n, 1), count(n);
    for (size_t d = 0; d < n; ++d) {
        a[d] = len(rng), b[d] = len(rng);
        const uint64_t full = a[d] + b[d] - 1;
        lo[d] = std::uniform_int_distribution<uint64_t>(0, full - 1)(rng);
        hi[d] = std::uniform_int_distribution<uint64_t>(lo[d] + 1, full)(rng);
        if (sampled) stride[d] = step(rng);
        count[d] = sampleCount(lo[d], hi[d], stride[d]);
    }
    return {randomTensor(rng, a, 0), randomTensor(rng, b, zeros), lo, hi, stride, count};
}

// The plain sum for each sample of the box.
std::vector<double> reference(const Case& c) {
    const size_t n = c.lo.size();
    std::vector<double> out;
    const Sizes zero(n, 0);
    Sizes s(n, 0), j(n), i(n), fi(n);
    do {
        for (size_t d = 0; d < n; ++d) i[d] = c.lo[d] + s[d] * c.stride[d];
        double sum = 0;
        j = zero;
        do {
            bool inside = true;
            for (size_t d = 0; d < n; ++d) {
                inside = inside && i[d] >= j[d] && i[d] - j[d] < c.first.size[d];
                fi[d] = i[d] - j[d];
            }
            if (inside) sum += c.first.data[c.first.at(fi)] * c.second.data[c.second.at(j)];
        } while (nextIndex(j, zero, c.second.size));
        out.push_back(sum);
    } while (nextIndex(s, zero, c.count));
    return out;
}

// Strides of an operand, negated where `flip` is set.
Strides signedStrides(const Sizes& size, const std::vector<bool>& flip) {
    Strides s = columnMajorStrides(size, 1);
    for (size_t d = 0; d < s.size(); ++d)
        if (flip[d]) s[d] = -s[d];
    return s;
}

// The walk's result for the case, with first and second read backwards along the flipped
// dimensions, split over the parallel dimensions with grain 1 (none: whole).
template <NDWalk Walk>
std::vector<double> walk(const Case& c, const std::vector<bool>& flipFirst, const std::vector<bool>& flipSecond,
                         const std::vector<size_t>& parallelDims = {}) {
    const size_t n = c.lo.size();
    const bool sampled = Walk == NDWalk::StridedDense || Walk == NDWalk::StridedSparse;
    const Sizes outExtent = sampled ? c.count : extents(c.lo, c.hi);
    const Strides outStride = columnMajorStrides(outExtent, 1);
    const Strides firstStride = signedStrides(c.first.size, flipFirst), secondStride = signedStrides(c.second.size, flipSecond);
    const ConvGeometry g{c.lo, c.hi, c.first.size, c.second.size, outStride, firstStride, secondStride};
    const ConvFlags flags{0, uint8_t(firstStride[0] == 1 && outStride[0] == 1)};
    uint64_t total = 1;
    for (uint64_t e : outExtent) total *= e;
    std::vector<double> out(total, 0.0);
    const std::vector<uint64_t> grain(parallelDims.size(), 1);
    parallel::runWalk<Walk>(VELTRAConvOp<double, double, KIND_AXPY>{}, out.data(), c.first.data.data(),
                            c.second.data.data(), g, flags, parallelDims, grain, sampled ? Sizes(n, 0) : c.lo,
                            sampled ? c.count : c.hi, &c.stride);
    return out;
}

std::vector<bool> randomFlips(std::mt19937& rng, size_t n) {
    std::vector<bool> f(n);
    for (size_t d = 0; d < n; ++d) f[d] = rng() % 2;
    return f;
}

void expectClose(const std::vector<double>& got, const std::vector<double>& want, const std::string& what) {
    ASSERT_EQ(got.size(), want.size()) << what;
    for (size_t i = 0; i < got.size(); ++i) ASSERT_NEAR(got[i], want[i], 1e-12 * (1 + std::abs(want[i]))) << what << " at " << i;
}

template <NDWalk Walk>
void checkWalk(bool sampled, double zeros) {
    std::mt19937 rng(static_cast<uint32_t>(Walk) * 7919 + 11);
    for (int trial = 0; trial < 300; ++trial) {
        const size_t n = 1 + trial % 4;
        const Case c = randomCase(rng, n, sampled, zeros);
        const std::string what = "trial " + std::to_string(trial);
        const std::vector<bool> none(n, false), flipA = randomFlips(rng, n), flipB = randomFlips(rng, n);
        const std::vector<double> plain = walk<Walk>(c, none, none);
        expectClose(plain, reference(c), what);
        // A negative stride reads the operand as its reversed copy, bit for bit.
        Case copy = c;
        copy.first = c.first.reversed(flipA), copy.second = c.second.reversed(flipB);
        EXPECT_EQ(walk<Walk>(copy, flipA, flipB), plain) << what;
        std::vector<size_t> parallelDims;
        for (size_t d = 0; d < std::min<size_t>(n, 3); ++d) parallelDims.push_back(n - 1 - d);
        EXPECT_EQ(walk<Walk>(c, none, none, parallelDims), plain) << what << ": split in grains of 1";
    }
}

}  // namespace

TEST(WalksND, PlanWalkAgreesWithTheSumAndReadsNegativeStridesAsReversedCopies) { checkWalk<NDWalk::Plans>(false, 0); }
TEST(WalksND, SparseWalkDoesToo) { checkWalk<NDWalk::Sparse>(false, 0.6); }
TEST(WalksND, PlainWalkDoesToo) { checkWalk<NDWalk::Plain>(false, 0); }
TEST(WalksND, SampledWalksDoToo) {
    checkWalk<NDWalk::StridedDense>(true, 0);
    checkWalk<NDWalk::StridedSparse>(true, 0.6);
}

TEST(WalksND, PlainAndSparseWalksGiveThePlanWalksBits) {
    std::mt19937 rng(5);
    for (int trial = 0; trial < 200; ++trial) {
        const size_t n = 1 + trial % 4;
        const Case c = randomCase(rng, n, false, 0);
        const std::vector<bool> none(n, false);
        const std::vector<double> plans = walk<NDWalk::Plans>(c, none, none);
        EXPECT_EQ(walk<NDWalk::Plain>(c, none, none), plans) << "trial " << trial;
        EXPECT_EQ(walk<NDWalk::Sparse>(c, none, none), plans) << "trial " << trial;
    }
}
