#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <tuple>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <hyarray/testing.hpp>
#include <kelvor/common/foundation/matrix/fields.hpp>
#include <kelvor/common/foundation/matrix/interchange.hpp>

#include "message_matchers.hpp"

using kelvor::testing::ExpectedMessage;
using kelvor::testing::hy_message;
using namespace matrix::testing;

namespace {

constexpr std::size_t top_line = std::numeric_limits<std::size_t>::max();

klf::StackFrame frame(std::u16string file, std::u16string name, std::size_t line) {
    return klf::StackFrame(klf::FileName(fl::filesystem::upath(std::move(file))), name, line);
}

std::vector<std::string> field_names(const hyArray* s) {
    const char* const* names = s->get_struct_field_names();
    return std::vector<std::string>(names, names + s->get_number_of_struct_fields());
}

TEST(StackFrames, FramesRoundTripThroughAnNx1StackStruct) {
    const std::vector<klf::StackFrame> three = {frame(u"/src/a.m", u"outer", 11),
                                                frame(u"", u"", 0),
                                                frame(u"/src/b.m", u"inner>local", top_line)};
    const double lines[] = {12, 1, 0};  // the largest frame line wraps to 0
    for (const auto& frames : {three, std::vector<klf::StackFrame>()}) {
        SCOPED_TRACE(frames.size());
        const LiveArrays live;
        auto s = klf::stack_to_hyarray(frames);
        EXPECT_EQ(matrix::class_id(s.get()), hySTRUCT_CLASS);
        EXPECT_EQ(dims_of(s.get()), (std::vector<std::size_t>{frames.size(), 1}));
        EXPECT_EQ(field_names(s.get()), (std::vector<std::string>{"file", "name", "line"}));
        for (std::size_t k = 0; k < frames.size(); ++k) {
            SCOPED_TRACE(k);
            EXPECT_EQ(matrix::get_ustring(hyGetField(s.get(), k, "file")),
                      static_cast<ustring>(frames[k].file()));
            EXPECT_EQ(matrix::get_ustring(hyGetField(s.get(), k, "name")), frames[k].name());
            EXPECT_TRUE(hyAreMatricesEqual(hyGetField(s.get(), k, "line"), scalar(lines[k]).get()));
        }
        EXPECT_EQ(klf::hyarray_to_stack(s.get()), frames);
        // A failed allocation anywhere (three values per frame, then the struct) leaks nothing.
        const auto read = sweep_allocation_failures([&] { return klf::hyarray_to_stack(s.get()); });
        EXPECT_GE(read.failure_points, frames.size());
        EXPECT_TRUE(read.leaking_points.empty());
        s.reset();
        EXPECT_EQ(live.delta(), 0);
        const auto write = sweep_allocation_failures([&] { return klf::stack_to_hyarray(frames); });
        EXPECT_GT(write.failure_points, 3 * frames.size());
        EXPECT_TRUE(write.leaking_points.empty());
    }
}

TEST(StackFrames, ReadingFollowsElementOrderAndIgnoresOtherFields) {
    auto s = structure({1, 3}, {"extra", "line", "name", "file"},
                       {scalar(0), scalar(1), text(u"f"), text(u"a\\b//c/"), nullptr, scalar(2),
                        text(u"g"), text(u""), text(u"x"), scalar(3), text(u"h"), text(u"/z")});
    const auto frames = klf::hyarray_to_stack(s.get());
    EXPECT_EQ(frames,
              (std::vector{frame(u"a/b/c", u"f", 0), frame(u"", u"g", 1), frame(u"/z", u"h", 2)}));
    // The empty file name is the empty path, not a path made from text.
    EXPECT_FALSE(frames[1].file().path().from_text());
    const LiveArrays live;
    auto zero = structure({0, 0}, {"line", "name", "file", "extra"}, {});
    EXPECT_TRUE(klf::hyarray_to_stack(zero.get()).empty());
    zero.reset();
    EXPECT_EQ(live.delta(), 0);
}

TEST(StackFrames, HostLinesAreRoundedIntoUnsignedAndShiftedByOne) {
    std::tuple<const char*, matrix::unique_hyarray_ptr, std::size_t> rows[] = {
        {"double 12", scalar(12), 11},
        {"1", scalar(1), 0},
        {"2.5 rounds away from zero", scalar(2.5), 2},
        {"2.49", scalar(2.49), 1},
        {"0 wraps", scalar(0), top_line},
        {"-4 saturates to 0, then wraps", scalar(-4), top_line},
        {"NaN is 0", scalar(std::numeric_limits<double>::quiet_NaN()), top_line},
        {"1e30 saturates", scalar(1e30), top_line - 1},
        {"int32 12", int32s({1, 1}, {12}), 11},
        {"uint64 max", uint64s({1, 1}, {std::numeric_limits<std::uint64_t>::max()}), top_line - 1},
        {"logical true", logical(true), 0},
        {"one character", text(u"A"), 64},
        {"complex with zero imaginary part", complex_doubles({1, 1}, {{7, 0}}), 6},
        {"1x1x1 single", singles({1, 1, 1}, {3.5f}), 3},
    };
    for (auto& [name, line, expected] : rows) {
        SCOPED_TRACE(name);
        auto s =
            structure({{"file", text(u"f.m")}, {"name", text(u"n")}, {"line", std::move(line)}});
        const LiveArrays live;
        EXPECT_EQ(klf::hyarray_to_stack(s.get()), std::vector{frame(u"f.m", u"n", expected)});
        EXPECT_EQ(live.delta(), 0);
    }
}

TEST(StackFrames, EachFrameIsCheckedFileNameThenLine) {
    const auto not_text = [](ExpectedMessage cause) {
        return hy_message("StringValueExpected", {}, {std::move(cause)});
    };
    const auto not_numeric = [](std::string cls) {
        return hy_message("NumericValueExpected", {std::string("uint64"), std::move(cls)});
    };
    const auto not_scalar = hy_message("ScalarValueExpected");
    // Name, the second frame's file, name and line, the rejection.
    std::tuple<const char*, matrix::unique_hyarray_ptr, matrix::unique_hyarray_ptr,
               matrix::unique_hyarray_ptr, ExpectedMessage>
        rows[] = {
            {"file before name and line", cell({1, 1}, {text(u"f")}), scalar(1), text(u"12"),
             not_text(hy_message("NonScalarValue"))},
            {"empty file slot", nullptr, text(u"n"), scalar(1),
             not_text(hy_message("NullHyArray"))},
            {"name before line", text(u"f"), scalar(1), text(u"12"),
             not_text(hy_message("InvalidStringClass", {std::string("double")}))},
            {"line: scalar before class", text(u"f"), text(u"n"), text(u"12"), not_scalar},
            {"line 1x2 double", text(u"f"), text(u"n"), doubles({1, 2}, {1, 2}), not_scalar},
            {"line empty", text(u"f"), text(u"n"), doubles({0, 0}, {}), not_scalar},
            {"line cell", text(u"f"), text(u"n"), cell({1, 1}, {scalar(1)}), not_numeric("cell")},
            {"line struct", text(u"f"), text(u"n"), structure({{"a", scalar(1)}}),
             not_numeric("struct")},
            {"line complex", text(u"f"), text(u"n"), complex_doubles({1, 1}, {{1, 2}}),
             hy_message("RealValueExpected")},
        };
    for (auto& [name, file, name_value, line, expected] : rows) {
        SCOPED_TRACE(name);
        // A good frame first: the frames already made must not survive the failure.
        auto s = structure({1, 2}, {"file", "name", "line"},
                           {text(u"ok.m"), text(u"ok"), scalar(5), std::move(file),
                            std::move(name_value), std::move(line)});
        const LiveArrays live;
        EXPECT_MESSAGE(klf::hyarray_to_stack(s.get()), expected);
        EXPECT_EQ(live.delta(), 0);
    }
}

TEST(StackFrames, MissingFieldsAreNamedInFieldOrder) {
    const std::tuple<const char*, matrix::unique_hyarray_ptr, std::string> rows[] = {
        {"no line, no elements", structure({0, 0}, {"file", "name"}, {}), "line"},
        {"no file, no line", structure({{"name", text(u"n")}}), "file"},
        {"only file", structure({{"file", text(u"f")}}), "name"},
        {"not a struct", scalar(1), "file"},
    };
    for (const auto& [name, s, missing] : rows) {
        SCOPED_TRACE(name);
        const LiveArrays live;
        EXPECT_THAT([a = s.get()] { klf::hyarray_to_stack(a); },
                    testing::Throws<klf::GetFieldValuesFieldNotFound>(
                        testing::ResultOf([](const auto& e) { return e.name(); }, missing)));
        EXPECT_EQ(live.delta(), 0);
    }
}

}  // namespace
