// Arrays: shared data, copies, shapes, strings, sparse, and reclaiming by the call frame.
#include <algorithm>
#include <cstring>

#include "tests/cpp/support.hpp"

using namespace vltest;
using namespace matrix::detail::noninlined::vx_array_api;

TEST(Arrays, SharedDataCopyOutlivesTheOriginalInEitherOrder) {
    const long before = vlhost::liveArrays();
    for (int destroyOriginalFirst = 0; destroyOriginalFirst < 2; ++destroyOriginalFirst) {
        vxArray* a = vlhost::createNumeric({3, 4}, VX_DOUBLE_CLASS, false);
        for (int i = 0; i < 12; ++i) static_cast<double*>(a->data)[i] = i;
        vxArray* b = vxCreateSharedDataCopy(a);
        EXPECT_EQ(a->data, b->data);
        EXPECT_TRUE(vlhost::sharesData(a, b));
        vxDestroyArray(destroyOriginalFirst ? a : b);
        vxArray* kept = destroyOriginalFirst ? b : a;
        for (int i = 0; i < 12; ++i) EXPECT_EQ(static_cast<double*>(kept->data)[i], i);
        vxDestroyArray(kept);
    }
    EXPECT_EQ(vlhost::liveArrays(), before);
}

TEST(Arrays, DeepCopyAndMutationLeaveTheOtherHandleAlone) {
    Array z = complexes({1, 3}, {{1, 0}, {2, 0}, {3, 0}});
    Array shared(vxCreateSharedDataCopy(z.get()));
    Array deep(vxCreateDeepCopy(z.get()));
    EXPECT_NE(deep->data, z->data);
    vxFreeImagIfZero(shared.get());  // all imaginary parts zero: turns real, on its own data
    EXPECT_FALSE(vlhost::isComplex(shared.get()));
    EXPECT_TRUE(vlhost::isComplex(z.get()));
    EXPECT_EQ(static_cast<double*>(shared->data)[2], 3.0);
    EXPECT_EQ(static_cast<std::complex<double>*>(z->data)[2], std::complex<double>(3, 0));
}

TEST(Arrays, ShapesKeepTwoDimensionsAndDropTrailingSingletons) {
    EXPECT_EQ(vlhost::dimensions(numeric({5}).get()), (std::vector<size_t>{5, 1}));
    EXPECT_EQ(vlhost::dimensions(numeric({2, 3, 1, 1}).get()), (std::vector<size_t>{2, 3}));
    EXPECT_EQ(vlhost::dimensions(numeric({2, 1, 4}).get()), (std::vector<size_t>{2, 1, 4}));
    Array a = numeric({2, 3, 4});
    EXPECT_EQ(a->numDims, 3u);
    EXPECT_EQ(vxGetN(a.get()), 12u);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(a->data) % 64, 0u);
    vxSetN(a.get(), 12);
    EXPECT_EQ(vlhost::dimensions(a.get()), (std::vector<size_t>{2, 12}));
    EXPECT_TRUE(vxIsEmpty(numeric({0, 3}).get()));
    EXPECT_TRUE(vxIsVector(numeric({1, 7}).get()));
    EXPECT_FALSE(vxIsVector(numeric({1, 7, 2}).get()));
}

TEST(Arrays, ClassFieldsAndFlags) {
    EXPECT_EQ(numeric({1, 1}, VX_SINGLE_CLASS, true)->flags & VX_FLAG_COMPLEX, VX_FLAG_COMPLEX);
    EXPECT_EQ(numeric({1, 1}, VX_INT8_CLASS)->flags, VX_FLAG_NUMERIC);
    EXPECT_EQ(numeric({1, 1}, VX_LOGICAL_CLASS)->flags & VX_FLAG_NUMERIC, 0u);
    Array s(vlhost::createStringArray({1, 2}, {u"ab", std::nullopt}));
    EXPECT_GT(s->classID, 16);
    EXPECT_EQ(s->_get_class_id_non_trivial(), VX_OBJECT_CLASS);
    const auto& record = Veltrix::String::getString(s.get());
    ASSERT_EQ(record.elements.size(), 2u);
    EXPECT_EQ(std::u16string(record.elements[0]->text, record.elements[0]->length), u"ab");
    EXPECT_EQ(record.elements[1], nullptr);
    EXPECT_EQ(record.dims, (std::vector<size_t>{1, 2}));
    EXPECT_THROW(vlhost::createNumeric({1, 1}, VX_CELL_CLASS, false), vlhost::HostError);
}

TEST(Arrays, SparseReadsAndBecomesFull) {
    // [0 2; 5 0; 0 7] in compressed columns.
    Array s(vlhost::createSparse(3, 2, VX_DOUBLE_CLASS, false, {1, 0, 2}, {0, 1, 3},
                                 std::vector<double>{5, 2, 7}.data()));
    EXPECT_EQ(s->flags & VX_FLAG_SPARSE, VX_FLAG_SPARSE);
    EXPECT_EQ(vxGetScalar(s.get()), 0.0);
    Array full(vxMustBe(s.get(), VX_DOUBLE_CLASS));
    const double* f = static_cast<const double*>(full->data);
    EXPECT_EQ(std::vector<double>(f, f + 6), (std::vector<double>{0, 5, 0, 2, 0, 7}));
    Array copy(vxCreateDeepCopy(s.get()));
    EXPECT_EQ(vlhost::sparseView(copy.get()).nonZeros, 3u);
    EXPECT_EQ(vlhost::sparseView(copy.get()).rowIndex[2], 2u);
}

