// Storage: shared copies, copy on write, holders, container ownership,
// dimensions and allocation failures.
#include <functional>

#include "host_fixture.hpp"

namespace {

using namespace matrix::testing;
using host_test::HostTest;
using matrix::unique_hyarray_ptr;
using matrix::detail::do_shared_copy;

using StorageTest = HostTest;

struct CowRow {
    const char* name;
    std::function<unique_hyarray_ptr()> make;
    std::function<void(hyArray*)> change;
};

const std::vector<CowRow>& cow_rows() {
    static const std::vector<CowRow> rows = {
        {"doubles",
         [] {
             return doubles({2, 2}, {1, 2, 3, 4});
         },
         [](hyArray* a) { matrix::data_as<double>(a)[3] = 40; }},
        {"complex",
         [] {
             return complex_doubles({1, 2}, {{1, 2}, {3, 4}});
         },
         [](hyArray* a) {
             matrix::data_as<std::complex<double>>(a)[1] = {0, -4};
         }},
        {"logicals",
         [] {
             return logicals({1, 3}, {true, false, true});
         },
         [](hyArray* a) { hyGetLogicals(a)[1] = true; }},
        {"chars", [] { return text(u"abc"); },
         [](hyArray* a) { matrix::data_as<char16_t>(a)[0] = u'z'; }},
        {"sparse",
         [] {
             return sparse_doubles(3, 2, {{2, 1, 5.0}});
         },
         [](hyArray* a) { matrix::host::ir(a)[0] = 0; }},
        {"cell slot",
         [] {
             return cell({1, 2}, {scalar(1), text(u"x")});
         },
         [](hyArray* a) {
             matrix::destroyArray(hyGetCell(a, 0));
             hySetCell(a, 0, scalar(2).release());
         }},
        {"nested cell element",
         [] {
             return cell({1, 1}, {cell({1, 1}, {scalar(1)})});
         },
         [](hyArray* a) {
             hyArray* inner = hyGetCell(a, 0);
             matrix::destroyArray(hyGetCell(inner, 0));
             hySetCell(inner, 0, text(u"new").release());
         }},
        {"data of a cell element",
         [] {
             return cell({1, 1}, {doubles({1, 2}, {1, 2})});
         },
         [](hyArray* a) { matrix::data_as<double>(hyGetCell(a, 0))[0] = 7; }},
        {"struct field",
         [] {
             return structure({{"a", scalar(1)}, {"b", nullptr}});
         },
         [](hyArray* a) { hySetFieldByNumber(a, 0, 1, scalar(3).release()); }},
        {"added field",
         [] {
             return structure({{"a", scalar(1)}});
         },
         [](hyArray* a) { hyAddField(a, "b"); }},
        {"removed field",
         [] {
             return structure({{"a", scalar(1)}, {"b", scalar(2)}});
         },
         [](hyArray* a) { hyRemoveField(a, 0); }},
        {"sparse reshape",
         [] {
             return sparse_doubles(2, 2, {{1, 1, 5.0}});
         },
         [](hyArray* a) {
             const std::size_t d[] = {4, 1};
             ASSERT_EQ(hySetDimensions(a, d, 2), 0);
         }},
    };
    return rows;
}

TEST_F(StorageTest, ChangeThroughOneCopyNeverShowsInTheOther) {
    for (const CowRow& row : cow_rows()) {
        SCOPED_TRACE(row.name);
        for (bool change_original : {false, true}) {
            const unique_hyarray_ptr reference = row.make();
            unique_hyarray_ptr a = row.make();
            unique_hyarray_ptr b = do_shared_copy(a.get());
            EXPECT_TRUE(matrix::host::shares_data(a.get(), b.get()));
            row.change(change_original ? a.get() : b.get());
            const hyArray* changed = change_original ? a.get() : b.get();
            const hyArray* other = change_original ? b.get() : a.get();
            EXPECT_FALSE(matrix::host::shares_data(a.get(), b.get()));
            EXPECT_TRUE(hyAreMatricesEqual(other, reference.get()));
            EXPECT_FALSE(hyAreMatricesEqual(changed, reference.get()));
        }
    }
}

TEST_F(StorageTest, ReleasingOneHolderLeavesTheOtherIntact) {
    unique_hyarray_ptr a = doubles({1, 3}, {1, 2, 3});
    unique_hyarray_ptr copy = do_shared_copy(a.get());
    a.reset();
    EXPECT_EQ(values_of<double>(copy.get()), (std::vector<double>{1, 2, 3}));

    // A second holder of the same header: the deleter drops only that holder.
    matrix::host::add_holder(copy.get());
    EXPECT_EQ(matrix::host::holders(copy.get()), 2u);
    unique_hyarray_ptr second(copy.get());
    const std::size_t live = live_arrays();
    second.reset();
    EXPECT_EQ(live_arrays(), live);
    EXPECT_EQ(matrix::host::holders(copy.get()), 1u);
    EXPECT_EQ(values_of<double>(copy.get()), (std::vector<double>{1, 2, 3}));
    EXPECT_NE(host_test::host_error([&] {
                  matrix::host::add_holder(copy.get());
                  matrix::destroyArray(copy.get());
              }),
              "");
    unique_hyarray_ptr(copy.get()).reset();  // drops the extra holder
    EXPECT_EQ(do_shared_copy(nullptr), nullptr);
}

TEST_F(StorageTest, DestroyingAContainerDestroysWhatItHolds) {
    const std::size_t before = live_arrays();
    unique_hyarray_ptr c = cell({2, 1}, {structure({{"a", cell({1, 1}, {text(u"x")})}}), nullptr});
    EXPECT_EQ(live_arrays(), before + 4);
    unique_hyarray_ptr shared = do_shared_copy(c.get());
    hyGetCell(shared.get(), 0);  // borrowing unshares: element handles are duplicated
    EXPECT_EQ(live_arrays(), before + 6);
    c.reset();
    shared.reset();
    EXPECT_EQ(live_arrays(), before);
}

struct DimsRow {
    std::vector<std::size_t> dims;
    std::size_t count;
    bool scalar;
    bool vector;
    std::size_t n;
};

TEST_F(StorageTest, DimensionsAreKeptAsGiven) {
    const DimsRow rows[] = {
        {{}, 1, true, false, 1},      {{0, 0}, 0, false, false, 0},
        {{3, 0}, 0, false, false, 0}, {{0, 1}, 0, false, true, 1},
        {{1, 1}, 1, true, true, 1},   {{2, 3, 1, 1}, 6, false, false, 3},
        {{1, 4}, 4, false, true, 4},  {{5}, 5, false, false, 1},
    };
    for (const DimsRow& row : rows) {
        SCOPED_TRACE(::testing::PrintToString(row.dims));
        unique_hyarray_ptr a = matrix::detail::do_create_numeric(row.dims, hyINT16_CLASS, hyREAL);
        EXPECT_EQ(dims_of(a.get()), row.dims);
        EXPECT_EQ(matrix::number_of_elements(a.get()), row.count);
        EXPECT_EQ(matrix::is_empty(a.get()), row.count == 0);
        EXPECT_EQ(hyIsScalar(a.get()), row.scalar);
        EXPECT_EQ(hyIsVector(a.get()), row.vector);
        EXPECT_EQ(hyGetN(a.get()), row.n);
        EXPECT_EQ(values_of<std::int16_t>(a.get()), std::vector<std::int16_t>(row.count, 0));
    }
}

struct SweepRow {
    const char* name;
    std::function<unique_hyarray_ptr(const hyArray* source)> op;
};

TEST_F(StorageTest, InjectedAllocationFailuresLeakNothing) {
    const SweepRow rows[] = {
        {"numeric",
         [](const hyArray*) {
             return doubles({2, 1}, {1, 2});
         }},
        {"struct builder",
         [](const hyArray*) {
             return structure({{"a", text(u"x")}, {"b", cell({1, 1}, {scalar(1)})}});
         }},
        {"shared copy", [](const hyArray* s) { return do_shared_copy(s); }},
        {"transpose", [](const hyArray* s) { return unique_hyarray_ptr(hyTranspose(s)); }},
        {"saved struct",
         [](const hyArray*) {
             unique_hyarray_ptr h = function_handle(u"f", u"/f.m");
             return unique_hyarray_ptr(hyFunctionHandleToSavedStruct(h.get()));
         }},
        {"set cell of a shared cell",
         [](const hyArray* s) {
             unique_hyarray_ptr c = do_shared_copy(s);
             hySetCell(c.get(), 0, scalar(5).release());
             return c;
         }},
        {"add field to a shared struct",
         [](const hyArray*) {
             unique_hyarray_ptr a = structure({{"a", scalar(1)}});
             unique_hyarray_ptr b = do_shared_copy(a.get());
             hyAddField(b.get(), "b");
             return b;
         }},
    };
    const unique_hyarray_ptr source = cell({1, 2}, {nullptr, cell({1, 1}, {text(u"y")})});
    const unique_hyarray_ptr reference = cell({1, 2}, {nullptr, cell({1, 1}, {text(u"y")})});
    for (const SweepRow& row : rows) {
        SCOPED_TRACE(row.name);
        const SweepResult r = sweep_allocation_failures([&] { return row.op(source.get()); });
        EXPECT_GT(r.failure_points, 0u);
        EXPECT_TRUE(r.leaking_points.empty()) << ::testing::PrintToString(r.leaking_points);
        EXPECT_TRUE(hyAreMatricesEqual(source.get(), reference.get()));
    }
}

TEST_F(StorageTest, FailureCountsOneHeaderAndOneBlockPerArray) {
    {
        const AllocationFailure armed(1);
        EXPECT_THROW(scalar(1), std::bad_alloc);
        EXPECT_EQ(allocations_until_failure(), static_cast<std::size_t>(-1));
    }
    const AllocationFailure armed(2);
    unique_hyarray_ptr a = scalar(1);
    EXPECT_THROW(do_shared_copy(a.get()), std::bad_alloc);
    EXPECT_NE(do_shared_copy(a.get()), nullptr);  // the failure fires once
}

}  // namespace
