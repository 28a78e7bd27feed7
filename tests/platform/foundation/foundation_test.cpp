#include <string>

#include <gtest/gtest.h>

#include <fl/diag.hpp>
#include <fl/filesystem/path.hpp>

namespace {

namespace fs = fl::filesystem;

TEST(NativeForm, NormalisesSeparators) {
    const struct {
        std::u16string in, out;
    } rows[] = {
        {u"a/b", u"a/b"},
        {u"a\\b\\c", u"a/b/c"},
        {u"a//b///c", u"a/b/c"},
        {u"a\\/\\b", u"a/b"},
        {u"dir/", u"dir"},
        {u"dir\\\\", u"dir"},
        {u"/", u"/"},
        {u"\\", u"/"},
        {u"///", u"/"},
        {u"/usr//lib/", u"/usr/lib"},
        {u"\\\\server\\share", u"/server/share"},
        {u"C:\\tmp\\x.m", u"C:/tmp/x.m"},
        {u"caf\u00e9/\U0001F600", u"caf\u00e9/\U0001F600"},
        {u"", u""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(std::string(row.in.begin(), row.in.end()));
        EXPECT_EQ(fs::detail::make_native_form(row.in, true), row.out);
        EXPECT_EQ(fs::detail::make_native_form(row.in, false), row.out);
    }
}

TEST(Path, KeepsTextAndComparesByText) {
    const fs::upath empty;
    EXPECT_TRUE(empty.native().empty());
    EXPECT_FALSE(empty.from_text());
    const fs::upath p(u"a\\b");
    EXPECT_EQ(p.native(), u"a\\b");  // stored as given, not normalised
    EXPECT_TRUE(p.from_text());
    EXPECT_EQ(p, fs::upath(u"a\\b"));
    EXPECT_NE(p, fs::upath(u"a/b"));
    EXPECT_EQ(empty, fs::upath(u""));  // the flag does not take part in equality
}

TEST(Diag, TerminationCanBeSwitchedOff) {
    EXPECT_NE(fl_diag_terminate(), 0);
    foundation::core::diag::set_terminate_enabled(false);
    EXPECT_EQ(fl_diag_terminate(), 0);
    foundation::core::diag::set_terminate_enabled(true);
    EXPECT_NE(fl_diag_terminate(), 0);
}

TEST(DiagDeathTest, TerminateWritesOneLineAndAborts) {
    EXPECT_DEATH(
        foundation::core::diag::terminate("x > 0", "src/a.cpp", 42, "void f(int)"),
        "^Assertion failed: x > 0, file src/a\\.cpp, line 42, function void f\\(int\\)\n$");
    EXPECT_DEATH(foundation::core::diag::terminate(nullptr, nullptr, -1, nullptr),
                 "Assertion failed: \\(null\\), file \\(null\\), line -1, function \\(null\\)");
}

}  // namespace
