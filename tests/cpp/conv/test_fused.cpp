// The register-blocked sweeps on pointers at every offset from a vector boundary: the vector
// loads and stores must be unaligned-safe, and the bits those of a plain loop in the same order.
#include <cstring>

#include "conv/kernels/fused.hpp"
#include "tests/cpp/support.hpp"

using namespace vfl_conv;

namespace {

// A buffer whose element `offset` sits `offset` elements past a 64-byte boundary.
template <class T>
struct Shifted {
    std::vector<T> storage;
    T* at;
    Shifted(size_t count, size_t offset, std::mt19937_64& rng) : storage(count + offset + 64 / sizeof(T)) {
        std::normal_distribution<double> d;
        for (auto& v : storage) v = T(d(rng));
        const uintptr_t base = reinterpret_cast<uintptr_t>(storage.data());
        const size_t skip = ((64 - base % 64) % 64) / sizeof(T);
        at = storage.data() + skip + offset;
    }
};

template <class T>
void checkAtOffsets() {
    std::mt19937_64 rng(sizeof(T));
    const size_t taps = 7, pairs = 3, count = 300;  // several whole blocks and a ragged end
    for (size_t offset = 0; offset < 64 / sizeof(T); ++offset) {
        // x of pair p spans [p * stride - (taps - 1), p * stride + count); it is read from taps - 1 before y's row 0.
        const ptrdiff_t xStride = ptrdiff_t(count + taps);
        Shifted<T> x(pairs * (count + taps), offset + taps, rng), g(pairs * taps, (offset + 1) % 8, rng);
        Shifted<T> y(count, (offset + 3) % (64 / sizeof(T)), rng);
        std::vector<T> expected(y.at, y.at + count);
        for (size_t i = 0; i < count; ++i)
            for (size_t p = 0; p < pairs; ++p)
                for (size_t t = 0; t < taps; ++t)
                    multiplyAdd(expected[i], g.at[p * taps + t], x.at[ptrdiff_t(p) * xStride + ptrdiff_t(i - t)]);
        fusedTapRows(y.at, count, x.at, xStride, g.at, ptrdiff_t(taps), pairs, taps);
        ASSERT_EQ(std::memcmp(y.at, expected.data(), count * sizeof(T)), 0) << "tap rows, offset " << offset;

        std::vector<T> dotExpected(y.at, y.at + count);
        for (size_t i = 0; i < count; ++i) {
            T acc = 0;
            for (size_t t = taps; t-- > 0;) multiplyAdd(acc, g.at[t], x.at[ptrdiff_t(i - t)]);
            dotExpected[i] += acc;
        }
        fusedDotRows(y.at, count, x.at, g.at, taps);
        ASSERT_EQ(std::memcmp(y.at, dotExpected.data(), count * sizeof(T)), 0) << "dot rows, offset " << offset;
    }
}

// Output columns side by side: output c reads its pair p from x column c + p. Column counts
// around the group of four, pair counts from one to more than the group, ragged row counts.
template <class T>
void checkColumns() {
    std::mt19937_64 rng(sizeof(T) + 1);
    for (size_t columns : {1, 3, 4, 5, 9})
        for (size_t pairs : {1, 2, 7})
            for (size_t count : {5, 67, 300}) {
                const size_t taps = pairs == 2 ? 1 : 3, offset = (columns + count) % (64 / sizeof(T));
                const ptrdiff_t xStride = ptrdiff_t(count + taps + 1), ldY = ptrdiff_t(count + 3);
                Shifted<T> x((columns + pairs) * size_t(xStride), offset + taps, rng), g(pairs * taps, 1, rng);
                Shifted<T> y(columns * size_t(ldY), offset, rng);
                std::vector<T> expected(y.at, y.at + columns * size_t(ldY));
                for (size_t c = 0; c < columns; ++c)
                    for (size_t i = 0; i < count; ++i)
                        for (size_t p = 0; p < pairs; ++p)
                            for (size_t t = 0; t < taps; ++t)
                                multiplyAdd(expected[c * size_t(ldY) + i], g.at[p * taps + t],
                                            x.at[ptrdiff_t(c + p) * xStride + ptrdiff_t(i - t)]);
                fusedTapColumns(y.at, ldY, columns, count, x.at, xStride, g.at, ptrdiff_t(taps), pairs, taps);
                ASSERT_EQ(std::memcmp(y.at, expected.data(), expected.size() * sizeof(T)), 0)
                    << columns << " columns, " << pairs << " pairs, " << count << " rows";
            }
}

}  // namespace

TEST(FusedSweeps, MisalignedPointersGiveThePlainLoopsBits) {
    checkAtOffsets<double>();
    checkAtOffsets<float>();
}

TEST(FusedSweeps, ColumnsSideBySideGiveThePlainLoopsBits) {
    checkColumns<double>();
    checkColumns<float>();
}
