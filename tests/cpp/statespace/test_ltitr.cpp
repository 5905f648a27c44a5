// ltitr against a reference loop, its edge cases and its errors.
#include <cstring>

#include "tests/cpp/support.hpp"

using namespace vltest;
using C = std::complex<double>;

namespace {

constexpr size_t kLtitrSlot = 11;

// X(k, :) = x[k], x[k+1] = A x[k] + B u[k], column-major n-by-n A, n-by-m B, L-by-m U.
std::vector<C> referenceTrajectory(const std::vector<C>& A, const std::vector<C>& B, const std::vector<C>& U,
                                   std::vector<C> x, size_t n, size_t m, size_t L) {
    std::vector<C> X(L * n);
    for (size_t k = 0; k < L; ++k) {
        for (size_t i = 0; i < n; ++i) X[k + i * L] = x[i];
        std::vector<C> next(n);
        for (size_t i = 0; i < n; ++i) {
            C ax = 0, bu = 0;
            for (size_t j = 0; j < n; ++j) ax += A[i + j * n] * x[j];
            for (size_t j = 0; j < m; ++j) bu += B[i + j * n] * U[k + j * L];
            next[i] = bu + ax;
        }
        x = next;
    }
    return X;
}

Array operand(const std::vector<C>& v, std::vector<size_t> dims, bool complex) {
    if (complex) return complexes(dims, v);
    std::vector<double> re;
    for (C z : v) re.push_back(z.real());
    return doubles(dims, re);
}

struct System {
    size_t n, m, L;
    bool complexA, complexB, complexU, complexX0;
    int x0;  // 0 none, 1 column, 2 row
};

void checkAgainstReference(const System& s) {
    std::mt19937_64 rng(s.n * 1000 + s.m * 100 + s.L);
    auto A = randomComplexes(s.n * s.n, rng), B = randomComplexes(s.n * s.m, rng);
    auto U = randomComplexes(s.L * s.m, rng), x0 = randomComplexes(s.n, rng);
    for (auto& a : A) a *= 0.9 / double(s.n);
    auto realify = [](std::vector<C>& v, bool keep) {
        if (!keep) for (auto& z : v) z = z.real();
    };
    realify(A, s.complexA), realify(B, s.complexB), realify(U, s.complexU), realify(x0, s.complexX0);
    if (!s.x0) x0.assign(s.n, 0);
    Array a = operand(A, {s.n, s.n}, s.complexA), b = operand(B, {s.n, s.m}, s.complexB);
    Array u = operand(U, {s.L, s.m}, s.complexU);
    Array x = operand(x0, s.x0 == 2 ? std::vector<size_t>{1, s.n} : std::vector<size_t>{s.n, 1}, s.complexX0);
    std::vector<const vxArray*> args{a.get(), b.get(), u.get()};
    if (s.x0) args.push_back(x.get());

    const auto expected = referenceTrajectory(A, B, U, x0, s.n, s.m, s.L);
    Outputs first;
    for (size_t threads : {1, 2}) {
        vlhost::setNumThreads(threads);
        Outputs out = run(module().slot(kLtitrSlot), 1, args);
        const vxArray* X = out.arrays[0].get();
        ASSERT_EQ(vlhost::dimensions(X), (std::vector<size_t>{s.L, s.n}));
        const bool anyComplex = s.complexA || s.complexB || s.complexU || (s.complexX0 && s.x0);
        EXPECT_EQ(vlhost::isComplex(X), anyComplex);
        for (size_t i = 0; i < expected.size(); ++i) {
            const C got = anyComplex ? static_cast<const C*>(X->data)[i] : C(static_cast<const double*>(X->data)[i]);
            ASSERT_NEAR(std::abs(got - expected[i]), 0.0, 1e-12 * (1 + std::abs(expected[i])))
                << "n=" << s.n << " m=" << s.m << " L=" << s.L << " at " << i;
        }
        if (threads == 1) {
            first = std::move(out);
        } else {
            const size_t bytes = expected.size() * (anyComplex ? 16 : 8);
            EXPECT_EQ(std::memcmp(first.arrays[0]->data, X->data, bytes), 0) << "thread count changed the result";
        }
    }
}

std::string ltitrError(int nlhs, const std::vector<const vxArray*>& args) {
    return errorOf(module().slot(kLtitrSlot), nlhs, args);
}

}  // namespace

TEST(Ltitr, RealSystemsMatchTheReferenceLoop) {
    checkAgainstReference({3, 2, 10, false, false, false, false, 0});
    checkAgainstReference({5, 1, 40, false, false, false, false, 1});
    checkAgainstReference({4, 3, 7, false, false, false, false, 2});
    checkAgainstReference({70, 4, 50, false, false, false, false, 1});  // past the small-product limit of rows
    checkAgainstReference({20, 9, 30, false, false, false, false, 1});  // above the daxpy threshold
}

