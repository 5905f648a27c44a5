// Permutation against a reference index loop, and matrix products against a reference product.
#include "tests/cpp/support.hpp"

using namespace vltest;
using namespace matrix::detail::noninlined::vx_array_api;

namespace {

// out[j...] = in[i...] with out dimension d equal to in dimension order[d].
template <class T>
std::vector<T> referencePermute(const std::vector<T>& in, const std::vector<size_t>& dims,
                                const std::vector<size_t>& order, std::vector<size_t>& outDims) {
    const size_t k = order.size();
    std::vector<size_t> d(dims);
    d.resize(k, 1);
    outDims.assign(k, 0);
    for (size_t j = 0; j < k; ++j) outDims[j] = d[order[j]];
    std::vector<T> out(in.size());
    std::vector<size_t> sub(k, 0);
    for (size_t o = 0; o < in.size(); ++o) {
        size_t rem = o;
        for (size_t j = 0; j < k; ++j) sub[j] = rem % outDims[j], rem /= outDims[j];
        size_t i = 0, stride = 1;
        std::vector<size_t> inSub(k);
        for (size_t j = 0; j < k; ++j) inSub[order[j]] = sub[j];
        for (size_t j = 0; j < k; ++j) i += inSub[j] * stride, stride *= d[j];
        out[o] = in[i];
    }
    return out;
}

template <class T>
void checkPermutation(const std::vector<size_t>& dims, const std::vector<size_t>& order, bool complex) {
    std::mt19937_64 rng(dims.size() * 131 + order[0]);
    size_t count = 1;
    for (size_t d : dims) count *= d;
    std::vector<T> values(count * (complex ? 2 : 1));
    for (auto& v : values) v = static_cast<T>(rng() % 1000);
    Array a = numeric(dims, sizeof(T) == 8 ? VX_DOUBLE_CLASS : sizeof(T) == 4 ? VX_SINGLE_CLASS : VX_INT16_CLASS, complex);
    std::copy(values.begin(), values.end(), static_cast<T*>(a->data));
    std::vector<double> orderOneBased;
    for (size_t o : order) orderOneBased.push_back(double(o + 1));
    Array perm = doubles({1, order.size()}, orderOneBased);

    for (size_t threads : {1, 2}) {
        vlhost::setNumThreads(threads);
        vxArray* in[2] = {a.get(), perm.get()};
        vxArray* out[1] = {nullptr};
        vxPermuteFcn(1, out, 2, in);
        Array result(out[0]);
        std::vector<size_t> outDims;
        if (complex) {
            std::vector<std::complex<T>> z(count);
            std::copy(values.begin(), values.end(), reinterpret_cast<T*>(z.data()));
            auto expected = referencePermute(z, dims, order, outDims);
            const auto* got = static_cast<const std::complex<T>*>(result->data);
            ASSERT_TRUE(std::equal(expected.begin(), expected.end(), got));
        } else {
            auto expected = referencePermute(values, dims, order, outDims);
            ASSERT_TRUE(std::equal(expected.begin(), expected.end(), static_cast<const T*>(result->data)));
        }
        while (outDims.size() > 2 && outDims.back() == 1) outDims.pop_back();
        EXPECT_EQ(vlhost::dimensions(result.get()), outDims);
    }
}

}  // namespace

TEST(Permute, MatchesAReferenceLoopOnRealAndComplexArrays) {
    checkPermutation<double>({3, 4}, {1, 0}, false);
    checkPermutation<double>({3, 4}, {1, 0}, true);
    checkPermutation<double>({2, 3, 4}, {2, 0, 1}, true);
    checkPermutation<int16_t>({5, 1, 7, 3}, {3, 1, 0, 2}, false);
    checkPermutation<double>({4, 5}, {0, 2, 1}, false);  // a dimension past the last
    checkPermutation<double>({2, 3, 4}, {0, 1, 2}, false);
    checkPermutation<double>({1, 1, 9}, {2, 1, 0}, true);
}

TEST(Permute, LargeArraysTakeTheBlockedParallelPathAndStayExact) {
    checkPermutation<double>({97, 65, 33}, {1, 2, 0}, false);  // odd sizes against the tiles
    checkPermutation<double>({300, 301}, {1, 0}, true);
    checkPermutation<double>({64, 40, 30}, {0, 2, 1}, false);
    // 4-byte elements move in 4 by 4 register blocks: tiles with and without partial blocks.
    checkPermutation<float>({97, 65, 33}, {1, 2, 0}, false);
    checkPermutation<float>({58, 6, 64, 3}, {2, 3, 0, 1}, false);
    checkPermutation<float>({300, 301}, {1, 0}, true);
    // Contiguous runs longer than a copy piece, one run and several, with ragged last pieces.
    checkPermutation<float>({70001, 3}, {0, 1}, false);
    checkPermutation<double>({70001, 2, 3}, {0, 2, 1}, true);
}

