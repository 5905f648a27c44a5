// The embedding API's less travelled paths: refusals of malformed arrays, copies of arrays that
// hold other arrays, built-ins that fail in foreign ways, the library's variants, the error
// scheme's texts.
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <limits>
#include <stdexcept>
#include <system_error>

#include "host/errors.hpp"
#include "tests/cpp/support.hpp"

using namespace vltest;
using namespace matrix::detail::noninlined::vx_array_api;
using foundation::core::except::IMsgIDException;

TEST(EmbeddingApi, MalformedArraysAreRefusedBeforeAnythingIsMade) {
    const long arrays = vlhost::liveArrays();
    double values[2] = {1, 2};
    EXPECT_THROW(vlhost::createSparse(2, 2, VX_SINGLE_CLASS, false, {0}, {0, 1, 1}, values), std::invalid_argument);
    EXPECT_THROW(vlhost::createSparse(2, 2, VX_DOUBLE_CLASS, false, {0}, {0, 1}, values), std::invalid_argument);
    EXPECT_THROW(vlhost::createSparse(2, 2, VX_DOUBLE_CLASS, false, {5}, {0, 1, 1}, values), std::invalid_argument);
    EXPECT_THROW(vlhost::createStruct({1, 2}, {"a"}, {nullptr}), std::invalid_argument);
    EXPECT_THROW(vlhost::wrapNumeric({2, 1}, VX_CELL_CLASS, false, values, nullptr, nullptr), std::invalid_argument);
    EXPECT_EQ(identifierOf([] { vlhost::destroy(vxCreateNumericMatrix(2, 2, VX_CELL_CLASS, vxREAL)); }),
              "VELTRA:invalidClass");
    EXPECT_EQ(identifierOf([] { vlhost::destroy(vxCreateNumericMatrix(2, 2, VX_LOGICAL_CLASS, vxCOMPLEX)); }),
              "VELTRA:invalidClass");
    Array number = doubles({1, 1}, {3});
    EXPECT_THROW(vlhost::children(number.get()), std::invalid_argument);
    EXPECT_THROW(vlhost::fieldNames(number.get()), std::invalid_argument);
    EXPECT_THROW(vlhost::functionName(number.get()), std::invalid_argument);
    EXPECT_EQ(vlhost::liveArrays(), arrays + 1);
}

TEST(EmbeddingApi, DeepCopiesOfArraysOfArraysOwnTheirChildren) {
    Array cell(vlhost::createCell({1, 2}, {vlhost::createChar(u"ab"), nullptr}));
    Array record(vlhost::createStruct({1, 1}, {"x", "f"}, {vlhost::createChar(u"q"), vlhost::createFunctionHandle("sin")}));
    Array text(vlhost::createStringArray({1, 2}, {u"one", std::nullopt}));
    for (const vxArray* original : {cell.get(), record.get(), text.get()}) {
        Array copy(vxCreateDeepCopy(original));
        EXPECT_EQ(vlhost::classOf(copy.get()), vlhost::classOf(original));
        EXPECT_EQ(vlhost::dimensions(copy.get()), vlhost::dimensions(original));
        EXPECT_FALSE(vlhost::sharesData(copy.get(), original));
    }
    Array cellCopy(vxCreateDeepCopy(cell.get()));
    const auto& kids = vlhost::children(cellCopy.get());
    ASSERT_EQ(kids.size(), 2u);
    EXPECT_NE(kids[0], vlhost::children(cell.get())[0]) << "a child is copied, not shared";
    EXPECT_EQ(vlhost::dimensions(kids[0]), (std::vector<size_t>{1, 2}));
    EXPECT_EQ(kids[1], nullptr);
    Array recordCopy(vxCreateDeepCopy(record.get()));
    EXPECT_EQ(vlhost::fieldNames(recordCopy.get()), (std::vector<std::string>{"x", "f"}));
    EXPECT_EQ(vlhost::functionName(vlhost::children(recordCopy.get())[1]), "sin");
    Array textCopy(vxCreateDeepCopy(text.get()));
    EXPECT_EQ(vlhost::strings(textCopy.get()), (std::vector<std::optional<std::u16string>>{u"one", std::nullopt}));
}

