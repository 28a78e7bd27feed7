#include <cmath>
#include <cstring>
#include <iomanip>
#include <limits>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include <kelvor/core/numeric.hpp>
#include <kelvor/core/stream_locale.hpp>
#include <kelvor/core/utf.hpp>

namespace {

TEST(Utf, WellFormedTextRoundTrips) {
    const struct {
        std::string utf8;
        ustring utf16;
    } rows[] = {
        {"", u""},
        {"plain ascii", u"plain ascii"},
        {"\xc3\xa9t\xc3\xa9", u"\u00e9t\u00e9"},
        {"\xe2\x82\xac\xef\xbf\xbf", u"\u20ac\uffff"},
        {"\xf0\x9f\x98\x80", u"\U0001F600"},  // surrogate pair
        {"\xf4\x8f\xbf\xbf", u"\U0010FFFF"},
        {std::string("a\0b", 3), ustring(u"a\0b", 3)},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.utf8);
        EXPECT_EQ(klf::utf8_string_to_ustring(row.utf8), row.utf16);
        EXPECT_EQ(klf::ustring_to_utf8_string(row.utf16), row.utf8);
        EXPECT_EQ(klf::local_encoded_string_to_ustring(row.utf8), row.utf16);
        EXPECT_EQ(klf::ustring_to_local_encoded_string(row.utf16), row.utf8);
    }
}

TEST(Utf, MalformedInputBecomesReplacementCharacters) {
    const struct {
        std::string utf8;
        ustring utf16;
    } rows[] = {
        {"a\x80z", u"a\ufffdz"},                            // stray continuation byte
        {"\xc0\xaf", u"\ufffd\ufffd"},                      // overlong, bad lead
        {"\xe0\x80\x80", u"\ufffd\ufffd\ufffd"},            // overlong three-byte form
        {"\xed\xa0\x80", u"\ufffd\ufffd\ufffd"},            // encoded surrogate
        {"\xf4\x90\x80\x80", u"\ufffd\ufffd\ufffd\ufffd"},  // above U+10FFFF
        {"\xe2\x82", u"\ufffd"},                            // truncated at the end
        {"\xe2\x82z", u"\ufffdz"},                          // truncated mid-text
        {"\xf0\x9f\x98", u"\ufffd"},
        {"\xff\xfe", u"\ufffd\ufffd"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.utf16.size());
        EXPECT_EQ(klf::utf8_string_to_ustring(row.utf8), row.utf16);
    }
    const struct {
        ustring utf16;
        std::string utf8;
    } wide[] = {
        {ustring(1, u'\xd83d'), "\xef\xbf\xbd"},  // lone high surrogate
        {ustring(u"a") + u'\xde00' + u"b",
         "a\xef\xbf\xbd"
         "b"},                                                            // lone low surrogate
        {ustring(1, u'\xde00') + u'\xd83d', "\xef\xbf\xbd\xef\xbf\xbd"},  // reversed pair
    };
    for (const auto& row : wide) {
        SCOPED_TRACE(row.utf8);
        EXPECT_EQ(klf::ustring_to_utf8_string(row.utf16), row.utf8);
    }
}

TEST(StreamLocale, MakesUtf16StreamsWritable) {
    std::basic_ostringstream<char16_t> os;
    klf::setup_stream_locale(os);
    os << u"pkg" << u'.' << ustring(u"N\u00e4me");
    os << std::setw(4) << u"ab" << std::setfill(u'*') << std::setw(3) << u'x' << std::endl;
    EXPECT_TRUE(os.good());
    EXPECT_EQ(os.str(), u"pkg.N\u00e4me  ab**x\n");
    const auto& ctype = std::use_facet<std::ctype<char16_t>>(os.getloc());
    EXPECT_EQ(ctype.widen('A'), u'A');
    EXPECT_EQ(ctype.narrow(u'\u00e9', '?'), '?');
    EXPECT_EQ(ctype.toupper(u'q'), u'Q');
    EXPECT_TRUE(ctype.is(std::ctype_base::digit, u'7'));
    EXPECT_FALSE(ctype.is(std::ctype_base::alpha, u'\u00e9'));
}

TEST(Numeric, DecomposesBitPatterns) {
    using D = std::array<std::uint32_t, 2>;
    using F = std::array<std::uint16_t, 2>;
    EXPECT_EQ(klf::to_ints(2.5), (D{0x40040000u, 0u}));
    EXPECT_EQ(klf::to_ints(1.0), (D{0x3FF00000u, 0u}));
    EXPECT_EQ(klf::to_ints(-0.0), (D{0x80000000u, 0u}));
    EXPECT_EQ(klf::to_ints(0.1), (D{0x3FB99999u, 0x9999999Au}));
    EXPECT_EQ(klf::to_ints(1.0f), (F{0x3F80u, 0u}));
    EXPECT_EQ(klf::to_ints(-2.75f), (F{0xC030u, 0u}));
    EXPECT_EQ(klf::to_ints(0.1f), (F{0x3DCCu, 0xCCCDu}));
    EXPECT_EQ(klf::to_ints(klf::detail::GetNaN<double>()()), (D{0x7FF80000u, 0u}));
    EXPECT_EQ(klf::to_ints(klf::detail::GetInf<double>()()), (D{0x7FF00000u, 0u}));
    EXPECT_EQ(klf::to_ints(klf::detail::GetNaN<float>()()), (F{0x7FC0u, 0u}));
    EXPECT_EQ(klf::to_ints(klf::detail::GetInf<float>()()), (F{0x7F80u, 0u}));
}

TEST(Numeric, NanHelpers) {
    EXPECT_EQ(klf::to_ints(klf_get_nan()), klf::to_ints(klf::detail::GetNaN<double>()()));
    EXPECT_TRUE(klf_is_nan(klf_get_nan()));
    EXPECT_TRUE(klf_is_nan(-std::numeric_limits<double>::quiet_NaN()));
    EXPECT_TRUE(klf_is_nan(std::numeric_limits<double>::signaling_NaN()));
    EXPECT_TRUE(klf_is_nan(std::bit_cast<double>(0x7FF0000000000001ull)));
    EXPECT_FALSE(klf_is_nan(std::numeric_limits<double>::infinity()));
    EXPECT_FALSE(klf_is_nan(0.0));
}

}  // namespace
