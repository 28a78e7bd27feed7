#include <cstring>
#include <string>
#include <tuple>

#include <gtest/gtest.h>

#include <fl/diag.hpp>
#include <kelvor/common/foundation/matrix/messages.hpp>

#include "message_matchers.hpp"

namespace msg = kelvor::common::foundation::matrix::hy;
using kelvor::testing::ExpectedMessage;
using kelvor::testing::hy_message;
using kelvor::testing::matches_message;

namespace {

// The catalog holds a text for the key and the arguments fill all its placeholders.
void expect_catalogued(const resource_core::BaseMsgID& id) {
    EXPECT_NE(klf::find_catalog_text(id.catalog(), id.key()), nullptr);
    EXPECT_EQ(klf::Message(id).text().find(u'{'), ustring::npos);
}

TEST(Messages, EveryKeyWithoutArgumentsNamesItsCatalogAndKey) {
    // Keys written out apart from the declarations, so that a misspelt key fails here.
    const char* const hy = "kelvor:common:foundation:matrix:hy";
    const std::tuple<resource_core::BaseMsgID, const char*, const char*> rows[] = {
        {msg::InsufficientInputs(), hy, "InsufficientInputs"},
        {msg::ExcessiveInputs(), hy, "ExcessiveInputs"},
        {msg::InsufficientOutputs(), hy, "InsufficientOutputs"},
        {msg::ExcessiveOutputs(), hy, "ExcessiveOutputs"},
        {msg::ScalarValueExpected(), hy, "ScalarValueExpected"},
        {msg::UnexpectedComplex(), hy, "UnexpectedComplex"},
        {msg::UnexpectedSparse(), hy, "UnexpectedSparse"},
        {msg::NonVectorDimension(), hy, "NonVectorDimension"},
        {msg::NegativeDimension(), hy, "NegativeDimension"},
        {msg::NonIntegerDimension(), hy, "NonIntegerDimension"},
        {msg::RealValueExpected(), hy, "RealValueExpected"},
        {msg::NullHyArray(), hy, "NullHyArray"},
        {msg::CharVectorNotARow(), hy, "CharVectorNotARow"},
        {msg::InvalidStringElementArray(), hy, "InvalidStringElementArray"},
        {msg::MissingElement(), hy, "MissingElement"},
        {msg::InvalidStringArray(), hy, "InvalidStringArray"},
        {msg::NonScalarValue(), hy, "NonScalarValue"},
        {msg::InvalidScalarString(), hy, "InvalidScalarString"},
        {msg::StringValueExpected(), hy, "StringValueExpected"},
        {msg::InvalidNullInput(), hy, "InvalidNullInput"},
        {msg::InvalidNullParam(), hy, "InvalidNullParam"},
        {msg::InvalidParamType(), hy, "InvalidParamType"},
        {msg::InvalidParamDim(), hy, "InvalidParamDim"},
        {msg::InvalidRefStruct(), "kelvor:common:foundation:matrix:ref", "InvalidRefStruct"},
        {msg::dimensionMustBePositiveInteger(), "TARVEX:getdimarg",
         "dimensionMustBePositiveInteger"},
    };
#define COUNT(Name, Catalog) +1
    EXPECT_EQ(std::size(rows), 0u KELVOR_MATRIX_NOARG_MESSAGES(COUNT));
#undef COUNT
    for (const auto& [id, catalog, key] : rows) {
        SCOPED_TRACE(key);
        EXPECT_EQ(id.catalog(), catalog);
        EXPECT_EQ(id.key(), key);
        EXPECT_TRUE(id.arguments().empty());
        expect_catalogued(id);
    }
}

TEST(Messages, KeysWithArgumentsKeepOrderAndAlternative) {
    using Args = std::vector<kelvor::testing::MessageArgument>;
    const struct {
        resource_core::BaseMsgID id;
        const char* key;
        Args arguments;
    } rows[] = {
        {msg::UnexpectedClass(u"cell", "struct"), "UnexpectedClass", {ustring(u"cell"), "struct"}},
        {msg::UnexpectedClass(u"x", static_cast<const char*>(nullptr)),
         "UnexpectedClass",
         {ustring(u"x"), ""}},
        {msg::UnexpectedClassGeneric(std::string("logical")),
         "UnexpectedClassGeneric",
         {"logical"}},
        {msg::InconsistentSizesForReshape(u"2x3", 6, u"4x2", 8),
         "InconsistentSizesForReshape",
         {ustring(u"2x3"), std::int64_t{6}, ustring(u"4x2"), std::int64_t{8}}},
        {msg::LogicalValueExpected("cell"), "LogicalValueExpected", {"cell"}},
        {msg::NumericValueExpected("double", "struct"),
         "NumericValueExpected",
         {"double", "struct"}},
        {msg::CellContainsNonCharacterVector("int8"), "CellContainsNonCharacterVector", {"int8"}},
        {msg::InvalidStringClass(static_cast<const char*>(nullptr)), "InvalidStringClass", {""}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(kelvor::testing::describe(row.id));
        EXPECT_EQ(row.id.catalog(), "kelvor:common:foundation:matrix:hy");
        EXPECT_EQ(row.id.key(), row.key);
        EXPECT_EQ(row.id.arguments(), row.arguments);
        expect_catalogued(row.id);
    }
}

klf::MessageException string_expected() {
    return klf::make_exception(msg::StringValueExpected());
}

TEST(Messages, FactoryWithCauseKeepsTheCallersKeyAndAddsOneCause) {
    const klf::ExceptionFactory outer = klf::factory_with_cause<msg::NullHyArray>(string_expected);
    const klf::MessageException e = outer();
    EXPECT_TRUE(
        matches_message(e, hy_message("StringValueExpected", {}, {hy_message("NullHyArray")})));
    // Each call builds a fresh exception with exactly one cause.
    EXPECT_EQ(outer().causes().size(), 1u);
}

TEST(Messages, NestedFactoriesGiveTheInnermostCallersExceptionWithCausesInnerFirst) {
    const klf::ExceptionFactory inner =
        klf::factory_with_cause<msg::CellContainsNonCharacterVector>(string_expected,
                                                                     std::string("int8"));
    const klf::ExceptionFactory outer = klf::factory_with_cause<msg::NonScalarValue>(inner);
    EXPECT_TRUE(
        matches_message(outer(), hy_message("StringValueExpected", {},
                                            {hy_message("CellContainsNonCharacterVector", {"int8"}),
                                             hy_message("NonScalarValue")})));
}

TEST(Messages, CStringArgumentIsReadWhenTheExceptionIsBuilt) {
    char name[] = "abc";
    const klf::ExceptionFactory f = klf::factory_with_cause<msg::InvalidStringClass>(
        string_expected, static_cast<const char*>(name));
    name[0] = 'x';
    EXPECT_TRUE(matches_message(
        f(), hy_message("StringValueExpected", {}, {hy_message("InvalidStringClass", {"xbc"})})));
    const klf::ExceptionFactory null_name = klf::factory_with_cause<msg::InvalidStringClass>(
        string_expected, static_cast<const char*>(nullptr));
    EXPECT_TRUE(matches_message(null_name(), hy_message("StringValueExpected", {},
                                                        {hy_message("InvalidStringClass", {""})})));
}

TEST(Messages, WhatShowsTheTextAndItsCause) {
    const klf::MessageException e = klf::factory_with_cause<msg::NullHyArray>(string_expected)();
    const std::string what = e.what();
    const klf::MessageException cause = klf::make_exception(msg::NullHyArray());
    const klf::MessageException top = string_expected();
    EXPECT_NE(what.find(top.what()), std::string::npos) << what;
    EXPECT_NE(what.find(cause.what()), std::string::npos) << what;
    EXPECT_LT(what.find(top.what()), what.find(cause.what()));
}

TEST(MessagesDeathTest, AssertionReportsTheFourTextsAndStops) {
    EXPECT_DEATH(KLF_ASSERT_AT(1 + 1 == 3, "converter", "src/numeric", 170,
                               "matrix::unique_hyarray_ptr klf::convert_numeric(const hyArray *, "
                               "const hyClassID, const hyComplexity)"),
                 "converter.*src/numeric.*170.*klf::convert_numeric");
}

TEST(Messages, AssertionContinuesWhenDiagnosticsAreOff) {
    foundation::core::diag::set_terminate_enabled(false);
    bool reached = false;
    KLF_ASSERT_AT(false, "never", "here", 1, "f");
    reached = true;
    foundation::core::diag::set_terminate_enabled(true);
    EXPECT_TRUE(reached);
    EXPECT_NE(fl_diag_terminate(), 0);
}

}  // namespace
