#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <hyarray/testing.hpp>
#include <kelvor/common/foundation/matrix/fields.hpp>
#include <kelvor/common/foundation/matrix/interchange.hpp>

#include "message_matchers.hpp"

using kelvor::testing::hy_message;
namespace mt = matrix::testing;

namespace {

constexpr std::size_t top_line = std::numeric_limits<std::size_t>::max();

klf::StackFrame frame(std::u16string file, std::u16string name, std::size_t line) {
    return klf::StackFrame(klf::FileName(fl::filesystem::upath(std::move(file))), name, line);
}

std::vector<std::string> field_names(const hyArray* s) {
    const char* const* names = s->get_struct_field_names();
    return std::vector<std::string>(names, names + s->get_number_of_struct_fields());
}

// A 1×1 host stack struct of one frame.
matrix::unique_hyarray_ptr host_frame(matrix::unique_hyarray_ptr file,
                                      matrix::unique_hyarray_ptr name,
                                      matrix::unique_hyarray_ptr line) {
    return mt::structure(
        {{"file", std::move(file)}, {"name", std::move(name)}, {"line", std::move(line)}});
}

TEST(StackFrames, FramesRoundTripThroughAStackStruct) {
    const mt::LiveArrays live;
    const std::vector<klf::StackFrame> frames = {
        frame(u"/src/a.m", u"outer", 11),
        frame(u"", u"", 0),
        frame(u"/src/b.m", u"inner>local", top_line),
    };
    auto s = klf::stack_to_hyarray(frames);
    EXPECT_EQ(matrix::class_id(s.get()), hySTRUCT_CLASS);
    EXPECT_EQ(mt::dims_of(s.get()), (std::vector<std::size_t>{3, 1}));
    EXPECT_EQ(field_names(s.get()), (std::vector<std::string>{"file", "name", "line"}));
    const double lines[] = {12, 1, 0};  // the largest frame line wraps to 0
    for (std::size_t k = 0; k < frames.size(); ++k) {
        SCOPED_TRACE(k);
        EXPECT_EQ(matrix::get_ustring(hyGetField(s.get(), k, "file")),
                  static_cast<ustring>(frames[k].file()));
        EXPECT_EQ(matrix::get_ustring(hyGetField(s.get(), k, "name")), frames[k].name());
        EXPECT_TRUE(hyAreMatricesEqual(hyGetField(s.get(), k, "line"), mt::scalar(lines[k]).get()));
    }
    EXPECT_EQ(klf::hyarray_to_stack(s.get()), frames);
    s.reset();
    EXPECT_EQ(live.delta(), 0);
}

TEST(StackFrames, EmptyStacksKeepTheirFields) {
    const mt::LiveArrays live;
    auto s = klf::stack_to_hyarray({});
    EXPECT_EQ(mt::dims_of(s.get()), (std::vector<std::size_t>{0, 1}));
    EXPECT_EQ(field_names(s.get()), (std::vector<std::string>{"file", "name", "line"}));
    EXPECT_TRUE(klf::hyarray_to_stack(s.get()).empty());
    auto zero = mt::structure({0, 0}, {"line", "name", "file", "extra"}, {});
    EXPECT_TRUE(klf::hyarray_to_stack(zero.get()).empty());
    s.reset(), zero.reset();
    EXPECT_EQ(live.delta(), 0);
}

TEST(StackFrames, ReadingFollowsElementOrderAndIgnoresOtherFields) {
    auto s = mt::structure({1, 3}, {"extra", "line", "name", "file"},
                           {mt::scalar(0), mt::scalar(1), mt::text(u"f"), mt::text(u"a\\b//c/"),
                            nullptr, mt::scalar(2), mt::text(u"g"), mt::text(u""), mt::text(u"x"),
                            mt::scalar(3), mt::text(u"h"), mt::text(u"/z")});
    const std::vector<klf::StackFrame> expected = {frame(u"a/b/c", u"f", 0), frame(u"", u"g", 1),
                                                   frame(u"/z", u"h", 2)};
    const auto frames = klf::hyarray_to_stack(s.get());
    EXPECT_EQ(frames, expected);
    // The empty file name is the empty path, not a path made from text.
    EXPECT_FALSE(frames[1].file().path().from_text());
}

TEST(StackFrames, HostLinesAreRoundedIntoUnsignedAndShiftedByOne) {
    struct Row {
        const char* name;
        matrix::unique_hyarray_ptr line;
        std::size_t expected;
    };
    Row rows[] = {
        {"double 12", mt::scalar(12), 11},
        {"1", mt::scalar(1), 0},
        {"2.5 rounds away from zero", mt::scalar(2.5), 2},
        {"2.49", mt::scalar(2.49), 1},
        {"0 wraps", mt::scalar(0), top_line},
        {"-4 saturates to 0, then wraps", mt::scalar(-4), top_line},
        {"NaN is 0", mt::scalar(std::numeric_limits<double>::quiet_NaN()), top_line},
        {"1e30 saturates", mt::scalar(1e30), top_line - 1},
        {"int32 12", mt::int32s({1, 1}, {12}), 11},
        {"uint64 max", mt::uint64s({1, 1}, {std::numeric_limits<std::uint64_t>::max()}),
         top_line - 1},
        {"logical true", mt::logical(true), 0},
        {"one character", mt::text(u"A"), 64},
        {"complex with zero imaginary part", mt::complex_doubles({1, 1}, {{7, 0}}), 6},
        {"1x1x1 single", mt::singles({1, 1, 1}, {3.5f}), 3},
    };
    for (auto& row : rows) {
        SCOPED_TRACE(row.name);
        auto s = host_frame(mt::text(u"f.m"), mt::text(u"n"), std::move(row.line));
        const mt::LiveArrays live;
        const auto frames = klf::hyarray_to_stack(s.get());
        ASSERT_EQ(frames.size(), 1u);
        EXPECT_EQ(frames[0].line(), row.expected);
        EXPECT_EQ(live.delta(), 0);
    }
}

TEST(StackFrames, EachFrameIsCheckedFileNameThenLine) {
    const auto not_text = [](kelvor::testing::ExpectedMessage cause) {
        return hy_message("StringValueExpected", {}, {std::move(cause)});
    };
    struct Row {
        const char* name;
        matrix::unique_hyarray_ptr file, name_value, line;
        kelvor::testing::ExpectedMessage expected;
    };
    Row rows[] = {
        {"file before name and line", mt::cell({1, 1}, {mt::text(u"f")}), mt::scalar(1),
         mt::text(u"12"), not_text(hy_message("NonScalarValue"))},
        {"empty file slot", nullptr, mt::text(u"n"), mt::scalar(1),
         not_text(hy_message("NullHyArray"))},
        {"name before line", mt::text(u"f"), mt::scalar(1), mt::text(u"12"),
         not_text(hy_message("InvalidStringClass", {std::string("double")}))},
        {"line: scalar before class", mt::text(u"f"), mt::text(u"n"), mt::text(u"12"),
         hy_message("ScalarValueExpected")},
        {"line 1x2 double", mt::text(u"f"), mt::text(u"n"), mt::doubles({1, 2}, {1, 2}),
         hy_message("ScalarValueExpected")},
        {"line empty", mt::text(u"f"), mt::text(u"n"), mt::doubles({0, 0}, {}),
         hy_message("ScalarValueExpected")},
        {"line cell", mt::text(u"f"), mt::text(u"n"), mt::cell({1, 1}, {mt::scalar(1)}),
         hy_message("NumericValueExpected", {std::string("uint64"), std::string("cell")})},
        {"line struct", mt::text(u"f"), mt::text(u"n"), mt::structure({{"a", mt::scalar(1)}}),
         hy_message("NumericValueExpected", {std::string("uint64"), std::string("struct")})},
        {"line complex", mt::text(u"f"), mt::text(u"n"), mt::complex_doubles({1, 1}, {{1, 2}}),
         hy_message("RealValueExpected")},
    };
    for (auto& row : rows) {
        SCOPED_TRACE(row.name);
        // A good frame first: the frames already made must not survive the failure.
        auto s =
            mt::structure({1, 2}, {"file", "name", "line"},
                          {mt::text(u"ok.m"), mt::text(u"ok"), mt::scalar(5), std::move(row.file),
                           std::move(row.name_value), std::move(row.line)});
        const mt::LiveArrays live;
        EXPECT_MESSAGE(klf::hyarray_to_stack(s.get()), row.expected);
        EXPECT_EQ(live.delta(), 0);
    }
}

TEST(StackFrames, MissingFieldsAreNamedInFieldOrder) {
    struct Row {
        const char* name;
        matrix::unique_hyarray_ptr s;
        std::string missing;
    };
    Row rows[] = {
        {"no line, no elements", mt::structure({0, 0}, {"file", "name"}, {}), "line"},
        {"no file, no line", mt::structure({{"name", mt::text(u"n")}}), "file"},
        {"only file", mt::structure({{"file", mt::text(u"f")}}), "name"},
        {"not a struct", mt::scalar(1), "file"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const mt::LiveArrays live;
        try {
            klf::hyarray_to_stack(row.s.get());
            ADD_FAILURE() << "expected GetFieldValuesFieldNotFound";
        } catch (const klf::GetFieldValuesFieldNotFound& e) {
            EXPECT_EQ(e.name(), row.missing);
        }
        EXPECT_EQ(live.delta(), 0);
    }
}

TEST(StackFrames, HostAllocationFailuresLeaveNothingBehind) {
    const std::vector<klf::StackFrame> frames = {frame(u"/a.m", u"a", 1), frame(u"/b.m", u"b", 2)};
    const auto write = mt::sweep_allocation_failures([&] { return klf::stack_to_hyarray(frames); });
    EXPECT_GT(write.failure_points, 6u);
    EXPECT_TRUE(write.leaking_points.empty());

    auto s = klf::stack_to_hyarray(frames);
    const auto read = mt::sweep_allocation_failures([&] { return klf::hyarray_to_stack(s.get()); });
    EXPECT_GT(read.failure_points, 0u);
    EXPECT_TRUE(read.leaking_points.empty());
}

}  // namespace
