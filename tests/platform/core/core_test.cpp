// Tests of the core: interned sizes and completing a size, catalogued
// messages and exceptions with causes, the catalog itself, identifiers,
// UTF-8/UTF-16 conversion, UTF-16 streams and bit patterns of floating values.
#include <cstdint>
#include <map>
#include <optional>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <kelvor/core/array_size.hpp>
#include <kelvor/core/exception.hpp>
#include <kelvor/core/numeric.hpp>
#include <kelvor/core/stream_locale.hpp>
#include <kelvor/core/table_string.hpp>
#include <kelvor/core/utf.hpp>

namespace {

using klf::ArraySize;
using resource_core::BaseMsgID;
using Dims = std::vector<std::size_t>;
using Request = std::vector<std::optional<std::size_t>>;
constexpr std::size_t big = std::size_t{1} << 40;
constexpr std::nullopt_t X = std::nullopt;  // the free dimension
const std::string hy = "kelvor:common:foundation:matrix:hy";

// Passed by value everywhere: a size is one pointer to its interned block.
static_assert(sizeof(ArraySize) == sizeof(void*));

// The identifier of the MessageException that `f` throws, which must have no causes.
template <class F>
BaseMsgID raised(F&& f) try {
    f();
    return BaseMsgID("(nothing thrown)", "", {});
} catch (const klf::MessageException& e) {
    EXPECT_TRUE(e.causes().empty());
    return e.message().id();
}

// --- sizes --------------------------------------------------------------------
TEST(ArraySize, EqualDimensionsShareOneBlockAlsoAcrossThreads) {
    EXPECT_EQ(ArraySize(Dims{2, 3, 4}.data(), 3).data(), (ArraySize{2, 3, 4}).data());
    // Every thread makes the same new sizes in a different order; all agree on the blocks.
    std::vector<std::vector<const std::size_t*>> seen(8, std::vector<const std::size_t*>(500));
    {
        std::vector<std::jthread> pool;
        for (std::size_t t = 0; t < seen.size(); ++t)
            pool.emplace_back([&seen, t] {
                for (std::size_t i = 0, k = t * 131 % 500; i < 500; ++i, k = (k + 7) % 500)
                    seen[t][k] = ArraySize{k, 1000}.data();
            });
    }
    for (const auto& blocks : seen)
        EXPECT_EQ(blocks, seen[0]);
}

TEST(ArraySize, CountsAndShowsItsDimensions) {
    const std::tuple<std::size_t, Dims, ustring> rows[] = {
        {1, {}, u"[]"},      {5, {5}, u"5"},      {6, {2, 3}, u"2x3"},
        {0, {4, 0}, u"4x0"}, {1, {1, 1}, u"1x1"}, {6, {2, 1, 3, 1}, u"2x1x3x1"}};
    for (const auto& [elements, dims, text] : rows) {
        const ArraySize size(dims.data(), dims.size());
        EXPECT_EQ(Dims(size.begin(), size.end()), dims);
        EXPECT_EQ(size.numElements(), elements) << text.size();
        EXPECT_EQ(klf::to_user_string(size), text);
    }
    EXPECT_EQ(klf::to_user_string(ArraySize{SIZE_MAX}), u"18446744073709551615");
}

TEST(ComputeSize, FillsTheOneFreeDimensionOrNamesTheRequest) {
    const std::tuple<std::size_t, Request, Dims> rows[] = {
        {6, {2, X}, {2, 3}}, {6, {X, 3}, {2, 3}}, {24, {2, X, 4}, {2, 3, 4}},
        {7, {X}, {7}},       {0, {X, 5}, {0, 5}}, {0, {0, X}, {0, 0}},
        {6, {2, 3}, {2, 3}}, {5, {2, 3}, {2, 3}}, {5, {}, {}}};
    for (const auto& [total, request, result] : rows) {
        const ArraySize size = klf::compute_size(total, request);
        EXPECT_EQ(Dims(size.begin(), size.end()), result) << total;
    }
    // A known product that overflows leaves 0 for the free dimension.
    EXPECT_EQ(klf::compute_size(0, {big, big, X}), (ArraySize{big, big, 0}));
    const std::tuple<std::int64_t, Request, ustring> rejected[] = {
        {6, {X, X}, u"[]x[]"},
        {7, {2, X}, u"2x[]"},
        {5, {0, X, 3}, u"0x[]x3"},
        {0, {X, 2, X}, u"[]x2x[]"},
        {1, {big, big, X}, u"1099511627776x1099511627776x[]"}};
    for (const auto& [total, request, shown] : rejected)
        EXPECT_EQ(raised([t = total, &r = request] { klf::compute_size(t, r); }),
                  BaseMsgID("kelvor:core:size", "CannotComputeSize", {total, shown}));
}

// --- messages -----------------------------------------------------------------
klf::MessageException make(std::string catalog, std::string key,
                           std::vector<BaseMsgID::Argument> args = {}) {
    return klf::MessageException(klf::Message(BaseMsgID(catalog, key, std::move(args))));
}

TEST(Message, FillsPlaceholdersOrShowsCatalogKeyAndArguments) {
    const klf::MessageException reshape =
        make(hy, "InconsistentSizesForReshape",
             {ustring(u"2x3"), std::int64_t{6}, ustring(u"4x\u00e9"), std::int64_t{-8}});
    EXPECT_EQ(reshape.message().text(),
              u"Cannot reshape a value of size 2x3 (6 elements) to size 4x\u00e9 (-8 elements): "
              u"the number of elements must stay the same.");
    // Missing arguments leave their placeholders as written.
    EXPECT_EQ(make(hy, "UnexpectedClass", {"caf\xc3\xa9"}).message().text(),
              u"Expected a value of class 'caf\u00e9', but the value is of class '{1}'.");
    // Keys the catalog lacks.
    EXPECT_EQ(make("my:cat", "Nope").message().text(), u"my:cat:Nope");
    EXPECT_EQ(make("my:cat", "Nope", {std::int64_t{3}, "a", ustring(u"b")}).message().text(),
              u"my:cat:Nope (3, a, b)");
}

TEST(MessageException, WhatListsCausesInOrderAndNestedAndCloneKeepsThem) {
    klf::MessageException inner = make(hy, "MissingElement");
    inner.addCause(make("x", "Deep", {std::int64_t{1}}));
    klf::MessageException outer = make(hy, "StringValueExpected");
    outer.addCause(make(hy, "NullHyArray"));
    outer.addCause(inner);
    inner.addCause(make("x", "Late"));  // causes are copies: no effect on outer
    EXPECT_STREQ(outer.what(),
                 "Expected a text value: a character row or a single string.\n"
                 "  caused by: No value was given (null array).\n"
                 "  caused by: The text is missing.\n"
                 "    caused by: x:Deep (1)");
    const std::unique_ptr<klf::Exception> copy = outer.clone();
    const auto& m = dynamic_cast<const klf::MessageException&>(*copy);
    EXPECT_EQ(m.message().id(), outer.message().id());
    EXPECT_EQ(m.causes(), outer.causes());  // immutable causes are shared
    EXPECT_STREQ(m.what(), outer.what());
}

TEST(Catalog, HoldsExactlyTheKnownKeysWithMatchingPlaceholders) {
    // Each catalog's keys, each followed by the number of arguments it takes.
    const std::pair<std::string, const char*> catalogs[] = {
        {hy,
         "InsufficientInputs 0 ExcessiveInputs 0 InsufficientOutputs 0 ExcessiveOutputs 0 "
         "ScalarValueExpected 0 UnexpectedClass 2 UnexpectedClassGeneric 1 UnexpectedComplex 0 "
         "UnexpectedSparse 0 NonVectorDimension 0 NegativeDimension 0 NonIntegerDimension 0 "
         "InconsistentSizesForReshape 4 RealValueExpected 0 LogicalValueExpected 1 "
         "NumericValueExpected 2 NullHyArray 0 CharVectorNotARow 0 "
         "CellContainsNonCharacterVector 1 InvalidStringClass 1 InvalidStringElementArray 0 "
         "MissingElement 0 InvalidStringArray 0 NonScalarValue 0 InvalidScalarString 0 "
         "StringValueExpected 0 InvalidNullInput 0 InvalidNullParam 0 InvalidParamType 0 "
         "InvalidParamDim 0"},
        {"kelvor:common:foundation:matrix:ref", "InvalidRefStruct 0"},
        {"TARVEX:getdimarg", "dimensionMustBePositiveInteger 0"},
        {"kelvor:core:size", "CannotComputeSize 2"},
        {"kelvor:core:identifier", "InvalidIdentifier 1"}};
    std::map<std::pair<std::string, std::string>, std::size_t> expected;
    for (const auto& [catalog, keys] : catalogs) {
        std::istringstream in(keys);
        std::string key;
        for (std::size_t count = 0; in >> key >> count;)
            expected[{catalog, key}] = count;
    }
    const std::regex placeholder("\\{([0-9]+)\\}");
    for (const klf::CatalogEntry& entry : klf::catalog_entries()) {
        SCOPED_TRACE(entry.catalog + ":" + entry.key);
        const auto it = expected.find({entry.catalog, entry.key});
        ASSERT_NE(it, expected.end()) << "unexpected key";
        EXPECT_EQ(klf::find_catalog_text(entry.catalog, entry.key), &entry.text);
        // Placeholders 0 to n-1 for n arguments.
        const std::string text = klf::ustring_to_utf8_string(entry.text);
        std::set<std::size_t> used;
        for (std::sregex_iterator m(text.begin(), text.end(), placeholder), end; m != end; ++m)
            used.insert(std::stoul((*m)[1]));
        EXPECT_EQ(used.size(), it->second);
        EXPECT_TRUE(used.empty() || *used.rbegin() == it->second - 1);
    }
    // Each expected key found once.
    EXPECT_EQ(klf::catalog_entries().size(), expected.size());
}

// --- identifiers and text ------------------------------------------------------
TEST(TxIdCheck, AcceptsIdentifiersAndRejectsEverythingElse) {
    const ustring longest = u"a" + ustring(62, u'_');
    const std::pair<ustring, bool> rows[] = {
        {u"x", true},           {u"Velocity_2", true}, {u"a_b_c", true},
        {u"Z9", true},          {longest, true},       {longest + u"b", false},
        {u"", false},           {u"_x", false},        {u"2x", false},
        {u"a-b", false},        {u"a b", false},       {u"a.b", false},
        {u"caf\u00e9", false},  {u"\u00e9", false},    {ustring(u"x\0y", 3), false},
        {u"a\U0001F600", false}};
    const klf::detail::TxIdCheck check;
    for (const auto& [text, valid] : rows) {
        if (valid)
            EXPECT_EQ(std::string(check(text.data(), text.size())),
                      klf::ustring_to_utf8_string(text));
        else
            EXPECT_EQ(raised([&, &t = text] { check(t.data(), t.size()); }),
                      BaseMsgID("kelvor:core:identifier", "InvalidIdentifier", {text}));
    }
    EXPECT_EQ(check(u"abc-def", 3), klf::TxId("abc"));  // only the given length counts
}

TEST(Utf, WellFormedTextRoundTripsAndMalformedBecomesReplacements) {
    const std::pair<std::string, ustring> rows[] = {{"", u""},
                                                    {"plain ascii", u"plain ascii"},
                                                    {"\xc3\xa9t\xc3\xa9", u"\u00e9t\u00e9"},
                                                    {"\xe2\x82\xac\xef\xbf\xbf", u"\u20ac\uffff"},
                                                    {"\xf0\x9f\x98\x80", u"\U0001F600"},
                                                    {"\xf4\x8f\xbf\xbf", u"\U0010FFFF"},
                                                    {std::string("a\0b", 3), ustring(u"a\0b", 3)}};
    for (const auto& [utf8, utf16] : rows) {
        EXPECT_EQ(klf::utf8_string_to_ustring(utf8), utf16);
        EXPECT_EQ(klf::ustring_to_utf8_string(utf16), utf8);
    }
    // A stray, overlong, surrogate-encoding or truncated sequence; reversed surrogates.
    EXPECT_EQ(klf::utf8_string_to_ustring("a\x80z\xc0\xaf\xed\xa0\x80\xe2\x82"),
              u"a\ufffdz\ufffd\ufffd\ufffd\ufffd\ufffd\ufffd");
    EXPECT_EQ(klf::ustring_to_utf8_string(u"\xde00\xd83d"), "\xef\xbf\xbd\xef\xbf\xbd");
}

TEST(StreamLocale, MakesUtf16StreamsWritable) {
    std::basic_ostringstream<char16_t> os;
    klf::setup_stream_locale(os);
    os << u"pkg" << u'.' << ustring(u"N\u00e4me") << std::setw(4) << u"ab" << std::setfill(u'*')
       << std::setw(3) << u'x' << std::endl;
    EXPECT_EQ(os.str(), u"pkg.N\u00e4me  ab**x\n");
}

TEST(Numeric, DecomposesBitPatterns) {
    using D = std::array<std::uint32_t, 2>;
    using F = std::array<std::uint16_t, 2>;
    EXPECT_EQ(klf::to_ints(2.5), (D{0x40040000u, 0u}));
    EXPECT_EQ(klf::to_ints(0.1), (D{0x3FB99999u, 0x9999999Au}));
    EXPECT_EQ(klf::to_ints(0.1f), (F{0x3DCCu, 0xCCCDu}));
    EXPECT_EQ(klf::to_ints(klf_get_nan()), (D{0x7FF80000u, 0u}));
    EXPECT_EQ(klf::to_ints(klf::detail::GetNaN<float>()()), (F{0x7FC0u, 0u}));
}

}  // namespace
