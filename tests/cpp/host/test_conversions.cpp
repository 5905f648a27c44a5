// Class conversions, index and dimension readers, and text services.
#include <cmath>
#include <limits>

#include "tests/cpp/support.hpp"

using namespace vltest;
using namespace matrix::detail::noninlined::vx_array_api;

namespace {

template <class T>
std::vector<T> convertedValues(const std::vector<double>& in, vxClassID to) {
    Array a = doubles({1, in.size()}, in);
    Array c(vxMustBe(a.get(), to));
    EXPECT_EQ(vlhost::classOf(c.get()), to);
    const T* p = static_cast<const T*>(c->data);
    return std::vector<T>(p, p + in.size());
}

const double kNaN = std::numeric_limits<double>::quiet_NaN();
const double kInf = std::numeric_limits<double>::infinity();

}  // namespace

TEST(Conversions, IntegersRoundTiesAwayFromZeroSaturateAndTakeNaNAsZero) {
    EXPECT_EQ(convertedValues<int8_t>({2.5, -2.5, 0.49, -0.5, 300, -300, kNaN, kInf, -kInf}, VX_INT8_CLASS),
              (std::vector<int8_t>{3, -3, 0, -1, 127, -128, 0, 127, -128}));
    EXPECT_EQ(convertedValues<uint8_t>({-1, 254.5, 1e9}, VX_UINT8_CLASS), (std::vector<uint8_t>{0, 255, 255}));
    EXPECT_EQ(convertedValues<int64_t>({9.3e18, -9.3e18, 9223372036854775807.0}, VX_INT64_CLASS),
              (std::vector<int64_t>{INT64_MAX, INT64_MIN, INT64_MAX}));
    EXPECT_EQ(convertedValues<uint64_t>({18446744073709551616.0, 4e18}, VX_UINT64_CLASS),
              (std::vector<uint64_t>{UINT64_MAX, 4000000000000000000ull}));
    EXPECT_EQ(convertedValues<int32_t>({-2147483648.6, 2147483647.4}, VX_INT32_CLASS),
              (std::vector<int32_t>{INT32_MIN, INT32_MAX}));
}

TEST(Conversions, LogicalIsNonZeroAndOtherClassesKeepValues) {
    EXPECT_EQ(convertedValues<bool>({0, -0.0, 2, kNaN}, VX_LOGICAL_CLASS), (std::vector<bool>{0, 0, 1, 1}));
    EXPECT_EQ(convertedValues<float>({0.1, 1e300}, VX_SINGLE_CLASS), (std::vector<float>{0.1f, INFINITY}));
    EXPECT_EQ(convertedValues<char16_t>({65, 66.5, -3}, VX_CHAR_CLASS), (std::vector<char16_t>{u'A', u'C', 0}));
    // Integer to integer saturates; integer to double is exact here.
    Array i16 = fromValues<int16_t>({1, 3}, {-5, 300, 7}, VX_INT16_CLASS);
    Array u8(vxMustBe(i16.get(), VX_UINT8_CLASS));
    EXPECT_EQ(std::vector<uint8_t>(static_cast<uint8_t*>(u8->data), static_cast<uint8_t*>(u8->data) + 3),
              (std::vector<uint8_t>{0, 255, 7}));
    Array u64 = fromValues<uint64_t>({1, 1}, {UINT64_MAX}, VX_UINT64_CLASS);
    Array i64(vxMustBe(u64.get(), VX_INT64_CLASS));
    EXPECT_EQ(*static_cast<int64_t*>(i64->data), INT64_MAX);
    Array d(vxMustBe(i16.get(), VX_DOUBLE_CLASS));
    EXPECT_EQ(static_cast<double*>(d->data)[0], -5.0);
}

TEST(Conversions, SameClassIsTheArrayItselfAndComplexKeepsBothParts) {
    Array a = doubles({1, 2}, {1, 2});
    EXPECT_EQ(vxMustBe(a.get(), VX_DOUBLE_CLASS), a.get());
    Array z = complexes({1, 2}, {{1.5, -2.5}, {0, 3}});
    Array zs(vxMustBe(z.get(), VX_SINGLE_CLASS));
    EXPECT_TRUE(vlhost::isComplex(zs.get()));
    EXPECT_EQ(static_cast<std::complex<float>*>(zs->data)[0], std::complex<float>(1.5f, -2.5f));
    Array zi(vxMustBe(z.get(), VX_INT8_CLASS));
    EXPECT_EQ(static_cast<int8_t*>(zi->data)[1], -3);  // imaginary part of element 0, rounded away
    Array zc(vxMustBeComplex(1, std::vector<vxArray*>{a.get()}.data()));
    EXPECT_EQ(static_cast<std::complex<double>*>(zc->data)[1], std::complex<double>(2, 0));
    EXPECT_FALSE(vlhost::isComplex(a.get()));
}

