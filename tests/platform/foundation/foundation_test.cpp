// Tests of the foundation: the native form of paths and the diagnostic
// assertion's report and switch.
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include <fl/diag.hpp>
#include <fl/filesystem/path.hpp>

namespace {

TEST(NativeForm, NormalisesSeparatorsWhetherTextOrNot) {
    // "input -> native form"
    for (std::u16string_view row :
         {u"a/b -> a/b", u"a\\b\\c -> a/b/c", u"a//b///c -> a/b/c", u"a\\/\\b -> a/b",
          u"dir/ -> dir", u"dir\\\\ -> dir", u"/ -> /", u"\\ -> /", u"/// -> /",
          u"/usr//lib/ -> /usr/lib", u"\\\\server\\share -> /server/share",
          u"C:\\tmp\\x.m -> C:/tmp/x.m", u"caf\u00e9/\U0001F600 -> caf\u00e9/\U0001F600",
          u" -> "}) {
        const std::size_t arrow = row.find(u" -> ");
        const std::u16string in(row.substr(0, arrow)), out(row.substr(arrow + 4));
        EXPECT_EQ(fl::filesystem::detail::make_native_form(in, true), out);
        EXPECT_EQ(fl::filesystem::detail::make_native_form(in, false), out);
    }
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
