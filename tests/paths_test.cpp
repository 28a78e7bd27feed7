#include <string>

#include <gtest/gtest.h>

#include <hyarray/testing.hpp>
#include <kelvor/common/foundation/matrix/interchange.hpp>

#include "message_matchers.hpp"

using kelvor::testing::hy_message;
namespace mt = matrix::testing;
namespace fs = fl::filesystem;

namespace {

TEST(Paths, TextBecomesItsNativeFormEmptyTextTheEmptyPath) {
    struct Row {
        const char* name;
        matrix::unique_hyarray_ptr value;
        std::u16string native;
        bool from_text;
    };
    Row rows[] = {
        {"plain row", mt::text(u"/src/model.m"), u"/src/model.m", true},
        {"normalised", mt::text(u"a\\b//c/"), u"a/b/c", true},
        {"root", mt::text(u"/"), u"/", true},
        {"0x0 chars", mt::chars({0, 0}, u""), u"", false},
        {"1x0 chars", mt::chars({1, 0}, u""), u"", false},
        {"0x0x0 chars", mt::chars({0, 0, 0}, u""), u"", false},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const mt::LiveArrays live;
        const fs::upath p = klf::to_upath(row.value.get());
        EXPECT_EQ(p.native(), row.native);
        // A path never made from text shows that the native form was not asked for.
        EXPECT_EQ(p.from_text(), row.from_text);
        const hyArray* held = row.value.get();
        EXPECT_EQ(klf::to_upath(row.value), p);
        EXPECT_EQ(row.value.get(), held);
        EXPECT_EQ(live.delta(), 0);
    }
}

TEST(Paths, RejectionsAreThoseOfTextExtraction) {
    struct Row {
        const char* name;
        matrix::unique_hyarray_ptr value;
        kelvor::testing::ExpectedMessage cause;
    };
    Row rows[] = {
        {"null", nullptr, hy_message("NullHyArray")},
        {"1x1 cell with a file name", mt::cell({1, 1}, {mt::text(u"a.m")}),
         hy_message("NonScalarValue")},
        {"char column", mt::chars({2, 1}, u"ab"), hy_message("CharVectorNotARow")},
        {"double", mt::scalar(1), hy_message("InvalidStringClass", {std::string("double")})},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const mt::LiveArrays live;
        EXPECT_MESSAGE(klf::to_upath(row.value.get()),
                       hy_message("StringValueExpected", {}, {row.cause}));
        EXPECT_MESSAGE(klf::to_upath(row.value),
                       hy_message("StringValueExpected", {}, {row.cause}));
        EXPECT_EQ(live.delta(), 0);
    }
}

TEST(Paths, PathsRoundTripThroughHostText) {
    const mt::LiveArrays live;
    for (const std::u16string text : {u"/src/model.m", u"C:/x y/\u00e9\u4e2d.m", u"/"}) {
        const fs::upath p(text);
        auto a = fs::to_hyarray(p);
        EXPECT_TRUE(hyAreMatricesEqual(a.get(), mt::text(text).get()));
        EXPECT_EQ(klf::to_upath(a), p);
    }
    auto e = fs::to_hyarray(fs::upath());
    EXPECT_EQ(matrix::class_id(e.get()), hyCHAR_CLASS);
    EXPECT_TRUE(matrix::is_empty(e.get()));
    EXPECT_FALSE(klf::to_upath(e).from_text());
    e.reset();
    EXPECT_EQ(live.delta(), 0);
}

}  // namespace