TEST(EmbeddingApi, DroppingZeroImaginaryPartsCopiesSharedDataFirst) {
    Array z = complexes({1, 3}, {{1, 0}, {2, 0}, {3, 0}});
    Array shared(vxCreateSharedDataCopy(z.get()));
    vxFreeImagIfZero(shared.get());
    EXPECT_FALSE(vlhost::isComplex(shared.get()));
    EXPECT_TRUE(vlhost::isComplex(z.get())) << "the other handle keeps its complex data";
    const double* re = static_cast<const double*>(shared->data);
    EXPECT_EQ(std::vector<double>(re, re + 3), (std::vector<double>{1, 2, 3}));
    std::complex<double> sv[2] = {{4, 0}, {6, 0}};
    Array sparse(vlhost::createSparse(2, 3, VX_DOUBLE_CLASS, true, {1, 0}, {0, 1, 1, 2}, sv));
    Array sparseShared(vxCreateSharedDataCopy(sparse.get()));
    vxFreeImagIfZero(sparseShared.get());
    EXPECT_FALSE(vlhost::isComplex(sparseShared.get()));
    EXPECT_TRUE(vlhost::isComplex(sparse.get()));
    Array full(vxMustBe(sparseShared.get(), VX_DOUBLE_CLASS));
    const double* f = static_cast<const double*>(full->data);
    EXPECT_EQ(std::vector<double>(f, f + 6), (std::vector<double>{0, 4, 0, 0, 6, 0}));
}

TEST(EmbeddingApi, ScalarsAndFinitenessOfEveryClass) {
    for (vxClassID id : {VX_INT8_CLASS, VX_UINT8_CLASS, VX_INT16_CLASS, VX_UINT16_CLASS, VX_INT32_CLASS,
                         VX_UINT32_CLASS, VX_INT64_CLASS, VX_UINT64_CLASS, VX_SINGLE_CLASS, VX_LOGICAL_CLASS}) {
        Array seven(vxCreateNumericMatrix(1, 1, id, vxREAL));
        Array one = doubles({1, 1}, {id == VX_LOGICAL_CLASS ? 1.0 : 7.0});
        Array converted(vxMustBe(one.get(), id));
        EXPECT_EQ(vxGetScalar(converted.get()), id == VX_LOGICAL_CLASS ? 1.0 : 7.0) << id;
        EXPECT_EQ(vxGetScalar(seven.get()), 0.0) << "zeroed on creation";
    }
    Array text(vlhost::createChar(u"A"));
    EXPECT_EQ(vxGetScalar(text.get()), 65.0);
    Array singles = fromValues<float>({1, 3}, {1, std::numeric_limits<float>::infinity(), 2}, VX_SINGLE_CLASS);
    EXPECT_FALSE(vxIsFiniteNumericArray(singles.get()));
    static_cast<float*>(singles->data)[1] = 0;
    EXPECT_TRUE(vxIsFiniteNumericArray(singles.get()));
    Array cell(vlhost::createCell({1, 1}, {vlhost::createChar(u"x")}));
    EXPECT_FALSE(vxIsFiniteNumericArray(cell.get())) << "a cell holds no numbers of its own";

    size_t dims[3] = {2, 3, 4};
    Array u1(vxCreateUninitNumericMatrix(5, 6, VX_SINGLE_CLASS, 1));
    Array u2(vxCreateUninitNumericArray(3, dims, VX_INT16_CLASS, vxREAL));
    Array u3(vxCreateUninitNumericArray(3, dims, VX_DOUBLE_CLASS, vxCOMPLEX, 0, nullptr));
    EXPECT_TRUE(vlhost::isComplex(u1.get()));
    EXPECT_EQ(vlhost::dimensions(u2.get()), (std::vector<size_t>{2, 3, 4}));
    EXPECT_EQ(vxGetElementSize(u3.get()), 16u);
}

