// The exception scheme: exact types thrown, identifiers, arguments, clone and rethrow.
#include <memory>

#include "module/exception.hpp"
#include "tests/cpp/support.hpp"

using namespace vlmathdsp;
using foundation::core::except::IMsgIDException;

TEST(Exceptions, ThrowersThrowTheExactClassWithItsIdentifier) {
    try {
        raise<VELTRA::conv2::inputType>();
        FAIL();
    } catch (const MsgException<VELTRA::conv2::inputType>& e) {
        EXPECT_EQ(e.GetErrorIdentifier(), "VELTRA:conv2:inputType");
        EXPECT_EQ(e.GetMsgID()->component, "VELTRA:conv2");
        EXPECT_EQ(e.GetMsgID()->key, "inputType");
        EXPECT_TRUE(e.GetMsgID()->arguments.empty());
        EXPECT_STREQ(e.what(), "Inputs must be numeric or logical.");
    }
    EXPECT_THROW(raise<VELTRA::filter::inputType>(), MsgException<VELTRA::filter::inputType>);
    EXPECT_THROW(raise<VELTRA::filter::inputType>(), IMsgIDException);
    EXPECT_THROW(raise<VELTRA::filter::inputType>(), std::exception);
}

TEST(Exceptions, BadSubscriptCarriesItsOneTextArgument) {
    const resource_core::BaseMsgID id = badsubscript("Invalid pooling size.");
    ASSERT_EQ(id.arguments.size(), 1u);
    EXPECT_EQ(std::get<std::string>(id.arguments[0]), "Invalid pooling size.");
    try {
        raiseBadSubscript("Invalid pooling size.");
        FAIL();
    } catch (const IMsgIDException& e) {
        EXPECT_EQ(e.GetErrorIdentifier(), "VELTRA:legacy_two_part:badsubscript");
        EXPECT_STREQ(e.what(), "Invalid pooling size.");
    }
    EXPECT_TRUE(makeMsgID<VELTRA::ltitr::invalidInitialCondition>().arguments.empty());
}

TEST(Exceptions, CloneAndRethrowKeepComponentKeyAndIdentifier) {
    try {
        raise<VELTRA::legacy_two_part::square>();
    } catch (const boost::exception_detail::clone_base& e) {
        std::unique_ptr<const boost::exception_detail::clone_base> copy(e.clone());
        try {
            copy->rethrow();
            FAIL();
        } catch (const MsgException<VELTRA::legacy_two_part::square>& again) {
            const auto& original = dynamic_cast<const IMsgIDException&>(e);
            EXPECT_EQ(again.GetErrorIdentifier(), original.GetErrorIdentifier());
            EXPECT_EQ(again.GetMsgID()->component, original.GetMsgID()->component);
            EXPECT_EQ(again.GetMsgID()->key, original.GetMsgID()->key);
            EXPECT_NE(again.GetMsgID(), original.GetMsgID());
        }
    }
}

namespace {
void warnsAndGoesOn(int, vxArray** plhs, int, const vxArray**) {
    warn<VELTRA::dcstfcn::DCSToutputSizeNotRealIntRowVector>();
    plhs[0] = matrix::detail::noninlined::vx_array_api::vxCreateDoubleMatrix(1, 1, vxREAL);
}
}  // namespace

TEST(Exceptions, WarningsGoToTheHostAndTheCallGoesOn) {
    vltest::Outputs out = vltest::run(warnsAndGoesOn, 1, {});
    ASSERT_EQ(out.warnings.size(), 1u);
    EXPECT_EQ(out.warnings[0].identifier, "VELTRA:dcstfcn:DCSToutputSizeNotRealIntRowVector");
    EXPECT_EQ(out.arrays.size(), 1u);
}

TEST(Exceptions, CountsAreCheckedInTheirOrder) {
    auto identifier = [](int nlhs, int nrhs) -> std::string {
        try {
            checkArgumentCounts(nlhs, 1, nrhs, 3, 4);
        } catch (const IMsgIDException& e) {
            return e.GetErrorIdentifier();
        }
        return "";
    };
    EXPECT_EQ(identifier(2, 9), "VELTRA:maxlhs");
    EXPECT_EQ(identifier(2, 0), "VELTRA:maxlhs");
    EXPECT_EQ(identifier(1, 5), "VELTRA:maxrhs");
    EXPECT_EQ(identifier(0, 2), "VELTRA:minrhs");
    EXPECT_EQ(identifier(0, 3), "");
}

TEST(Exceptions, TheCatalogueHasATextForEveryIdentifier) {
#define VELTRA_MSG(component_, key_, kind_) \
    EXPECT_TRUE(vlhost::catalogueHas("VELTRA:" #component_ ":" #key_)) << #component_ ":" #key_;
#include "module/message_ids.def"
#undef VELTRA_MSG
    for (const char* host : {"VELTRA:maxlhs", "VELTRA:maxrhs", "VELTRA:minrhs"})
        EXPECT_TRUE(vlhost::catalogueHas(host)) << host;
    EXPECT_EQ(vlhost::catalogueText("VELTRA:legacy_two_part", "badsubscript", {"Invalid pooling size."}),
              "Invalid pooling size.");
}