TEST(Ltitr, ComplexOperandsAnywhereMakeTheResultComplex) {
    checkAgainstReference({3, 2, 10, false, true, false, false, 1});  // complex B, real A and U
    checkAgainstReference({4, 2, 12, true, false, false, false, 2});
    checkAgainstReference({3, 1, 9, false, false, true, false, 0});
    checkAgainstReference({3, 2, 8, false, false, false, true, 2});
    checkAgainstReference({12, 3, 20, true, true, true, true, 1});
}

TEST(Ltitr, DegenerateLengthsAndFreeMotion) {
    checkAgainstReference({3, 2, 0, false, false, false, false, 1});  // L = 0: 0 by n
    checkAgainstReference({3, 2, 1, false, false, false, false, 2});  // L = 1: x0 as a row
    checkAgainstReference({4, 0, 6, false, false, false, false, 1});  // m = 0: free motion
    checkAgainstReference({1, 1, 5, false, false, false, false, 1});  // scalar state
    checkAgainstReference({0, 2, 3, false, false, false, false, 0});  // no states
}

TEST(Ltitr, ImaginaryPartsThatStayZeroLeaveARealResult) {
    Array A = doubles({1, 1}, {0.5}), B = complexes({1, 1}, {{1, 0}}), U = doubles({3, 1}, {1, 2, 3});
    Outputs out = run(module().slot(kLtitrSlot), 1, {A.get(), B.get(), U.get()});
    EXPECT_FALSE(vlhost::isComplex(out.arrays[0].get()));
    const double* X = static_cast<const double*>(out.arrays[0]->data);
    EXPECT_EQ(std::vector<double>(X, X + 3), (std::vector<double>{0, 1, 2.5}));
}

TEST(Ltitr, OtherClassesAreComputedInDouble) {
    Array A = fromValues<int32_t>({2, 2}, {1, 0, 0, 1}, VX_INT32_CLASS);
    Array B = fromValues<float>({2, 1}, {1, 2}, VX_SINGLE_CLASS);
    Array U = fromValues<bool>({3, 1}, {true, false, true}, VX_LOGICAL_CLASS);
    Outputs out = run(module().slot(kLtitrSlot), 1, {A.get(), B.get(), U.get()});
    EXPECT_EQ(vlhost::classOf(out.arrays[0].get()), VX_DOUBLE_CLASS);
    const double* X = static_cast<const double*>(out.arrays[0]->data);
    EXPECT_EQ(std::vector<double>(X, X + 6), (std::vector<double>{0, 1, 1, 0, 2, 2}));
}

TEST(Ltitr, ErrorsInTheirOrder) {
    Array A = numeric({2, 2}), B = numeric({2, 1}), U = numeric({5, 1});
    Array notSquare = numeric({2, 3}), B3 = numeric({3, 1}), U2 = numeric({5, 2}), x3 = numeric({3, 1});
    Array x2by2 = numeric({2, 2}), x2 = numeric({1, 2}), cell(vlhost::createCell({1, 1}, {nullptr}));
    EXPECT_EQ(ltitrError(2, {A.get(), B.get(), U.get()}), "VELTRA:maxlhs");
    EXPECT_EQ(ltitrError(1, {A.get(), B.get(), U.get(), x2.get(), x2.get()}), "VELTRA:maxrhs");
    EXPECT_EQ(ltitrError(1, {A.get(), B.get()}), "VELTRA:minrhs");
    EXPECT_EQ(ltitrError(1, {notSquare.get(), B.get(), U.get()}), "VELTRA:legacy_two_part:square");
    EXPECT_EQ(ltitrError(1, {A.get(), B3.get(), U.get()}), "VELTRA:legacy_two_part:dimagree");
    EXPECT_EQ(ltitrError(1, {A.get(), B.get(), U2.get()}), "VELTRA:legacy_two_part:dimagree");
    EXPECT_EQ(ltitrError(1, {A.get(), B.get(), U.get(), x3.get()}), "VELTRA:ltitr:invalidInitialCondition");
    EXPECT_EQ(ltitrError(1, {A.get(), B.get(), U.get(), x2by2.get()}), "VELTRA:ltitr:invalidInitialCondition");
    EXPECT_EQ(ltitrError(1, {cell.get(), B.get(), U.get()}), "VELTRA:invalidConversion");
    EXPECT_EQ(ltitrError(0, {A.get(), B.get(), U.get(), x2.get()}), "");
}