TEST(EmbeddingApi, SingleProductsAndMismatchedClassesOrOutputs) {
    Array a = fromValues<float>({2, 2}, {1, 2, 3, 4}, VX_SINGLE_CLASS), b = fromValues<float>({2, 1}, {1, 1}, VX_SINGLE_CLASS);
    Array c = numeric({2, 1}, VX_SINGLE_CLASS);
    vfMatrixMult(a.get(), b.get(), c.get());
    const float* r = static_cast<const float*>(c->data);
    EXPECT_EQ(std::vector<float>(r, r + 2), (std::vector<float>{4, 6}));
    Array d = numeric({2, 1});
    EXPECT_EQ(identifierOf([&] { vfMatrixMult(a.get(), b.get(), d.get()); }), "VELTRA:invalidClass");
    Array wrongOut = numeric({3, 1}, VX_SINGLE_CLASS);
    EXPECT_EQ(identifierOf([&] { vfMatrixMult(a.get(), b.get(), wrongOut.get()); }), "VELTRA:innerdim");
}

namespace {
void throwsRuntime(int, vxArray**, int, const vxArray**) { throw std::runtime_error("kernel gave up"); }
void throwsInt(int, vxArray**, int, const vxArray**) { throw 42; }
void throwsNoMemory(int, vxArray**, int, const vxArray**) { throw std::system_error(ENOMEM, std::generic_category()); }
void throwsNoThread(int, vxArray**, int, const vxArray**) {
    throw std::runtime_error(std::string("cannot start a worker: ") + std::strerror(EAGAIN));
}
void throwsSystemOther(int, vxArray**, int, const vxArray**) { throw std::system_error(EINVAL, std::generic_category()); }
}  // namespace

TEST(EmbeddingApi, ForeignFailuresOfABuiltinGetAnIdentifier) {
    try {
        run(throwsRuntime, 1, {});
        FAIL();
    } catch (const vlhost::HostError& e) {
        EXPECT_EQ(e.identifier, "VELTRA:internal");
        EXPECT_EQ(std::string(e.what()), "Internal error: kernel gave up");
    }
    EXPECT_EQ(errorOf(throwsInt, 1, {}), "VELTRA:internal");
    EXPECT_EQ(errorOf(throwsNoMemory, 1, {}), "VELTRA:nomem");
    EXPECT_EQ(errorOf(throwsNoThread, 1, {}), "VELTRA:nomem");
    EXPECT_EQ(errorOf(throwsSystemOther, 1, {}), "VELTRA:internal");
    EXPECT_EQ(identifierOf([] { vlhost::callFunction("veltra.no.such", 1, {}); }), "VELTRA:undefinedFunction");
}

TEST(EmbeddingApi, TheLibraryBesideTheHostAndItsVariants) {
    const vlhost::Module& beside = vlhost::Module::loadDefault();
    Array a = doubles({2, 2}, {1, 2, 3, 4}), k = doubles({1, 1}, {2});
    vlhost::CallResult r = vlhost::callSlot(beside, 2, 1, {a.get(), k.get()});
    Array out(r.outputs[0]);
    EXPECT_EQ(static_cast<const double*>(out->data)[3], 8.0);
    EXPECT_NE(beside.tableAddress(), nullptr);

    EXPECT_EQ(vlhost::bestModuleVariant("/nowhere/lib"), "/nowhere/lib") << "no .so: taken as it is";
    EXPECT_EQ(vlhost::bestModuleVariant("/nowhere/libvlmathdsp.so"), "/nowhere/libvlmathdsp.so");
    const char* before = std::getenv("VLMATHDSP_ISA");
    const std::string saved = before ? before : "";
    for (const char* asked : {"x86-64-v4", "pentium"}) {
        setenv("VLMATHDSP_ISA", asked, 1);
        EXPECT_EQ(identifierOf([] { vlhost::bestModuleVariant("/nowhere/libvlmathdsp.so"); }), "VELTRA:isaUnavailable")
            << asked;
    }
    setenv("VLMATHDSP_ISA", "baseline", 1);
    EXPECT_EQ(vlhost::bestModuleVariant("/nowhere/libvlmathdsp.so"), "/nowhere/libvlmathdsp.so");
    if (before) setenv("VLMATHDSP_ISA", saved.c_str(), 1);
    else unsetenv("VLMATHDSP_ISA");
}

