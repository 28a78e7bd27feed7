// Object classes, class information, function handles and deferred
// dimensions.
#include <thread>

#include "host_fixture.hpp"

namespace {

using namespace matrix::testing;
using host_test::host_error;
using matrix::unique_hyarray_ptr;
using ClassesTest = host_test::HostTest;

const std::size_t kOne[] = {1, 1};

TEST_F(ClassesTest, IsAFollowsBasesTransitively) {
    matrix::host::define_class("pkg.Base", {}, {"size"});
    matrix::host::define_class("pkg.Mid", {"pkg.Base", "handle"}, {});
    matrix::host::define_class("pkg.Leaf", {"pkg.Mid"}, {"reshape"});
    const unique_hyarray_ptr leaf = matrix::host::create_object("pkg.Leaf", kOne);
    const unique_hyarray_ptr opaque = matrix::host::create_opaque("pkg.Mid", kOne);
    const unique_hyarray_ptr d = scalar(1);
    struct Row {
        const hyArray* a;
        const char* name;
        bool is_a;
    };
    const Row rows[] = {
        {leaf.get(), "pkg.Leaf", true},    {leaf.get(), "pkg.Mid", true},
        {leaf.get(), "pkg.Base", true},    {leaf.get(), "handle", true},
        {leaf.get(), "pkg", false},        {leaf.get(), "", false},
        {leaf.get(), nullptr, false},      {opaque.get(), "pkg.Base", true},
        {opaque.get(), "pkg.Leaf", false}, {d.get(), "double", true},
        {d.get(), "single", false},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name ? row.name : "(null)");
        EXPECT_EQ(hyIsA(row.a, row.name), row.is_a);
    }
    EXPECT_EQ(matrix::class_id(opaque.get()), hyOPAQUE_CLASS);
    EXPECT_STREQ(hyGetInfo(leaf.get())->name(), "pkg.Leaf");

    // Methods are found through bases; other classes have none.
    EXPECT_NE(matrix::find_method(leaf.get(), "size"), nullptr);
    EXPECT_NE(matrix::find_method(leaf.get(), "reshape"), nullptr);
    EXPECT_EQ(matrix::find_method(opaque.get(), "reshape"), nullptr);
    EXPECT_EQ(matrix::find_method(d.get(), "size"), nullptr);
    const unique_hyarray_ptr m = matrix::find_method(leaf.get(), "size");
    EXPECT_EQ(matrix::class_id(m.get()), hyFUNCTION_CLASS);

    // Redefining replaces the class for existing objects too.
    matrix::host::define_class("pkg.Leaf", {}, {});
    EXPECT_FALSE(hyIsA(leaf.get(), "pkg.Base"));
    EXPECT_EQ(matrix::find_method(leaf.get(), "size"), nullptr);
    EXPECT_EQ(host_error([] { matrix::host::create_object("pkg.Nowhere", kOne); }),
              "no class named 'pkg.Nowhere' is defined");
}

TEST_F(ClassesTest, SavedStructIsAFreshDeepCopyEachTime) {
    const unique_hyarray_ptr h = function_handle(u"solve", u"/src/solve.m");
    EXPECT_EQ(matrix::class_id(h.get()), hyFUNCTION_CLASS);
    EXPECT_TRUE(hyIsScalar(h.get()));
    const unique_hyarray_ptr first(hyFunctionHandleToSavedStruct(h.get()));
    hyArray* f = hyGetField(first.get(), 0, "function_handle");
    ASSERT_NE(f, nullptr);
    EXPECT_EQ(matrix::get_ustring(hyGetField(f, 0, "function")), u"solve");
    // What the fingerprint does: take the file out, remove the field, destroy it.
    hyArray* file = hyGetField(f, 0, "file");
    EXPECT_EQ(matrix::get_ustring(file), u"/src/solve.m");
    hyRemoveField(f, hyGetFieldNumber(f, "file"));
    matrix::destroyArray(file);

    const unique_hyarray_ptr second(hyFunctionHandleToSavedStruct(h.get()));
    EXPECT_FALSE(matrix::host::shares_data(first.get(), second.get()));
    EXPECT_NE(hyGetFieldNumber(hyGetField(second.get(), 0, "function_handle"), "file"), -1);
    EXPECT_EQ(host_error([] { matrix::host::create_function_handle(scalar(1)); }),
              "create_function_handle: the saved value must be a struct");
    EXPECT_EQ(host_error([] { hyFunctionHandleToSavedStruct(scalar(1).get()); }),
              "hyFunctionHandleToSavedStruct: expected a function handle, got double");
}

TEST_F(ClassesTest, DeferredDimensionsAreCompletedByEveryDimensionQuery) {
    matrix::host::define_class("pkg.Lazy", {}, {});
    const std::size_t d[] = {2, 5, 3};
    using Query = std::function<void(const hyArray*)>;
    const std::pair<const char*, Query> queries[] = {
        {"dims", [](const hyArray* a) { EXPECT_EQ(matrix::dims(a)[1], 5u); }},
        {"number_of_dims", [](const hyArray* a) { EXPECT_EQ(matrix::number_of_dims(a), 3u); }},
        {"number_of_elements",
         [](const hyArray* a) { EXPECT_EQ(matrix::number_of_elements(a), 30u); }},
        {"hyGetN", [](const hyArray* a) { EXPECT_EQ(hyGetN(a), 15u); }},
        {"hyIsEmpty", [](const hyArray* a) { EXPECT_FALSE(hyIsEmpty(a)); }},
        {"shared copy",
         [](const hyArray* a) {
             EXPECT_EQ(dims_of(matrix::detail::do_shared_copy(a).get())[2], 3u);
         }},
    };
    for (const auto& [name, query] : queries) {
        SCOPED_TRACE(name);
        const unique_hyarray_ptr a = matrix::host::create_object_deferred("pkg.Lazy", d);
        EXPECT_TRUE(matrix::host::has_pending_dimensions(a.get()));
        query(a.get());
        EXPECT_FALSE(matrix::host::has_pending_dimensions(a.get()));
    }
}

TEST_F(ClassesTest, DifferentArraysFromDifferentThreads) {
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([] {
            const unique_hyarray_ptr shared = cell({1, 2}, {scalar(1), text(u"x")});
            for (int i = 0; i < 200; ++i) {
                unique_hyarray_ptr c = matrix::detail::do_shared_copy(shared.get());
                hySetCell(c.get(), 0, scalar(i).release());
                EXPECT_EQ(hyGetScalar(hyGetCell(shared.get(), 0)), 1);
                matrix::host::define_class("pkg.Threaded", {}, {});
            }
        });
    for (std::thread& t : threads)
        t.join();
}

}  // namespace
