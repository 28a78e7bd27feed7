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

TEST(Cells, SplitsOrGetsSharedCopiesOrRefusesAndLeaksNothing) {
    const mt::LiveArrays live;
    unique_hyarray_ptr c = mt::cell({2, 3}, {mt::scalar(0), mt::scalar(1), mt::scalar(2),
                                             mt::scalar(3), nullptr, mt::text(u"five")});
    std::vector<unique_hyarray_ptr> parts = klf::cells(matrix::detail::do_shared_copy(c.get()));
    ASSERT_EQ(parts.size(), 6u);
    for (const std::size_t k : {0, 1, 2, 3, 5}) {
        SCOPED_TRACE(k);
        EXPECT_TRUE(host::shares_data(parts[k].get(), hyGetCell(c.get(), k)));
    }
    EXPECT_EQ(parts[4], nullptr);  // a never-set slot passes through
    {
        // get_cell gives a shared copy too, and leaves the cell alone in both forms.
        hyArray* const handle = c.get();
        const unique_hyarray_ptr one = klf::get_cell(c, 1);
        const unique_hyarray_ptr same = klf::get_cell(std::move(c), 1);
        EXPECT_EQ(c.get(), handle);  // NOLINT(bugprone-use-after-move): not consumed
        EXPECT_TRUE(host::shares_data(one.get(), hyGetCell(c.get(), 1)));
        EXPECT_TRUE(host::shares_data(same.get(), one.get()));
        EXPECT_NE(one, same);
    }
    const auto sweep = mt::sweep_allocation_failures(
        [&] { return klf::cells(matrix::detail::do_shared_copy(c.get())); });
    EXPECT_GT(sweep.failure_points, 1u);
    EXPECT_TRUE(sweep.leaking_points.empty());
    // Changing a copy leaves the source alone, and the other way round.
    matrix::data_as<double>(parts[1].get())[0] = 10;
    matrix::data_as<double>(hyGetCell(c.get(), 2))[0] = 20;
    EXPECT_EQ((std::vector{first(hyGetCell(c.get(), 1)), first(parts[2].get()),
                           first(hyGetCell(c.get(), 2))}),
              (std::vector<double>{1, 2, 20}));
    EXPECT_TRUE(klf::cells(mt::cell({0, 0}, {})).empty());
    EXPECT_TRUE(klf::cells(mt::cell({1, 0}, {})).empty());
    // Other classes are refused, and the argument is released all the same.
    EXPECT_MESSAGE(klf::cells(mt::structure({{"a", mt::scalar(1)}})),
                   hy_message("UnexpectedClass", {u"cell", "struct"}));
    EXPECT_MESSAGE(klf::cells(mt::text(u"abc")), hy_message("UnexpectedClass", {u"cell", "char"}));
    EXPECT_MESSAGE(klf::cells(mt::object("CellsThing")),
                   hy_message("UnexpectedClass", {u"cell", "CellsThing"}));
    parts.clear();
    c.reset();
    EXPECT_EQ(live.delta(), 0);
}

TEST(MakeCellArray, BuildsAColumnTakesTheElementsAndLeaksNothing) {
    const mt::LiveArrays live;
    const unique_hyarray_ptr none = klf::make_cell_array({});
    EXPECT_EQ(matrix::class_id(none.get()), hyCELL_CLASS);
    EXPECT_EQ(mt::dims_of(none.get()), (Dims{0, 1}));
    const auto elements = [] {
        std::vector<unique_hyarray_ptr> v(3);
        v[0] = mt::scalar(1);
        v[1] = mt::text(u"b");
        return v;
    };
    std::vector<unique_hyarray_ptr> v = elements();
    const std::vector<const hyArray*> raw{v[0].get(), v[1].get(), nullptr};
    const unique_hyarray_ptr c = klf::make_cell_array(std::move(v));
    EXPECT_EQ(mt::dims_of(c.get()), (Dims{3, 1}));
    // The very arrays are handed over; the vector's entries must be left null
    // or its end would destroy them (the count of live arrays shows it).
    EXPECT_EQ((std::vector<const hyArray*>{hyGetCell(c.get(), 0), hyGetCell(c.get(), 1),
                                           hyGetCell(c.get(), 2)}),
              raw);
    EXPECT_EQ(live.delta(), 4);
    const auto sweep =
        mt::sweep_allocation_failures([&] { return klf::make_cell_array(elements()); });
    EXPECT_GT(sweep.failure_points, 2u);
    EXPECT_TRUE(sweep.leaking_points.empty());
}

TEST(CellBuilder, FillsSlotsInOrderFromMixedValues) {
    const mt::LiveArrays live;
    {
        const unique_hyarray_ptr source = mt::doubles({1, 2}, {7, 8});
        unique_hyarray_ptr value = mt::scalar(3);
        klf::detail::CellBuilder build(6);
        build(std::move(value));
        EXPECT_EQ(value, nullptr);  // NOLINT(bugprone-use-after-move): handed over
        build(klf::detail::to_hyarray_impl(source.get()));
        build(klf::detail::to_hyarray_impl(ustring(u"text")));
        build(klf::detail::to_hyarray_impl(u"zero-terminated"));
        build(klf::detail::to_hyarray_impl(static_cast<const char16_t*>(nullptr)));
        build(klf::detail::to_hyarray_impl(std::nullopt));
        const unique_hyarray_ptr c = std::move(build)();
        EXPECT_EQ(mt::dims_of(c.get()), (Dims{6, 1}));
        EXPECT_EQ(first(hyGetCell(c.get(), 0)), 3);
        EXPECT_TRUE(host::shares_data(hyGetCell(c.get(), 1), source.get()));
        EXPECT_EQ(matrix::get_ustring(hyGetCell(c.get(), 2)), u"text");
        EXPECT_EQ(matrix::get_ustring(hyGetCell(c.get(), 3)), u"zero-terminated");
        EXPECT_EQ(mt::dims_of(hyGetCell(c.get(), 4)), (Dims{0, 0}));
        EXPECT_EQ(matrix::class_id(hyGetCell(c.get(), 4)), hyCHAR_CLASS);
        const hyArray* missing = hyGetCell(c.get(), 5);
        EXPECT_EQ(matrix::class_id(missing), hyDOUBLE_CLASS);
        EXPECT_TRUE(std::isnan(first(missing)));
        EXPECT_EQ(matrix::get_ustring(klf::detail::to_hyarray_impl(u"").get()), u"");
        EXPECT_EQ(mt::dims_of(klf::detail::to_hyarray_impl(ustring()).get()), (Dims{0, 0}));
    }
    EXPECT_EQ(live.delta(), 0);
}

}  // namespace