TEST(EmbeddingApi, TheErrorSchemesTextsAndWarningsOutsideACall) {
    try {
        vlhost::destroy(vxCreateNumericMatrix(1, 1, VX_STRUCT_CLASS, vxREAL));
        FAIL();
    } catch (const IMsgIDException& e) {
        const std::string what = e.what();
        EXPECT_EQ(what.rfind("Invalid array class", 0), 0u) << what;
        EXPECT_EQ(e.GetUnicodeMessageTxt(), std::u16string(what.begin(), what.end()));
        EXPECT_EQ(e.ToUstringImpl(), e.GetUnicodeMessageTxt());
        EXPECT_EQ(e.convert_str(e.GetUnicodeMessageTxt()), what);
        EXPECT_EQ(e.convert_str(what), e.GetUnicodeMessageTxt());
    }
    struct Plain : foundation::core::except::IUserException {};
    EXPECT_STREQ(Plain().what(), "host error");
    EXPECT_EQ(Plain().ToUstringImpl(), u"host error");
    resource_core::BaseMsgID wide{{std::u16string(u"n\u00e9")}, "VELTRA", "undefinedFunction"};
    EXPECT_EQ(vlhost::detail::catalogueText(wide), "Undefined function: n?.") << "wide arguments narrow to ASCII";
    testing::internal::CaptureStderr();
    vxWarningMsgId(resource_core::BaseMsgID{{}, "VELTRA:fftfcn", "WisdomImportFailed"});
    EXPECT_NE(testing::internal::GetCapturedStderr().find("[VELTRA:fftfcn:WisdomImportFailed]"), std::string::npos);
}

TEST(EmbeddingApi, PermutingArraysOfArraysMovesTheirChildren) {
    Array cell(vlhost::createCell({2, 3}, {vlhost::createChar(u"a"), vlhost::createChar(u"b"), vlhost::createChar(u"c"),
                                           vlhost::createChar(u"d"), vlhost::createChar(u"e"), nullptr}));
    Array record(vlhost::createStruct({1, 2}, {"k"}, {vlhost::createChar(u"p"), vlhost::createChar(u"q")}));
    Array order = doubles({1, 2}, {2, 1});
    auto permuted = [&](const vxArray* a, const vxArray* o) {
        vxArray* in[2] = {const_cast<vxArray*>(a), const_cast<vxArray*>(o)};
        vxArray* out[1] = {nullptr};
        vxPermuteFcn(1, out, 2, in);
        return Array(out[0]);
    };
    auto textOf = [](const vxArray* a) {
        return a ? std::u16string(static_cast<const char16_t*>(a->data), vlhost::dimensions(a)[1]) : u"-";
    };
    Array t = permuted(cell.get(), order.get());
    EXPECT_EQ(vlhost::dimensions(t.get()), (std::vector<size_t>{3, 2}));
    std::u16string seen;
    for (const vxArray* kid : vlhost::children(t.get())) seen += textOf(kid);
    EXPECT_EQ(seen, u"acebd-") << "element (i, j) of the result is (j, i) of the cell";
    Array r = permuted(record.get(), order.get());
    EXPECT_EQ(vlhost::dimensions(r.get()), (std::vector<size_t>{2, 1}));
    EXPECT_EQ(vlhost::fieldNames(r.get()), (std::vector<std::string>{"k"}));
    EXPECT_EQ(textOf(vlhost::children(r.get())[1]), u"q");
    EXPECT_EQ(identifierOf([&] { permuted(cell.get(), cell.get()); }), "VELTRA:permuteOrder");
}

TEST(EmbeddingApi, DataSetOnAnArrayReplacesItsBlock) {
    Array a = doubles({2, 2}, {1, 2, 3, 4});
    Array shared(vxCreateSharedDataCopy(a.get()));
    auto* fresh = static_cast<double*>(vxMalloc(4 * sizeof(double)));
    for (int i = 0; i < 4; ++i) fresh[i] = 10 + i;
    vxSetData(shared.get(), fresh);
    EXPECT_EQ(shared->data, fresh);
    EXPECT_EQ(static_cast<const double*>(shared->data)[3], 13.0);
    EXPECT_EQ(static_cast<const double*>(a->data)[3], 4.0) << "the other handle keeps the old block";
    vxSetData(shared.get(), fresh);  // the same data again: the block stays
    EXPECT_EQ(shared->data, fresh);
}