TEST(Conversions, ClassesWithoutNumbersAreRefusedWithTheirIdentifier) {
    Array z = complexes({1, 1}, {{1, 1}});
    Array cell(vlhost::createCell({1, 1}, {vlhost::createNumeric({1, 1}, VX_DOUBLE_CLASS, false)}));
    Array str(vlhost::createStringArray({1, 1}, {u"x"}));
    for (const vxArray* bad : {static_cast<const vxArray*>(cell.get()), static_cast<const vxArray*>(str.get())}) {
        try {
            vxMustBe(bad, VX_DOUBLE_CLASS);
            ADD_FAILURE() << "no error";
        } catch (const foundation::core::except::IMsgIDException& e) {
            EXPECT_EQ(e.GetErrorIdentifier(), "VELTRA:invalidConversion");
        }
    }
    EXPECT_THROW(vxMustBe(z.get(), VX_LOGICAL_CLASS), foundation::core::except::IMsgIDException);
}

TEST(Conversions, IndexAndDimensionReaders) {
    EXPECT_EQ(vxCheckIndex(7.0), 7u);
    EXPECT_EQ(vxCheckIndex(2.5), 3u);  // the caller compares to find fractions
    EXPECT_THROW(vxCheckIndex(-1.0), foundation::core::except::IMsgIDException);
    EXPECT_THROW(vxCheckIndex(std::nan("")), foundation::core::except::IMsgIDException);
    EXPECT_EQ(mathcoreGetDimArg(doubles({1, 1}, {3}).get()), 2u);
    for (double bad : {0.0, 1.5, -2.0, kNaN})
        EXPECT_THROW(mathcoreGetDimArg(doubles({1, 1}, {bad}).get()), foundation::core::except::IMsgIDException);
    EXPECT_THROW(mathcoreGetDimArg(doubles({1, 2}, {1, 2}).get()), foundation::core::except::IMsgIDException);
    const size_t dims[] = {1, 1, 4, 5};
    EXPECT_EQ(mathcoreFindFirstNonSingleton(4, dims), 2u);
    EXPECT_EQ(mathcoreFindFirstNonSingleton(2, dims), 0u);
}

TEST(Text, ScalarTextReadersAndCaseInsensitiveCompare) {
    Array row(vlhost::createChar(u"Same"));
    Array matrix(vlhost::createCharArray({2, 2}, u"abcd"));
    Array empty(vlhost::createChar(u""));
    Array one(vlhost::createStringArray({1, 1}, {u"valid"}));
    Array missing(vlhost::createStringArray({1, 1}, {std::nullopt}));
    Array two(vlhost::createStringArray({1, 2}, {u"a", u"b"}));
    using namespace Veltrix::String;
    EXPECT_TRUE(isScalarText(row.get(), false, true));
    EXPECT_TRUE(isScalarText(empty.get(), false, true));
    EXPECT_FALSE(isScalarText(matrix.get(), false, true));
    EXPECT_TRUE(isScalarText(one.get(), false, false));
    EXPECT_TRUE(isScalarText(missing.get(), false, true));
    EXPECT_FALSE(isScalarText(missing.get(), false, false));
    EXPECT_FALSE(isScalarText(two.get(), false, true));
    std::u16string text;
    EXPECT_TRUE(getScalarText(one.get(), text, false));
    EXPECT_EQ(text, u"valid");
    EXPECT_TRUE(getScalarText(row.get(), text, false));
    EXPECT_EQ(text, u"Same");

    const fl::i18n::case_insensitive ci;
    EXPECT_EQ(fl::i18n::lcctype::compare(u"SaMe", 4, u"same", 4, ci), 0);
    EXPECT_NE(fl::i18n::lcctype::compare(u"sam", 3, u"same", 4, ci), 0);
    EXPECT_NE(fl::i18n::lcctype::compare(u"samf", 4, u"same", 4, ci), 0);
    EXPECT_EQ((fl::i18n::converter<char, char16_t>::convert(u"ab\u00e9", 3)), "ab?");
}