TEST(Permute, BadOrdersAndOtherClasses) {
    Array a = numeric({2, 3, 4});
    auto permuteWith = [&](const std::vector<double>& order) {
        Array perm = doubles({1, order.size()}, order);
        vxArray* in[2] = {a.get(), perm.get()};
        vxArray* out[1] = {nullptr};
        vxPermuteFcn(1, out, 2, in);
        vlhost::destroy(out[0]);
    };
    EXPECT_THROW(permuteWith({1, 2}), foundation::core::except::IMsgIDException);
    EXPECT_THROW(permuteWith({1, 1, 2}), foundation::core::except::IMsgIDException);
    EXPECT_THROW(permuteWith({1, 2, 3.5}), foundation::core::except::IMsgIDException);
    EXPECT_NO_THROW(permuteWith({3, 2, 1, 4}));

    Array s(vlhost::createStringArray({2, 3}, {u"a", u"b", std::nullopt, u"d", u"e", u"f"}));
    Array t = doubles({1, 2}, {2, 1});
    vxArray* in[2] = {s.get(), t.get()};
    vxArray* out[1] = {nullptr};
    vxPermuteFcn(1, out, 2, in);
    Array r(out[0]);
    auto values = vlhost::strings(r.get());
    EXPECT_EQ(vlhost::dimensions(r.get()), (std::vector<size_t>{3, 2}));
    EXPECT_FALSE(values[1].has_value()) << "a missing string moves with its element";
    EXPECT_EQ(values[2], std::optional<std::u16string>(u"e"));
    EXPECT_EQ(values[3], std::optional<std::u16string>(u"b"));
    EXPECT_EQ(values[4], std::optional<std::u16string>(u"d"));

    Array sp(vlhost::createSparse(2, 3, VX_DOUBLE_CLASS, false, {1, 0}, {0, 1, 1, 2}, std::vector<double>{4, 6}.data()));
    in[0] = sp.get();
    vxPermuteFcn(1, out, 2, in);
    Array tr(out[0]);
    Array full(vxMustBe(tr.get(), VX_DOUBLE_CLASS));
    const double* f = static_cast<const double*>(full->data);
    EXPECT_EQ(std::vector<double>(f, f + 6), (std::vector<double>{0, 0, 6, 4, 0, 0}));
}

namespace {

std::vector<std::complex<double>> referenceProduct(const std::vector<std::complex<double>>& a,
                                                   const std::vector<std::complex<double>>& b, size_t p, size_t q,
                                                   size_t r) {
    std::vector<std::complex<double>> c(p * r);
    for (size_t j = 0; j < r; ++j)
        for (size_t i = 0; i < p; ++i)
            for (size_t k = 0; k < q; ++k) c[i + j * p] += a[i + k * p] * b[k + j * q];
    return c;
}

Array makeOperand(const std::vector<std::complex<double>>& v, size_t m, size_t n, bool complex) {
    if (complex) return complexes({m, n}, v);
    std::vector<double> re;
    for (auto z : v) re.push_back(z.real());
    return doubles({m, n}, re);
}

}  // namespace

TEST(MatrixMult, AllComplexityMixesAgainstAReferenceProduct) {
    std::mt19937_64 rng(7);
    struct Case {
        size_t p, q, r;
    };
    for (Case s : {Case{3, 4, 1}, Case{64, 64, 1}, Case{70, 33, 1}, Case{5, 7, 3}, Case{300, 200, 1}, Case{40, 30, 20},
                   Case{4, 0, 2}}) {
        for (int mix = 0; mix < 4; ++mix) {
            const bool ca = mix & 1, cb = mix & 2;
            auto va = randomComplexes(s.p * s.q, rng), vb = randomComplexes(s.q * s.r, rng);
            if (!ca) for (auto& z : va) z = z.real();
            if (!cb) for (auto& z : vb) z = z.real();
            Array a = makeOperand(va, s.p, s.q, ca), b = makeOperand(vb, s.q, s.r, cb);
            Array c = numeric({s.p, s.r}, VX_DOUBLE_CLASS, ca || cb);
            vfMatrixMult(a.get(), b.get(), c.get());
            auto expected = referenceProduct(va, vb, s.p, s.q, s.r);
            for (size_t i = 0; i < expected.size(); ++i) {
                const std::complex<double> got =
                    (ca || cb) ? static_cast<std::complex<double>*>(c->data)[i] : static_cast<double*>(c->data)[i];
                ASSERT_NEAR(std::abs(got - expected[i]), 0.0, 1e-12 * (s.q + 1) * 10)
                    << s.p << "x" << s.q << "x" << s.r << " mix " << mix << " at " << i;
            }
        }
    }
}

TEST(MatrixMult, MismatchedShapesAreRefused) {
    Array a = numeric({3, 4}), b = numeric({5, 1}), c = numeric({3, 1});
    EXPECT_THROW(vfMatrixMult(a.get(), b.get(), c.get()), foundation::core::except::IMsgIDException);
}