namespace {

// A built-in that makes arrays and host blocks, keeps some, and throws or returns.
bool gThrow = false;
void makesGarbage(int, vxArray** plhs, int, const vxArray**) {
    vxArray* a = vxCreateDoubleMatrix(10, 10, vxREAL);
    vxCreateSharedDataCopy(a);
    vxMalloc(1000);
    void* grown = vxRealloc(vxCalloc(10, 8), 1 << 20);
    static_cast<char*>(grown)[0] = 1;
    vxMustBeComplex(1, &a);
    plhs[0] = vxCreateNumericMatrix(2, 2, VX_SINGLE_CLASS, vxREAL);
    vxFree(vxMalloc(10));
    if (gThrow) matrix::detail::error_maxrhs();
}

}  // namespace

TEST(Arrays, CallFrameReclaimsEverythingButResultsAlsoAfterAThrow) {
    const long arrays = vlhost::liveArrays(), blocks = vlhost::liveByteBlocks();
    gThrow = true;
    EXPECT_EQ(errorOf(makesGarbage, 1, {}), "VELTRA:maxrhs");
    EXPECT_EQ(vlhost::liveArrays(), arrays);
    EXPECT_EQ(vlhost::liveByteBlocks(), blocks);

    gThrow = false;
    {
        Outputs out = run(makesGarbage, 0, {});  // nlhs 0 still gets plhs[0]
        ASSERT_EQ(out.arrays.size(), 1u);
        EXPECT_EQ(vlhost::classOf(out.arrays[0].get()), VX_SINGLE_CLASS);
        EXPECT_EQ(vlhost::liveArrays(), arrays + 1);
    }
    EXPECT_EQ(vlhost::liveArrays(), arrays);
    EXPECT_EQ(vlhost::liveByteBlocks(), blocks);
}

namespace {
// Shrinks a result in place: the first columns stay where they are.
void shrinksItsResult(int, vxArray** plhs, int, const vxArray**) {
    vxArray* y = vxCreateNumericMatrix(4, 10, VX_DOUBLE_CLASS, vxREAL);
    double* d = static_cast<double*>(y->data);
    for (int i = 0; i < 40; ++i) d[i] = i;
    vxSetData(y, vxRealloc(y->data, 4 * 5 * sizeof(double)));
    vxSetN(y, 5);
    plhs[0] = y;
}
}  // namespace

TEST(Arrays, ResultShrunkByReallocationKeepsItsColumns) {
    const long blocks = vlhost::liveByteBlocks();
    {
        Outputs out = run(shrinksItsResult, 1, {});
        EXPECT_EQ(vlhost::dimensions(out.arrays[0].get()), (std::vector<size_t>{4, 5}));
        EXPECT_EQ(static_cast<double*>(out.arrays[0]->data)[19], 19.0);
    }
    EXPECT_EQ(vlhost::liveByteBlocks(), blocks);
}

namespace {
void returnsItsInput(int, vxArray** plhs, int, const vxArray** prhs) { plhs[0] = const_cast<vxArray*>(prhs[0]); }
}  // namespace

TEST(Arrays, AResultThatIsAnArgumentBecomesItsOwnHandle) {
    Array in = doubles({1, 2}, {1, 2});
    Outputs out = run(returnsItsInput, 1, {in.get()});
    EXPECT_NE(out.arrays[0].get(), in.get());
    out.arrays.clear();
    EXPECT_EQ(static_cast<double*>(in->data)[1], 2.0);  // the input survives its result
}

TEST(Arrays, ZeroedArraysAreZeroAlsoInAReusedLargeBlockOnSeveralThreads) {
    // A freed large block is kept and handed out again; a zeroed array made in it must not see
    // what the last one left, whether one thread or several clear it. Odd sizes leave a ragged
    // last piece.
    for (size_t threads : {1, 2})
        for (size_t rows : {size_t(1) << 20, (size_t(1) << 20) + 12345}) {
            vlhost::setNumThreads(threads);
            {
                Array dirty = numeric({rows, 1});
                std::memset(dirty->data, 0xff, rows * sizeof(double));
            }
            Array clean(vxCreateDoubleMatrix(rows, 1, vxREAL));
            const auto* p = static_cast<const unsigned char*>(clean->data);
            EXPECT_TRUE(std::all_of(p, p + rows * sizeof(double), [](unsigned char c) { return c == 0; }));
        }
    vlhost::setNumThreads(2);
}

TEST(Arrays, LargeDeepCopiesAreExactOnSeveralThreads) {
    std::mt19937_64 rng(3);
    const size_t rows = (size_t(1) << 19) + 77;  // over the parallel size, complex, a ragged piece
    Array a = complexes({rows, 1}, randomComplexes(rows, rng));
    for (size_t threads : {1, 2}) {
        vlhost::setNumThreads(threads);
        Array copy(vxCreateDeepCopy(a.get()));
        ASSERT_NE(copy->data, a->data);
        EXPECT_EQ(std::memcmp(copy->data, a->data, rows * 2 * sizeof(double)), 0);
    }
    vlhost::setNumThreads(2);
}
