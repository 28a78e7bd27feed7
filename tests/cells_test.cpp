#include <cmath>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <hyarray/testing.hpp>
#include <kelvor/common/foundation/matrix/cells.hpp>

#include "message_matchers.hpp"

using kelvor::testing::hy_message;
namespace mt = matrix::testing;
namespace host = matrix::host;
using matrix::unique_hyarray_ptr;
using Dims = std::vector<std::size_t>;

namespace {

double first(const hyArray* a) {
    return matrix::data_as<double>(a)[0];
}

TEST(Cells, SplitsIntoSharedCopiesInColumnMajorOrder) {
    const mt::LiveArrays live;
    unique_hyarray_ptr c = mt::cell({2, 3}, {mt::scalar(0), mt::scalar(1), mt::scalar(2),
                                             mt::scalar(3), nullptr, mt::text(u"five")});
    std::vector<unique_hyarray_ptr> parts = klf::cells(matrix::detail::do_shared_copy(c.get()));
    ASSERT_EQ(parts.size(), 6u);
    for (std::size_t k = 0; k < 4; ++k) {
        SCOPED_TRACE(k);
        EXPECT_EQ(first(parts[k].get()), static_cast<double>(k));
        EXPECT_TRUE(host::shares_data(parts[k].get(), hyGetCell(c.get(), k)));
    }
    EXPECT_EQ(parts[4], nullptr);  // a never-set slot passes through
    EXPECT_EQ(matrix::get_ustring(parts[5].get()), u"five");

    // Changing a copy leaves the source alone, and the other way round.
    matrix::data_as<double>(parts[1].get())[0] = 10;
    EXPECT_EQ(first(hyGetCell(c.get(), 1)), 1);
    matrix::data_as<double>(hyGetCell(c.get(), 2))[0] = 20;
    EXPECT_EQ(first(parts[2].get()), 2);
    EXPECT_EQ(first(hyGetCell(c.get(), 2)), 20);

    EXPECT_TRUE(klf::cells(mt::cell({0, 0}, {})).empty());
    EXPECT_TRUE(klf::cells(mt::cell({1, 0}, {})).empty());
    parts.clear();
    c.reset();
    EXPECT_EQ(live.delta(), 0);
}

TEST(Cells, RefusesOtherClassesAndStillReleasesTheArgument) {
    const mt::LiveArrays live;
    EXPECT_MESSAGE(klf::cells(mt::structure({{"a", mt::scalar(1)}})),
                   hy_message("UnexpectedClass", {u"cell", "struct"}));
    EXPECT_MESSAGE(klf::cells(mt::text(u"abc")), hy_message("UnexpectedClass", {u"cell", "char"}));
    EXPECT_MESSAGE(klf::cells(mt::object("CellsThing")),
                   hy_message("UnexpectedClass", {u"cell", "CellsThing"}));
    EXPECT_EQ(live.delta(), 0);
}

TEST(Cells, NothingLeaksWhenAnAllocationFails) {
    const mt::LiveArrays live;
    const unique_hyarray_ptr c =
        mt::cell({1, 3}, {mt::scalar(1), mt::text(u"x"), mt::cell({1, 1}, {mt::scalar(2)})});
    const auto split = mt::sweep_allocation_failures(
        [&] { return klf::cells(matrix::detail::do_shared_copy(c.get())); });
    EXPECT_GT(split.failure_points, 1u);
    EXPECT_TRUE(split.leaking_points.empty());
    const auto build = mt::sweep_allocation_failures([] {
        std::vector<unique_hyarray_ptr> v;
        v.push_back(mt::scalar(1));
        v.push_back(mt::text(u"two"));
        return klf::make_cell_array(std::move(v));
    });
    EXPECT_GT(build.failure_points, 2u);
    EXPECT_TRUE(build.leaking_points.empty());
}

TEST(GetCell, BothOverloadsReturnASharedCopyAndKeepTheCell) {
    unique_hyarray_ptr c = mt::cell({2, 1}, {mt::scalar(1), mt::scalar(2)});
    hyArray* const handle = c.get();
    const unique_hyarray_ptr a = klf::get_cell(c, 1);
    const unique_hyarray_ptr b = klf::get_cell(std::move(c), 1);
    EXPECT_EQ(c.get(), handle);  // NOLINT(bugprone-use-after-move): not consumed
    EXPECT_EQ(first(a.get()), 2);
    EXPECT_TRUE(host::shares_data(a.get(), b.get()));
    EXPECT_NE(a.get(), b.get());
}

TEST(MakeCellArray, BuildsAColumnAndTakesTheElements) {
    const mt::LiveArrays live;
    const unique_hyarray_ptr none = klf::make_cell_array({});
    EXPECT_EQ(matrix::class_id(none.get()), hyCELL_CLASS);
    EXPECT_EQ(mt::dims_of(none.get()), (Dims{0, 1}));

    std::vector<unique_hyarray_ptr> v;
    v.push_back(mt::scalar(1));
    v.push_back(mt::text(u"b"));
    v.push_back(nullptr);
    const std::vector<const hyArray*> raw{v[0].get(), v[1].get(), nullptr};
    const unique_hyarray_ptr c = klf::make_cell_array(std::move(v));
    EXPECT_EQ(mt::dims_of(c.get()), (Dims{3, 1}));
    // The very arrays were handed over, and the vector's entries were left
    // null: had they kept their arrays, the vector's end would have destroyed
    // the cell's elements.
    for (std::size_t k = 0; k < 3; ++k) {
        EXPECT_EQ(hyGetCell(c.get(), k), raw[k]);
    }
    EXPECT_EQ(live.delta(), 4);
    EXPECT_EQ(first(hyGetCell(c.get(), 0)), 1);
    EXPECT_EQ(matrix::get_ustring(hyGetCell(c.get(), 1)), u"b");
}

TEST(CellBuilder, FillsSlotsInOrderFromMixedValues) {
    const mt::LiveArrays live;
    {
        const unique_hyarray_ptr source = mt::doubles({1, 2}, {7, 8});
        klf::detail::CellBuilder build(5);
        build(klf::detail::to_hyarray_impl(source.get()));
        build(klf::detail::to_hyarray_impl(ustring(u"text")));
        build(klf::detail::to_hyarray_impl(u"zero-terminated"));
        build(klf::detail::to_hyarray_impl(static_cast<const char16_t*>(nullptr)));
        build(klf::detail::to_hyarray_impl(std::nullopt));
        const unique_hyarray_ptr c = std::move(build)();
        EXPECT_EQ(mt::dims_of(c.get()), (Dims{5, 1}));
        EXPECT_TRUE(host::shares_data(hyGetCell(c.get(), 0), source.get()));
        EXPECT_EQ(matrix::get_ustring(hyGetCell(c.get(), 1)), u"text");
        EXPECT_EQ(matrix::get_ustring(hyGetCell(c.get(), 2)), u"zero-terminated");
        EXPECT_EQ(mt::dims_of(hyGetCell(c.get(), 3)), (Dims{0, 0}));
        EXPECT_EQ(matrix::class_id(hyGetCell(c.get(), 3)), hyCHAR_CLASS);
        const hyArray* missing = hyGetCell(c.get(), 4);
        EXPECT_EQ(matrix::class_id(missing), hyDOUBLE_CLASS);
        EXPECT_TRUE(std::isnan(first(missing)));
        EXPECT_EQ(matrix::get_ustring(klf::detail::to_hyarray_impl(u"").get()), u"");
        EXPECT_EQ(mt::dims_of(klf::detail::to_hyarray_impl(ustring()).get()), (Dims{0, 0}));
    }
    {
        klf::detail::CellBuilder build(2);
        unique_hyarray_ptr value = mt::scalar(3);
        build(std::move(value));
        EXPECT_EQ(value, nullptr);  // NOLINT(bugprone-use-after-move): handed over
        build(mt::scalar(4));
        const unique_hyarray_ptr c = std::move(build)();
        EXPECT_EQ(first(hyGetCell(c.get(), 0)), 3);
        EXPECT_EQ(first(hyGetCell(c.get(), 1)), 4);
    }
    EXPECT_EQ(live.delta(), 0);
}

}  // namespace
