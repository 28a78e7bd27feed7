#include <string>

#include <gtest/gtest.h>

#include <kelvor/core/exception.hpp>
#include <kelvor/core/table_string.hpp>
#include <kelvor/core/utf.hpp>

namespace {

using klf::TxId;

TEST(TableString, InternsAndComparesBytewise) {
    const TxId a("alpha");
    const std::string copy = "alpha";
    EXPECT_EQ(a, TxId(copy));
    EXPECT_EQ(a.data(), TxId(copy).data());
    EXPECT_EQ(a.size(), 5u);
    EXPECT_EQ(std::string(a.begin(), a.end()), "alpha");
    EXPECT_EQ(static_cast<std::string>(a), "alpha");
    EXPECT_EQ(TxId().size(), 0u);
    EXPECT_EQ(TxId(), TxId(""));
    EXPECT_EQ(TxId(std::string_view("a\0b", 3)).size(), 3u);

    const struct {
        const char *a, *b;
        int sign;
    } rows[] = {{"abc", "abc", 0}, {"abc", "abd", -1}, {"abd", "abc", 1}, {"ab", "abc", -1},
                {"", "a", -1},     {"Z", "a", -1},     {"\xff", "a", 1}};
    for (const auto& row : rows) {
        SCOPED_TRACE(std::string(row.a) + " vs " + row.b);
        const int c = TxId(row.a).compare_(TxId(row.b));
        EXPECT_EQ((c > 0) - (c < 0), row.sign);
        EXPECT_EQ(TxId(row.a) < TxId(row.b), row.sign < 0);
    }
}

TEST(TxIdPath, KeepsComponentsInOrder) {
    const klf::BasicTxIdPath<1> p{TxId("pkg"), TxId("sub"), TxId("Name")};
    ASSERT_EQ(p.size(), 3u);
    std::string dotted;
    for (const TxId& c : p) {
        dotted += (dotted.empty() ? "" : ".") + std::string(c);
    }
    EXPECT_EQ(dotted, "pkg.sub.Name");
    EXPECT_EQ(p, klf::BasicTxIdPath<1>(std::vector<TxId>{TxId("pkg"), TxId("sub"), TxId("Name")}));
    EXPECT_TRUE(klf::BasicTxIdPath<1>().empty());
}

TEST(TxIdCheck, AcceptsIdentifiersAndRejectsEverythingElse) {
    const ustring longest = u"a" + ustring(62, u'_');
    const struct {
        ustring text;
        bool valid;
    } rows[] = {
        {u"x", true},
        {u"Velocity_2", true},
        {u"a_b_c", true},
        {u"Z9", true},
        {longest, true},
        {longest + u"b", false},
        {u"", false},
        {u"_x", false},
        {u"2x", false},
        {u"a-b", false},
        {u"a b", false},
        {u"a.b", false},
        {u"caf\u00e9", false},
        {u"\u00e9", false},
        {ustring(u"x\0y", 3), false},
        {u"a\U0001F600", false},
    };
    const klf::detail::TxIdCheck check;
    for (const auto& row : rows) {
        SCOPED_TRACE(klf::ustring_to_utf8_string(row.text));
        if (row.valid) {
            const TxId id = check(row.text.data(), row.text.size());
            EXPECT_EQ(std::string(id), klf::ustring_to_utf8_string(row.text));
            continue;
        }
        try {
            check(row.text.data(), row.text.size());
            ADD_FAILURE() << "accepted";
        } catch (const klf::MessageException& e) {
            EXPECT_EQ(e.message().id(), resource_core::BaseMsgID("kelvor:core:identifier",
                                                                 "InvalidIdentifier", {row.text}));
        }
    }
    // Only the given length counts.
    EXPECT_EQ(check(u"abc-def", 3), TxId("abc"));
}

}  // namespace
