#include <algorithm>
#include <map>
#include <set>
#include <string>

#include <gtest/gtest.h>

#include <kelvor/core/exception.hpp>
#include <kelvor/core/utf.hpp>

namespace {

using resource_core::BaseMsgID;

klf::MessageException make(std::string catalog, std::string key,
                           std::vector<BaseMsgID::Argument> args = {}) {
    return klf::MessageException(klf::Message(BaseMsgID(catalog, key, std::move(args))));
}

constexpr const char* hy = "kelvor:common:foundation:matrix:hy";

TEST(Message, FillsPlaceholdersFromEveryKindOfArgument) {
    const klf::Message m(
        BaseMsgID(hy, "InconsistentSizesForReshape",
                  {ustring(u"2x3"), std::int64_t{6}, ustring(u"4x\u00e9"), std::int64_t{-8}}));
    EXPECT_EQ(m.text(),
              u"Cannot reshape a value of size 2x3 (6 elements) to size 4x\u00e9 (-8 elements): "
              u"the number of elements must stay the same.");
    EXPECT_EQ(
        klf::Message(BaseMsgID(hy, "UnexpectedClass", {ustring(u"pkg.A"), "caf\xc3\xa9"})).text(),
        u"Expected a value of class 'pkg.A', but the value is of class 'caf\u00e9'.");
    // Missing arguments leave their placeholders as written.
    EXPECT_EQ(klf::Message(BaseMsgID(hy, "LogicalValueExpected", {})).text(),
              u"Expected a logical value, but the value is of class '{0}'.");
}

TEST(Message, KeyMissingFromTheCatalogShowsCatalogKeyAndArguments) {
    EXPECT_EQ(klf::Message(BaseMsgID("my:cat", "Nope", {})).text(), u"my:cat:Nope");
    EXPECT_EQ(
        klf::Message(BaseMsgID("my:cat", "Nope", {std::int64_t{3}, "a", ustring(u"b")})).text(),
        u"my:cat:Nope (3, a, b)");
    EXPECT_EQ(klf::Message(BaseMsgID(hy, "NoSuchKey", {})).text(),
              u"kelvor:common:foundation:matrix:hy:NoSuchKey");
}

TEST(MessageException, WhatListsCausesInOrderAndNested) {
    klf::MessageException inner = make(hy, "MissingElement");
    inner.addCause(make("x", "Deep", {std::int64_t{1}}));
    klf::MessageException outer = make(hy, "StringValueExpected");
    outer.addCause(make(hy, "NullHyArray"));
    outer.addCause(inner);
    EXPECT_STREQ(outer.what(),
                 "Expected a text value: a character row or a single string.\n"
                 "  caused by: No value was given (null array).\n"
                 "  caused by: The text is missing.\n"
                 "    caused by: x:Deep (1)");
    // Causes are copies: changing the original afterwards changes nothing.
    inner.addCause(make("x", "Late"));
    ASSERT_EQ(outer.causes().size(), 2u);
    EXPECT_EQ(outer.causes()[1]->what(),
              std::string("The text is missing.\n  caused by: x:Deep (1)"));
}

TEST(MessageException, CloneKeepsMessageAndCauses) {
    klf::MessageException e = make(hy, "NonScalarValue");
    e.addCause(make(hy, "CellContainsNonCharacterVector", {"int8"}));
    const std::unique_ptr<klf::Exception> copy = e.clone();
    const auto* m = dynamic_cast<const klf::MessageException*>(copy.get());
    ASSERT_NE(m, nullptr);
    EXPECT_EQ(m->message().id(), e.message().id());
    ASSERT_EQ(m->causes().size(), 1u);
    EXPECT_EQ(m->causes()[0], e.causes()[0]);  // immutable causes are shared
    EXPECT_STREQ(m->what(), e.what());
    const auto* cause = dynamic_cast<const klf::MessageException*>(m->causes()[0].get());
    ASSERT_NE(cause, nullptr);
    EXPECT_EQ(cause->message().id(), BaseMsgID(hy, "CellContainsNonCharacterVector", {"int8"}));
}

// Number of arguments each catalogued key takes.
const std::map<std::pair<std::string, std::string>, std::size_t> expected_keys = [] {
    std::map<std::pair<std::string, std::string>, std::size_t> keys;
    for (const char* key : {"InsufficientInputs",  "ExcessiveInputs",
                            "InsufficientOutputs", "ExcessiveOutputs",
                            "ScalarValueExpected", "UnexpectedComplex",
                            "UnexpectedSparse",    "NonVectorDimension",
                            "NegativeDimension",   "NonIntegerDimension",
                            "RealValueExpected",   "NullHyArray",
                            "CharVectorNotARow",   "InvalidStringElementArray",
                            "MissingElement",      "InvalidStringArray",
                            "NonScalarValue",      "InvalidScalarString",
                            "StringValueExpected", "InvalidNullInput",
                            "InvalidNullParam",    "InvalidParamType",
                            "InvalidParamDim"}) {
        keys[{hy, key}] = 0;
    }
    for (const char* key : {"UnexpectedClassGeneric", "LogicalValueExpected",
                            "CellContainsNonCharacterVector", "InvalidStringClass"}) {
        keys[{hy, key}] = 1;
    }
    keys[{hy, "UnexpectedClass"}] = 2;
    keys[{hy, "NumericValueExpected"}] = 2;
    keys[{hy, "InconsistentSizesForReshape"}] = 4;
    keys[{"kelvor:common:foundation:matrix:ref", "InvalidRefStruct"}] = 0;
    keys[{"TARVEX:getdimarg", "dimensionMustBePositiveInteger"}] = 0;
    keys[{"kelvor:core:size", "CannotComputeSize"}] = 2;
    keys[{"kelvor:core:identifier", "InvalidIdentifier"}] = 1;
    return keys;
}();

TEST(Catalog, HoldsExactlyTheKnownKeysWithMatchingPlaceholders) {
    std::set<std::pair<std::string, std::string>> seen;
    for (const klf::CatalogEntry& entry : klf::catalog_entries()) {
        SCOPED_TRACE(entry.catalog + ":" + entry.key);
        const auto it = expected_keys.find({entry.catalog, entry.key});
        ASSERT_NE(it, expected_keys.end()) << "unexpected key";
        seen.insert(it->first);
        EXPECT_EQ(klf::find_catalog_text(entry.catalog, entry.key), &entry.text);
        // Every argument has a placeholder and every placeholder an argument.
        std::set<std::size_t> used;
        for (std::size_t at = entry.text.find(u'{'); at != ustring::npos;
             at = entry.text.find(u'{', at + 1)) {
            const std::size_t close = entry.text.find(u'}', at);
            ASSERT_NE(close, ustring::npos);
            used.insert(
                std::stoul(klf::ustring_to_utf8_string(entry.text.substr(at + 1, close - at - 1))));
        }
        EXPECT_EQ(used.size(), it->second);
        EXPECT_TRUE(used.empty() || *used.rbegin() == it->second - 1);
        EXPECT_GT(entry.text.size(), 10u);
        EXPECT_EQ(entry.text.back(), u'.');
    }
    EXPECT_EQ(seen.size(), expected_keys.size());
    EXPECT_EQ(klf::catalog_entries().size(), expected_keys.size());
    EXPECT_EQ(klf::find_catalog_text(hy, "Unknown"), nullptr);
    EXPECT_EQ(klf::find_catalog_text("TARVEX:getdimarg", "NullHyArray"), nullptr);
}

}  // namespace
