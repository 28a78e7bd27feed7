#include <map>
#include <sstream>
#include <string>
#include <vector>

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
    const std::pair<std::string, const char*> catalogs[] = {
        {"kelvor:common:foundation:matrix:hy",
         "InsufficientInputs ExcessiveInputs InsufficientOutputs ExcessiveOutputs "
         "ScalarValueExpected UnexpectedComplex UnexpectedSparse NonVectorDimension "
         "NegativeDimension NonIntegerDimension RealValueExpected NullHyArray CharVectorNotARow "
         "InvalidStringElementArray MissingElement InvalidStringArray NonScalarValue "
         "InvalidScalarString StringValueExpected InvalidNullInput InvalidNullParam "
         "InvalidParamType InvalidParamDim"},
        {"kelvor:common:foundation:matrix:ref", "InvalidRefStruct"},
        {"TARVEX:getdimarg", "dimensionMustBePositiveInteger"}};
    std::map<std::string, std::string> expected, actual;  // key -> catalog
    for (const auto& [catalog, keys] : catalogs) {
        std::istringstream in(keys);
        for (std::string key; in >> key;)
            expected[key] = catalog;
    }
    std::vector<resource_core::BaseMsgID> ids;
#define ADD(Name, Catalog) ids.push_back(msg::Name());
    KELVOR_MATRIX_NOARG_MESSAGES(ADD)
#undef ADD
    for (const auto& id : ids) {
        SCOPED_TRACE(id.key());
        actual[id.key()] = id.catalog();
        EXPECT_TRUE(id.arguments().empty());
        expect_catalogued(id);
    }
    EXPECT_EQ(actual, expected);
}

TEST(Messages, KeysWithArgumentsKeepOrderAndAlternative) {
    const struct {
        resource_core::BaseMsgID id;
        ExpectedMessage expected;
    } rows[] = {
        {msg::UnexpectedClass(u"cell", "struct"),
         hy_message("UnexpectedClass", {ustring(u"cell"), "struct"})},
        {msg::UnexpectedClass(u"x", static_cast<const char*>(nullptr)),
         hy_message("UnexpectedClass", {ustring(u"x"), ""})},
        {msg::UnexpectedClassGeneric(std::string("logical")),
         hy_message("UnexpectedClassGeneric", {"logical"})},
        {msg::InconsistentSizesForReshape(u"2x3", 6, u"4x2", 8),
         hy_message("InconsistentSizesForReshape",
                    {ustring(u"2x3"), std::int64_t{6}, ustring(u"4x2"), std::int64_t{8}})},
        {msg::LogicalValueExpected("cell"), hy_message("LogicalValueExpected", {"cell"})},
        {msg::NumericValueExpected("double", "struct"),
         hy_message("NumericValueExpected", {"double", "struct"})},
        {msg::CellContainsNonCharacterVector("int8"),
         hy_message("CellContainsNonCharacterVector", {"int8"})},
        {msg::InvalidStringClass(static_cast<const char*>(nullptr)),
         hy_message("InvalidStringClass", {""})},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(kelvor::testing::describe(row.id));
        EXPECT_TRUE(matches_message(klf::make_exception(row.id), row.expected));
        expect_catalogued(row.id);
    }
}

klf::MessageException string_expected() {
    return klf::make_exception(msg::StringValueExpected());
}

TEST(Messages, FactoriesGiveTheInnermostCallersExceptionWithCausesInnerFirst) {
    char name[] = "abc";
    const klf::ExceptionFactory inner =
        klf::factory_with_cause<msg::CellContainsNonCharacterVector>(string_expected,
                                                                     std::string("int8"));
    const struct {
        const char* name;
        klf::ExceptionFactory factory;
        ExpectedMessage expected;
    } rows[] = {
        {"one cause", klf::factory_with_cause<msg::NullHyArray>(string_expected),
         hy_message("StringValueExpected", {}, {hy_message("NullHyArray")})},
        {"nested", klf::factory_with_cause<msg::NonScalarValue>(inner),
         hy_message("StringValueExpected", {},
                    {hy_message("CellContainsNonCharacterVector", {"int8"}),
                     hy_message("NonScalarValue")})},
        // A C string is read when the exception is built, not when the factory is made.
        {"C string", klf::factory_with_cause<msg::InvalidStringClass>(string_expected, +name),
         hy_message("StringValueExpected", {}, {hy_message("InvalidStringClass", {"xbc"})})},
        {"null C string",
         klf::factory_with_cause<msg::InvalidStringClass>(string_expected,
                                                          static_cast<const char*>(nullptr)),
         hy_message("StringValueExpected", {}, {hy_message("InvalidStringClass", {""})})},
    };
    name[0] = 'x';
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        // Each call builds a fresh exception: causes do not pile up.
        EXPECT_TRUE(matches_message(row.factory(), row.expected));
        EXPECT_TRUE(matches_message(row.factory(), row.expected));
    }
    EXPECT_STREQ(rows[0].factory().what(),
                 "Expected a text value: a character row or a single string.\n"
                 "  caused by: No value was given (null array).");
}

TEST(MessagesDeathTest, AssertionReportsTheFourTextsAndStops) {
    EXPECT_DEATH(KLF_ASSERT_AT(1 + 1 == 3, "converter", "src/numeric", 170,
                               "matrix::unique_hyarray_ptr klf::convert_numeric(const hyArray *, "
                               "const hyClassID, const hyComplexity)"),
                 "converter.*src/numeric.*170.*klf::convert_numeric");
}

TEST(Messages, AssertionContinuesWhenDiagnosticsAreOff) {
    foundation::core::diag::set_terminate_enabled(false);
    KLF_ASSERT_AT(false, "never", "here", 1, "f");  // reported, then returns
    foundation::core::diag::set_terminate_enabled(true);
    EXPECT_NE(fl_diag_terminate(), 0);
}

}  // namespace
