// Tests of the host array layer: shared copies and copy on write, holders,
// container ownership, dimensions, allocation failures, classes, function
// handles, deferred dimensions, the typed dispatch's rejections and the
// C-style operations. Every test starts and ends with the same number of
// live arrays.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <hyarray/testing.hpp>
#include <latch>
#include <thread>
#include <tuple>

namespace {

using namespace matrix::testing;
using matrix::typed_array;
using matrix::unique_hyarray_ptr;
using matrix::detail::do_create_numeric;
using matrix::detail::do_shared_copy;
namespace mh = matrix::host;
constexpr double nan = NAN, inf = INFINITY;
const std::size_t kOne[] = {1, 1};

struct HostTest : ::testing::Test {
    void TearDown() override {
        clear_allocation_failure();
        EXPECT_EQ(live_.delta(), 0) << "host arrays leaked";
    }
    LiveArrays live_;
};

// The message of the HostError that `f` raises ("" when it raises none).
template <class F>
std::string host_error(F&& f) try {
    f();
    return "";
} catch (const matrix::HostError& e) {
    return e.what();
}

// --- storage and objects ------------------------------------------------------
// Puts `v` in slot 0 of cell `c`, destroying what was there.
void replace_first(hyArray* c, unique_hyarray_ptr v) {
    matrix::destroyArray(hyGetCell(c, 0));
    hySetCell(c, 0, v.release());
}

// Values, each with a change through its data, an element or its shape.
auto cow_rows() {
    using Row = std::tuple<const char*, unique_hyarray_ptr, void (*)(hyArray*)>;
    return std::array<Row, 9>{
        {{"doubles", doubles({2, 2}, {1, 2, 3, 4}),
          [](hyArray* a) { matrix::data_as<double>(a)[3] = 40; }},
         {"logicals", logicals({1, 3}, {true, false, true}),
          [](hyArray* a) { hyGetLogicals(a)[1] = true; }},
         {"sparse reshape", sparse_doubles(2, 2, {{1, 1, 5.0}}),
          [](hyArray* a) {
              hySetDimensions(a, std::array<std::size_t, 2>{4, 1}.data(), 2);
          }},
         {"cell slot", cell({1, 2}, {scalar(1), text(u"x")}),
          [](hyArray* a) { replace_first(a, scalar(2)); }},
         {"nested cell", cell({1, 1}, {cell({1, 1}, {scalar(1)})}),
          [](hyArray* a) { replace_first(hyGetCell(a, 0), text(u"new")); }},
         {"data of a cell element", cell({1, 1}, {doubles({1, 2}, {1, 2})}),
          [](hyArray* a) { matrix::data_as<double>(hyGetCell(a, 0))[0] = 7; }},
         {"struct field", structure({{"a", scalar(1)}, {"b", nullptr}}),
          [](hyArray* a) { hySetFieldByNumber(a, 0, 1, scalar(3).release()); }},
         {"added field", structure({{"a", scalar(1)}}), [](hyArray* a) { hyAddField(a, "b"); }},
         {"removed field", structure({{"a", scalar(1)}, {"b", scalar(2)}}),
          [](hyArray* a) { hyRemoveField(a, 0); }}}};
}

TEST_F(HostTest, ChangeThroughOneCopyNeverShowsInTheOther) {
    const auto rows = cow_rows(), reference = cow_rows();
    for (std::size_t i = 0; i < rows.size(); ++i) {
        const auto& [name, a, change] = rows[i];
        SCOPED_TRACE(name);
        // Whether x and y share data, and whether each still equals the value as made.
        const auto state = [was = std::get<1>(reference[i]).get()](const hyArray* x,
                                                                   const hyArray* y) {
            return std::tuple(mh::shares_data(x, y), hyAreMatricesEqual(x, was),
                              hyAreMatricesEqual(y, was));
        };
        const unique_hyarray_ptr b = do_shared_copy(a.get());
        EXPECT_EQ(state(a.get(), b.get()), std::tuple(true, true, true));
        change(b.get());  // through the copy
        EXPECT_EQ(state(a.get(), b.get()), std::tuple(false, true, false));
        const unique_hyarray_ptr c = do_shared_copy(a.get());
        change(a.get());  // through the original
        EXPECT_EQ(state(a.get(), c.get()), std::tuple(false, false, true));
    }
}

TEST_F(HostTest, ReleasingOneHolderLeavesTheOtherIntact) {
    const unique_hyarray_ptr copy = do_shared_copy(doubles({1, 3}, {1, 2, 3}).get());
    mh::add_holder(copy.get());              // a second holder of the same header
    unique_hyarray_ptr(copy.get()).reset();  // drops only that holder
    EXPECT_EQ(mh::holders(copy.get()), 1u);
    fail_allocation_after(0);  // a shared copy is a failure point
    EXPECT_THROW(do_shared_copy(copy.get()), std::bad_alloc);
    EXPECT_EQ(values_of<double>(copy.get()), (std::vector<double>{1, 2, 3}));
    mh::add_holder(copy.get());
    EXPECT_EQ(host_error([&] { matrix::destroyArray(copy.get()); }),
              "destroyArray: the array has another holder");
    unique_hyarray_ptr(copy.get()).reset();
}

TEST_F(HostTest, DestroyingAContainerDestroysWhatItHolds) {
    unique_hyarray_ptr c = cell({2, 1}, {structure({{"a", cell({1, 1}, {text(u"x")})}}), nullptr});
    hyGetCell(unique_hyarray_ptr(do_shared_copy(c.get())).get(), 0);  // unshares, then destroyed
    EXPECT_EQ(live_.delta(), 4);
    c.reset();
    EXPECT_EQ(live_.delta(), 0);
}

// Borrowing from a shared container gives it a block of its own; the block it
// leaves, and the elements borrowed from it before, stay until it changes.
TEST_F(HostTest, BorrowedElementsStayValidUntilTheContainerChanges) {
    const unique_hyarray_ptr c = cell({1, 2}, {scalar(1), text(u"x")});
    const hyArray* first = hyGetCell(c.get(), 0);
    unique_hyarray_ptr copy = do_shared_copy(c.get());
    hyArray* second = hyGetCell(c.get(), 1);
    EXPECT_FALSE(mh::shares_data(c.get(), copy.get()));
    const std::size_t before = live_arrays();
    copy.reset();  // the last other holder of the block `first` lives in
    EXPECT_EQ(live_arrays(), before - 1);
    EXPECT_EQ(hyGetScalar(first), 1);
    EXPECT_EQ(matrix::get_ustring(second), u"x");
    // The first change lets go of the old block and the two elements in it.
    matrix::destroyArray(second);
    hySetCell(c.get(), 1, nullptr);
    EXPECT_EQ(live_arrays(), before - 4);
}

// Reading is not changing: threads borrow from one shared struct, and from a
// shared cell inside it, and copy it, while the other copy goes.
TEST_F(HostTest, ThreadsReadOneSharedContainerAtOnce) {
    const auto make = [] {
        return structure({{"a", scalar(1)}, {"b", cell({1, 2}, {text(u"x"), scalar(2)})}});
    };
    const unique_hyarray_ptr s = make();
    unique_hyarray_ptr other = do_shared_copy(s.get());
    std::array<bool, 4> right{};
    std::latch start(right.size() + 1);
    std::vector<std::thread> pool;
    for (std::size_t t = 0; t < right.size(); ++t)
        pool.emplace_back([&, t] {
            start.arrive_and_wait();
            const unique_hyarray_ptr mine = do_shared_copy(s.get());
            const char* name = s->get_struct_field_names()[1];
            const hyArray* b = hyGetField(s.get(), 0, "b");
            right[t] = hyGetScalar(hyGetField(s.get(), 0, "a")) == 1 &&
                       matrix::get_ustring(hyGetCell(b, 0)) == u"x" &&
                       hyGetScalar(hyGetCell(b, 1)) == 2 && std::string(name) == "b";
        });
    start.arrive_and_wait();
    other.reset();
    for (std::thread& t : pool)
        t.join();
    EXPECT_EQ(right, (std::array{true, true, true, true}));
    EXPECT_TRUE(hyAreMatricesEqual(s.get(), make().get()));
}

TEST_F(HostTest, ZeroDimensionsCountOneElementAndAnyZeroExtentNone) {
    // Dimensions, element count, hyGetN (the product of all but the first).
    const std::tuple<std::vector<std::size_t>, std::size_t, std::size_t> rows[] = {
        {{}, 1, 1},     {{0, 0}, 0, 0},       {{3, 0}, 0, 0}, {{0, 1}, 0, 1},
        {{1, 1}, 1, 1}, {{2, 3, 1, 1}, 6, 3}, {{1, 4}, 4, 4}, {{5}, 5, 1}};
    for (const auto& [dims, count, n] : rows) {
        SCOPED_TRACE(::testing::PrintToString(dims));
        const unique_hyarray_ptr a = do_create_numeric(dims, hyINT16_CLASS, hyREAL);
        EXPECT_EQ(std::tuple(dims_of(a.get()), matrix::number_of_elements(a.get()),
                             matrix::is_empty(a.get()), hyGetN(a.get())),
                  std::tuple(dims, count, count == 0, n));
        EXPECT_EQ(values_of<std::int16_t>(a.get()), std::vector<std::int16_t>(count, 0));
    }
    // No array has more elements than a size_t counts (this product wraps to 0).
    const std::size_t huge[] = {std::size_t{1} << 33, std::size_t{1} << 31};
    EXPECT_THROW(do_create_numeric(huge, hyINT8_CLASS, hyREAL), std::bad_alloc);
    EXPECT_THROW(matrix::detail::do_create_cell(huge), std::bad_alloc);
    EXPECT_THROW(object("ops.Thing", {huge[0], huge[1]}), std::bad_alloc);
    EXPECT_THROW(mh::create_object_deferred("ops.Thing", huge), std::bad_alloc);
    EXPECT_THROW(mh::create_sparse(huge[0], huge[1], 1, hyDOUBLE_CLASS, hyREAL), std::bad_alloc);
}

// Every change of the copy-on-write table made to a fresh shared copy, a
// transpose and a saved struct, each failing at every allocation in turn.
TEST_F(HostTest, InjectedAllocationFailuresRaiseBadAllocAndLeakNothing) {
    const auto sweep = [](const char* name, auto op) {
        SCOPED_TRACE(name);
        const SweepResult r = sweep_allocation_failures(op);
        EXPECT_GT(r.failure_points, 0u);
        EXPECT_TRUE(r.leaking_points.empty()) << ::testing::PrintToString(r.leaking_points);
    };
    const auto rows = cow_rows(), reference = cow_rows();
    const unique_hyarray_ptr h = function_handle(u"f", u"/f.m"), &c = std::get<1>(rows[3]);
    sweep("transpose", [&] { return unique_hyarray_ptr(hyTranspose(c.get())); });
    sweep("saved struct",
          [&] { return unique_hyarray_ptr(hyFunctionHandleToSavedStruct(h.get())); });
    for (std::size_t i = 0; i < rows.size(); ++i) {
        const auto& [name, a, change] = rows[i];
        sweep(name, [a = a.get(), change = change] {
            unique_hyarray_ptr copy = do_shared_copy(a);
            change(copy.get());
            return copy;
        });
        EXPECT_TRUE(hyAreMatricesEqual(a.get(), std::get<1>(reference[i]).get()));  // untouched
    }
}

TEST_F(HostTest, IsAFollowsBasesTransitively) {
    mh::define_class("pkg.Base", {}, {"size"});
    mh::define_class("pkg.Mid", {"pkg.Base", "handle"}, {});
    mh::define_class("pkg.Leaf", {"pkg.Mid"}, {});
    const unique_hyarray_ptr leaf = mh::create_object("pkg.Leaf", kOne),
                             opaque = mh::create_opaque("pkg.Mid", kOne), d = scalar(1);
    const hyArray *l = leaf.get(), *o = opaque.get();
    const std::tuple<const hyArray*, const char*, bool> rows[] = {
        {l, "pkg.Leaf", true},     {l, "pkg.Mid", true},      {l, "pkg.Base", true},
        {l, "handle", true},       {l, "pkg", false},         {l, "", false},
        {l, nullptr, false},       {o, "pkg.Base", true},     {o, "pkg.Leaf", false},
        {d.get(), "double", true}, {d.get(), "single", false}};
    for (auto [a, name, is_a] : rows)
        EXPECT_EQ(hyIsA(a, name), is_a) << (name ? name : "(null)");
    // Methods come through bases too.
    EXPECT_EQ(matrix::class_id(matrix::find_method(leaf.get(), "size").get()), hyFUNCTION_CLASS);
    EXPECT_EQ(matrix::find_method(d.get(), "size"), nullptr);
    EXPECT_EQ(host_error([] { mh::create_object("pkg.Nowhere", kOne); }),
              "no class named 'pkg.Nowhere' is defined");
}

TEST_F(HostTest, SavedStructIsAFreshDeepCopyEachTime) {
    const unique_hyarray_ptr h = function_handle(u"solve", u"/src/solve.m");
    const unique_hyarray_ptr first(hyFunctionHandleToSavedStruct(h.get()));
    hyArray* f = hyGetField(first.get(), 0, "function_handle");
    EXPECT_EQ(matrix::get_ustring(hyGetField(f, 0, "function")), u"solve");
    // Taking the file out of one copy leaves the next one whole.
    const unique_hyarray_ptr file(hyGetField(f, 0, "file"));
    EXPECT_EQ(matrix::get_ustring(file.get()), u"/src/solve.m");
    hyRemoveField(f, hyGetFieldNumber(f, "file"));
    const unique_hyarray_ptr second(hyFunctionHandleToSavedStruct(h.get()));
    EXPECT_FALSE(mh::shares_data(first.get(), second.get()));
    EXPECT_NE(hyGetFieldNumber(hyGetField(second.get(), 0, "function_handle"), "file"), -1);
    EXPECT_EQ(host_error([] { hyFunctionHandleToSavedStruct(scalar(1).get()); }),
              "hyFunctionHandleToSavedStruct: expected a function handle, got double");
}

TEST_F(HostTest, DeferredDimensionsAreCompletedByEveryDimensionQuery) {
    mh::define_class("pkg.Lazy", {}, {});
    const std::size_t d[] = {2, 5, 3};
    bool (*const queries[])(const hyArray*) = {
        [](const hyArray* a) { return matrix::dims(a)[1] == 5; },
        [](const hyArray* a) { return matrix::number_of_elements(a) == 30; },
        [](const hyArray* a) { return !hyIsEmpty(a); },
        [](const hyArray* a) { return dims_of(do_shared_copy(a).get())[2] == 3; }};
    for (std::size_t i = 0; i < std::size(queries); ++i) {
        const unique_hyarray_ptr a = mh::create_object_deferred("pkg.Lazy", d);
        EXPECT_TRUE(mh::has_pending_dimensions(a.get())) << i;
        EXPECT_TRUE(queries[i](a.get())) << i;
        EXPECT_FALSE(mh::has_pending_dimensions(a.get())) << i;
    }
}

// --- typed dispatch and operations ----------------------------------------------
struct OnlyRealDouble {
    std::string operator()(typed_array<double>) const { return ""; }
};
struct OnlyComplexDouble {
    std::string operator()(typed_array<std::complex<double>>) const { return ""; }
};
struct FullOnly {
    template <class T>
    std::string operator()(typed_array<T> v) const {
        return std::to_string(v.size());
    }
};

// What visitor V answers for `a`, or the message of its rejection.
template <class V>
std::string visit(const hyArray* a) {
    std::string out;
    const std::string error = host_error([&] { out = matrix::apply_visitor(a, V{}); });
    return error.empty() ? out : error;
}

// A class the visitor takes no view of names the visitor; a class it takes
// another view of names that view.
TEST_F(HostTest, ClassesAndShapesTheVisitorDoesNotTakeAreRejected) {
    mh::define_class("ops.Opaque", {}, {});
    const std::string no = "the visitor (anonymous namespace)::OnlyRealDouble does not take "
                           "arrays of class ",
                      fit = " does not fit the typed view matrix::typed_array<";
    const auto real = visit<OnlyRealDouble>;
    const auto as_double = [](const hyArray* a) {
        return host_error([&] { matrix::data_as<double>(a); });
    };
    const std::tuple<unique_hyarray_ptr, std::string (*)(const hyArray*), std::string> rows[] = {
        {cell({1, 1}, {nullptr}), real, no + "cell (1)"},
        {structure({}), real, no + "struct (2)"},
        {function_handle(u"f"), real, no + "function_handle (16)"},
        {mh::create_opaque("ops.Opaque", kOne), real, no + "opaque (17)"},
        {object("ops.Thing"), real, no + "object (18)"},
        {int8s({1, 1}, {1}), real, no + "int8 (8)"},
        {complex_doubles({2, 3}, {{}, {}, {}, {}, {}, {}}), real,
         "a complex double array of size 2x3" + fit + "double>"},
        {sparse_doubles(3, 1, {}), visit<FullOnly>,
         "a sparse double array of size 3x1" + fit + "double>"},
        {doubles({}, {1}), visit<OnlyComplexDouble>,
         "a double array of size (no dimensions)" + fit + "std::complex<double> >"},
        {doubles({1, 2}, {1, 2}), visit<FullOnly>, "2"},
        {complex_doubles({1, 1}, {{}}), as_double,
         "typed access: a complex double array does not hold double elements"}};
    for (const auto& [a, run, expected] : rows)
        EXPECT_EQ(run(a.get()), expected);
    // Invalid class IDs are rejected before anything else.
    for (int id : {0, 5, 19, -1, 1000})
        EXPECT_EQ(real(mh::create_with_class_id(static_cast<hyClassID>(id), kOne).get()),
                  "invalid class ID " + std::to_string(id));
}

TEST_F(HostTest, ConvertBufferRoundsSaturatesAndMapsNaN) {
    constexpr hyClassID D = hyDOUBLE_CLASS, S = hySINGLE_CLASS, L = hyLOGICAL_CLASS,
                        C = hyCHAR_CLASS, I8 = hyINT8_CLASS, U8 = hyUINT8_CLASS,
                        I16 = hyINT16_CLASS, U16 = hyUINT16_CLASS, I32 = hyINT32_CLASS,
                        U32 = hyUINT32_CLASS, I64 = hyINT64_CLASS, U64 = hyUINT64_CLASS;
    // From, value, to, the value back as a double (NaN: must be NaN; 0x1p64 is UINT64_MAX).
    const std::tuple<hyClassID, double, hyClassID, double> rows[] = {
        {D, 2.5, I8, 3},           {D, -2.5, I8, -3},       {D, 2.4999, I32, 2},
        {D, 300, I8, 127},         {D, -300, U8, 0},        {D, nan, I16, 0},
        {D, inf, U32, 0x1p32 - 1}, {D, -inf, I64, -0x1p63}, {D, 1e30, U64, 0x1p64},
        {D, 70000.4, C, 65535},    {D, 0.25, L, 1},         {D, nan, L, 1},
        {D, -0.0, L, 0},           {D, 0.1, S, 0.1f},       {D, nan, S, nan},
        {I16, -200, U8, 0},        {I16, 30000, I8, 127},   {U16, 65535, I16, 32767},
        {I64, -5, U64, 0},         {L, 1, I8, 1},           {C, 65, D, 65},
        {S, -1.5, I32, -2}};
    for (auto [from, value, to, expected] : rows) {
        alignas(8) unsigned char src[8] = {}, dst[8] = {};
        double back = 0;
        hyConvertBufferToType(src, from, &value, D, 1);
        hyConvertBufferToType(dst, to, src, from, 1);
        hyConvertBufferToType(&back, D, dst, to, 1);
        EXPECT_TRUE(std::isnan(expected) ? std::isnan(back) : back == expected)
            << from << " " << value << " -> " << to << " gave " << back;
    }
    double d = 0;
    EXPECT_EQ(host_error([&] { hyConvertBufferToType(&d, D, &d, hyCELL_CLASS, 1); }),
              "hyConvertBufferToType: class 1 has no element type");
}

unique_hyarray_ptr transposed(const unique_hyarray_ptr& a) {
    return unique_hyarray_ptr(hyTranspose(a.get()));
}

// Equality goes down into elements and fields; transposes of every kind are
// compared with the arrays they must equal.
TEST_F(HostTest, TransposeAndEqualityAreDeep) {
    const std::tuple<const char*, unique_hyarray_ptr, unique_hyarray_ptr, bool> rows[] = {
        {"same doubles", doubles({1, 2}, {1, -0.0}), doubles({1, 2}, {1, 0}), true},
        {"NaN", doubles({1, 1}, {nan}), doubles({1, 1}, {nan}), false},
        {"dims", doubles({1, 2}, {1, 2}), doubles({2, 1}, {1, 2}), false},
        {"class", doubles({1, 1}, {1}), singles({1, 1}, {1}), false},
        {"complexity", doubles({1, 1}, {1}), complex_doubles({1, 1}, {{1, 0}}), false},
        {"nested cell", cell({1, 1}, {cell({1, 1}, {text(u"a")})}),
         cell({1, 1}, {cell({1, 1}, {text(u"b")})}), false},
        {"empty slot", cell({1, 1}, {nullptr}), cell({1, 1}, {scalar(0)}), false},
        {"field order", structure({{"a", scalar(1)}, {"b", text(u"x")}}),
         structure({{"b", text(u"x")}, {"a", scalar(1)}}), true},
        {"field names", structure({{"a", scalar(1)}}), structure({{"c", scalar(1)}}), false},
        {"sparse", sparse_doubles(2, 2, {{1, 1, 1.0}}), sparse_doubles(2, 2, {{0, 1, 1.0}}), false},
        {"handles", function_handle(u"f", u"a.m"), function_handle(u"f", u"b.m"), false},
        {"objects", object("ops.Thing"), object("ops.Thing"), true},
        {"null", nullptr, scalar(1), false},
        {"transposed doubles", transposed(doubles({2, 3}, {1, 2, 3, 4, 5, 6})),
         doubles({3, 2}, {1, 3, 5, 2, 4, 6}), true},
        {"transposed chars", transposed(chars({2, 2}, u"abcd")), chars({2, 2}, u"acbd"), true},
        {"transposed empty", transposed(uint8s({0, 3}, {})), uint8s({3, 0}, {}), true},
        {"transposed cell", transposed(cell({1, 2}, {text(u"x"), nullptr})),
         cell({2, 1}, {text(u"x"), nullptr}), true},
        {"transposed struct", transposed(structure({2, 1}, {"a"}, {scalar(1), scalar(2)})),
         structure({1, 2}, {"a"}, {scalar(1), scalar(2)}), true},
        {"transposed sparse", transposed(sparse_doubles(2, 3, {{0, 2, 5.0}, {1, 0, 7.0}})),
         sparse_doubles(3, 2, {{2, 0, 5.0}, {0, 1, 7.0}}), true}};
    for (const auto& [name, a, b, equal] : rows) {
        SCOPED_TRACE(name);
        EXPECT_EQ(hyAreMatricesEqual(a.get(), b.get()), equal);
        EXPECT_EQ(hyAreMatricesEqual(b.get(), a.get()), equal);
    }
    const std::size_t cube[] = {1, 1, 2};
    EXPECT_EQ(host_error([&] { transposed(do_create_numeric(cube, hyDOUBLE_CLASS, hyREAL)); }),
              "hyTranspose: the array has 3 dimensions, not 2");
}

TEST_F(HostTest, SetDimensionsKeepsTheElementCountOrChangesNothing) {
    using Dims = std::vector<std::size_t>;
    // New dimensions, status, dimensions after; the last product wraps to 6.
    const std::size_t wraps = (std::size_t{1} << 63) + 3;
    const std::tuple<Dims, int, Dims> rows[] = {
        {{3, 2}, 0, {3, 2}},    {{6}, 0, {6}},   {{1, 6, 1, 1}, 0, {1, 6, 1, 1}},
        {{4, 2}, 1, {2, 3}},    {{}, 1, {2, 3}}, {{0, 6}, 1, {2, 3}},
        {{wraps, 2}, 1, {2, 3}}};
    for (const auto& [to, status, after] : rows) {
        SCOPED_TRACE(::testing::PrintToString(to));
        const unique_hyarray_ptr a = doubles({2, 3}, {1, 2, 3, 4, 5, 6});
        EXPECT_EQ(hySetDimensions(a.get(), to.data(), to.size()), status);
        EXPECT_EQ(dims_of(a.get()), after);
        EXPECT_EQ(values_of<double>(a.get()), (std::vector<double>{1, 2, 3, 4, 5, 6}));
    }
    const unique_hyarray_ptr s = sparse_doubles(2, 2, {{1, 1, 4.0}, {0, 0, 1.0}});
    const std::size_t three_d[] = {1, 2, 2}, row[] = {1, 4};
    EXPECT_NE(hySetDimensions(s.get(), three_d, 3), 0);
    EXPECT_EQ(hySetDimensions(s.get(), row, 2), 0);
    EXPECT_TRUE(
        hyAreMatricesEqual(s.get(), sparse_doubles(1, 4, {{0, 0, 1.0}, {0, 3, 4.0}}).get()));
}

// Class name, hyIsScalar, hyIsVector and hyGetScalar of one value per kind.
TEST_F(HostTest, SmallQueriesAnswerForEveryKindOfValue) {
    const std::tuple<unique_hyarray_ptr, const char*, bool, bool, double> rows[] = {
        {doubles({1, 3}, {4, 5, 6}), "double", false, true, 4},
        {complex_doubles({1, 1}, {{2, 3}}), "double", true, true, 2},
        {sparse_doubles(2, 2, {{1, 0, 5.0}}), "double", false, false, 0},
        {sparse_logicals(1, 1, {{0, 0, true}}), "logical", true, true, 1},
        {int64s({2, 1}, {-3, 1}), "int64", false, true, -3},
        {uint8s({}, {200}), "uint8", true, false, 200},
        {text(u""), "char", false, false, 0},
        {chars({1, 1}, u"A"), "char", true, true, 65},
        {logical(true), "logical", true, true, 1},
        {cell({1, 1}, {scalar(9)}), "cell", true, true, 0},
        {structure({{"a", scalar(9)}}), "struct", true, true, 0},
        {function_handle(u"f"), "function_handle", true, true, 0},
        {object("ops.Thing", {2, 2}), "ops.Thing", false, false, 0},
        {mh::create_with_class_id(hyUNKNOWN_CLASS, kOne), "unknown", true, true, 0},
        {mh::create_with_class_id(hyVOID_CLASS, kOne), "void", true, true, 0}};
    for (const auto& [a, name, is_scalar, is_vector, first] : rows) {
        SCOPED_TRACE(name);
        EXPECT_EQ(std::tuple(std::string(hyGetClassName(a.get())), hyIsScalar(a.get()),
                             hyIsVector(a.get()), hyGetScalar(a.get())),
                  std::tuple(std::string(name), is_scalar, is_vector, first));
    }
    EXPECT_EQ(dims_of(text(u"").get()), (std::vector<std::size_t>{0, 0}));
    EXPECT_EQ(do_shared_copy(nullptr), nullptr);
    EXPECT_TRUE(hyAreMatricesEqual(nullptr, nullptr));
    // Numeric creators take logical, char and 6-15; complex only for 6-15.
    const std::tuple<hyClassID, hyComplexity, bool> kinds[] = {
        {hyCHAR_CLASS, hyREAL, true},          {hyUINT64_CLASS, hyCOMPLEX, true},
        {hyLOGICAL_CLASS, hyREAL, true},       {hyLOGICAL_CLASS, hyCOMPLEX, false},
        {hyCHAR_CLASS, hyCOMPLEX, false},      {hyCELL_CLASS, hyREAL, false},
        {hyVOID_CLASS, hyREAL, false},         {hyFUNCTION_CLASS, hyREAL, false},
        {hyINT8_CLASS, hyComplexity{2}, false}};
    for (const auto& [id, complexity, made] : kinds) {
        SCOPED_TRACE(::testing::Message() << id << " " << complexity);
        const std::string error = host_error([&, cls = id, c = complexity] {
            unique_hyarray_ptr(hyCreateNumericMatrix(1, 2, cls, c));
            matrix::detail::do_create_uninitnumeric(kOne, cls, c);
        });
        EXPECT_EQ(error.empty(), made) << error;
    }
}

TEST_F(HostTest, StructFieldsAreNumberedInOrder) {
    const unique_hyarray_ptr s =
        structure({2, 1}, {"a", "b"}, {scalar(1), text(u"x"), scalar(2), nullptr});
    const unique_hyarray_ptr t = text(u"a");
    hyArray* a = s.get();
    fail_allocation_after(0);  // an added field is a failure point and changes nothing then
    EXPECT_THROW(hyAddField(a, "c"), std::bad_alloc);
    // In order: lookups, then additions (an existing name gives its number).
    EXPECT_EQ((std::vector<int>{hyGetFieldNumber(a, "b"), hyGetFieldNumber(a, "z"),
                                hyGetFieldNumber(a, nullptr), hyGetFieldNumber(t.get(), "a"),
                                hyAddField(a, "c"), hyAddField(a, "a"), hyAddField(a, ""),
                                hyAddField(a, nullptr)}),
              (std::vector<int>{1, -1, -1, -1, 2, 0, -1, -1}));
    EXPECT_EQ(hyGetScalar(hyGetField(a, 1, "a")), 2);
    // An empty slot, an index out of range, a new field, not a struct.
    EXPECT_EQ((std::vector<const hyArray*>{hyGetField(a, 1, "b"), hyGetField(a, 2, "a"),
                                           hyGetField(a, 0, "c"), hyGetField(t.get(), 0, "a")}),
              std::vector<const hyArray*>(4, nullptr));
    // Removing a field renumbers the rest and leaves its values to the caller.
    const unique_hyarray_ptr taken(hyGetField(a, 0, "a")), other(hyGetField(a, 1, "a"));
    hyRemoveField(a, 0);
    EXPECT_EQ((std::vector<int>{a->get_number_of_struct_fields(), hyGetFieldNumber(a, "b"),
                                hyGetFieldNumber(a, "c"), hyGetFieldNumber(a, "a")}),
              (std::vector<int>{2, 0, 1, -1}));
    EXPECT_EQ(matrix::get_ustring(hyGetField(a, 0, "b")), u"x");
    EXPECT_EQ(host_error([&] { hySetFieldByNumber(a, 0, 5, scalar(1).release()); }),
              "hySetFieldByNumber: no field number 5");
}

}  // namespace
