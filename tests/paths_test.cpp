#include <string>
#include <tuple>
#include <utility>
#include <variant>

#include <gtest/gtest.h>

#include <hyarray/testing.hpp>
#include <kelvor/common/foundation/matrix/interchange.hpp>

#include "message_matchers.hpp"

using kelvor::testing::ExpectedMessage;
using kelvor::testing::hy_message;
using namespace matrix::testing;
namespace fs = fl::filesystem;

namespace {

TEST(Paths, ValuesBecomePathsAsTextExtractionReadsThemEmptyTextTheEmptyPath) {
    using Path = std::pair<std::u16string, bool>;  // native form, made from text
    const std::tuple<const char*, matrix::unique_hyarray_ptr, std::variant<Path, ExpectedMessage>>
        rows[] = {
            {"plain row", text(u"/src/model.m"), Path{u"/src/model.m", true}},
            {"normalised", text(u"a\\b//c/"), Path{u"a/b/c", true}},
            {"root", text(u"/"), Path{u"/", true}},
            // A path never made from text shows that the native form was not asked for.
            {"0x0 chars", chars({0, 0}, u""), Path{u"", false}},
            {"1x0 chars", chars({1, 0}, u""), Path{u"", false}},
            {"0x0x0 chars", chars({0, 0, 0}, u""), Path{u"", false}},
            {"null", nullptr, hy_message("NullHyArray")},
            {"1x1 cell with a file name", cell({1, 1}, {text(u"a.m")}),
             hy_message("NonScalarValue")},
            {"char column", chars({2, 1}, u"ab"), hy_message("CharVectorNotARow")},
            {"double", scalar(1), hy_message("InvalidStringClass", {std::string("double")})},
        };
    for (const auto& [name, value, want] : rows) {
        SCOPED_TRACE(name);
        const LiveArrays live;
        const hyArray* held = value.get();
        if (const auto* cause = std::get_if<ExpectedMessage>(&want)) {
            EXPECT_MESSAGE(klf::to_upath(held), hy_message("StringValueExpected", {}, {*cause}));
            EXPECT_MESSAGE(klf::to_upath(value), hy_message("StringValueExpected", {}, {*cause}));
        } else {
            const fs::upath p = klf::to_upath(held);
            EXPECT_EQ(Path(p.native(), p.from_text()), std::get<Path>(want));
            EXPECT_EQ(klf::to_upath(value), p);  // the owning form gives the same path
        }
        EXPECT_EQ(value.get(), held);
        EXPECT_EQ(live.delta(), 0);
    }
}

TEST(Paths, PathsRoundTripThroughHostText) {
    const LiveArrays live;
    for (const std::u16string written : {u"/src/model.m", u"C:/x y/\u00e9\u4e2d.m", u"/"}) {
        const fs::upath p(written);
        auto a = fs::to_hyarray(p);
        EXPECT_TRUE(hyAreMatricesEqual(a.get(), text(written).get()));
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
