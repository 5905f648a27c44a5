// Finiteness and density from one pass, against plain loops, for every class and awkward placing
// of zeros, NaN and infinities (block edges, the last element, past a first non-finite block).
#include <cmath>
#include <limits>

#include "module/argument_helpers.hpp"
#include "tests/cpp/support.hpp"

namespace {

template <class T>
void checkFacts(vxClassID id) {
    std::mt19937_64 rng(7);
    std::uniform_int_distribution<int> coin(0, 2);
    const T specials[] = {std::numeric_limits<T>::quiet_NaN(), std::numeric_limits<T>::infinity(),
                          -std::numeric_limits<T>::infinity(), std::numeric_limits<T>::max()};
    for (bool complex : {false, true})
        for (size_t count : {size_t(1), size_t(255), size_t(256), size_t(257), size_t(1000)})
            for (size_t at : {size_t(0), size_t(255), size_t(256), count - 1, count})  // count: none
                for (T special : specials) {
                    if (at > count) continue;
                    vltest::Array a = vltest::numeric({count, 1}, id, complex);
                    T* p = static_cast<T*>(a->data);
                    const size_t parts = complex ? 2 : 1;
                    for (size_t i = 0; i < count * parts; ++i) p[i] = coin(rng) ? T(0) : T(i % 7 + 1);
                    if (at < count) p[at * parts + (complex ? at % 2 : 0)] = special;
                    if (count > 600) p[600 * parts] = std::numeric_limits<T>::infinity();  // a second one, later

                    size_t nonZero = 0;
                    bool finite = true;
                    for (size_t i = 0; i < count; ++i) {
                        bool any = false;
                        for (size_t k = 0; k < parts; ++k) {
                            any = any || p[i * parts + k] != T(0);
                            finite = finite && std::isfinite(p[i * parts + k]);
                        }
                        nonZero += any;
                    }
                    const vlmathdsp::ArrayFacts facts = vlmathdsp::scanFacts(a.get());
                    SCOPED_TRACE(testing::Message() << "complex " << complex << " count " << count << " at " << at);
                    EXPECT_EQ(facts.finite, finite);
                    EXPECT_EQ(facts.density, float(nonZero) / float(count));
                    EXPECT_EQ(facts.finite, vlmathdsp::allFinite(a.get()));
                    EXPECT_EQ(facts.density, vlmathdsp::nonZeroDensity(a.get()));
                }
}

TEST(ArrayFacts, OnePassAgreesWithPlainLoops) {
    checkFacts<double>(VX_DOUBLE_CLASS);
    checkFacts<float>(VX_SINGLE_CLASS);
}

// A prefix that shows the density at least the threshold must agree with the whole scan: true
// only when the scan's density is not below it, and true for an array with no zeros at all.
template <class T>
void checkDensePrefix(vxClassID id) {
    for (bool complex : {false, true})
        for (size_t count : {size_t(1), size_t(3), size_t(10), size_t(997), (size_t(1) << 19) + 5})
            for (float threshold : {0.3f, 0.5f, 1.0f})
                for (size_t zeroAt : {size_t(0), count / 4, count / 3, count / 2, count - 1, count}) {
                    vltest::Array a = vltest::numeric({count, 1}, id, complex);
                    T* p = static_cast<T*>(a->data);
                    const size_t parts = complex ? 2 : 1;
                    for (size_t i = 0; i < count * parts; ++i) p[i] = T(i % 5 + 1);
                    if (zeroAt < count)
                        for (size_t k = 0; k < parts; ++k) p[zeroAt * parts + k] = T(0);
                    SCOPED_TRACE(testing::Message() << "complex " << complex << " count " << count << " threshold "
                                                    << threshold << " zero at " << zeroAt);
                    const bool dense = vlmathdsp::denseAtLeast(a.get(), threshold);
                    if (dense) EXPECT_FALSE(vlmathdsp::scanFacts(a.get()).density < threshold);
                    if (zeroAt == count) EXPECT_TRUE(dense);
                    if (zeroAt == 0) EXPECT_FALSE(dense);
                }
}

TEST(ArrayFacts, DensePrefixAgreesWithTheWholeScan) {
    checkDensePrefix<double>(VX_DOUBLE_CLASS);
    checkDensePrefix<float>(VX_SINGLE_CLASS);
}

}  // namespace
