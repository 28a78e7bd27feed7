// The C-style operations: conversion, transpose, equality, dimension
// changes, struct fields, class names and scalars.
#include <cmath>
#include <limits>

#include "host_fixture.hpp"

namespace {

using namespace matrix::testing;
using host_test::host_error;
using matrix::unique_hyarray_ptr;
using OperationsTest = host_test::HostTest;

struct ConvertRow {
    hyClassID from;
    double value;
    hyClassID to;
    double expected;  // NaN: the result must be NaN
};

// Converts one element through byte buffers wide enough for any class.
double convert(hyClassID from, double value, hyClassID to) {
    alignas(8) unsigned char src[8] = {};
    alignas(8) unsigned char dst[8] = {};
    hyConvertBufferToType(src, from, &value, hyDOUBLE_CLASS, 1);
    hyConvertBufferToType(dst, to, src, from, 1);
    double out = 0;
    hyConvertBufferToType(&out, hyDOUBLE_CLASS, dst, to, 1);
    return out;
}

TEST_F(OperationsTest, ConvertBufferRoundsSaturatesAndMapsNaN) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double inf = std::numeric_limits<double>::infinity();
    const ConvertRow rows[] = {
        {hyDOUBLE_CLASS, 2.5, hyINT8_CLASS, 3},
        {hyDOUBLE_CLASS, -2.5, hyINT8_CLASS, -3},
        {hyDOUBLE_CLASS, 2.4999, hyINT32_CLASS, 2},
        {hyDOUBLE_CLASS, 300, hyINT8_CLASS, 127},
        {hyDOUBLE_CLASS, -300, hyUINT8_CLASS, 0},
        {hyDOUBLE_CLASS, nan, hyINT16_CLASS, 0},
        {hyDOUBLE_CLASS, inf, hyUINT32_CLASS, 4294967295.0},
        {hyDOUBLE_CLASS, -inf, hyINT64_CLASS, -9223372036854775808.0},
        {hyDOUBLE_CLASS, 1e30, hyUINT64_CLASS, 18446744073709551615.0},
        {hyDOUBLE_CLASS, 70000.4, hyCHAR_CLASS, 65535},
        {hyDOUBLE_CLASS, 0.25, hyLOGICAL_CLASS, 1},
        {hyDOUBLE_CLASS, nan, hyLOGICAL_CLASS, 1},
        {hyDOUBLE_CLASS, -0.0, hyLOGICAL_CLASS, 0},
        {hyDOUBLE_CLASS, 0.1, hySINGLE_CLASS, static_cast<double>(0.1f)},
        {hyDOUBLE_CLASS, nan, hySINGLE_CLASS, nan},
        {hyINT16_CLASS, -200, hyUINT8_CLASS, 0},
        {hyINT16_CLASS, 30000, hyINT8_CLASS, 127},
        {hyUINT16_CLASS, 65535, hyINT16_CLASS, 32767},
        {hyINT64_CLASS, -5, hyUINT64_CLASS, 0},
        {hyLOGICAL_CLASS, 1, hyINT8_CLASS, 1},
        {hyCHAR_CLASS, 65, hyDOUBLE_CLASS, 65},
        {hySINGLE_CLASS, -1.5, hyINT32_CLASS, -2},
    };
    for (const ConvertRow& row : rows) {
        SCOPED_TRACE(std::to_string(row.from) + " " + std::to_string(row.value) + " -> " +
                     std::to_string(row.to));
        const double got = convert(row.from, row.value, row.to);
        if (std::isnan(row.expected))
            EXPECT_TRUE(std::isnan(got));
        else
            EXPECT_EQ(got, row.expected);
    }
    EXPECT_EQ(host_error([] {
                  double d = 0;
                  hyConvertBufferToType(&d, hyDOUBLE_CLASS, &d, hyCELL_CLASS, 1);
              }),
              "hyConvertBufferToType: class 1 has no element type");
}

TEST_F(OperationsTest, TransposeMovesElementsOfEveryClass) {
    struct Row {
        const char* name;
        unique_hyarray_ptr a;
        unique_hyarray_ptr expected;
    };
    Row rows[] = {
        {"double", doubles({2, 3}, {1, 2, 3, 4, 5, 6}), doubles({3, 2}, {1, 3, 5, 2, 4, 6})},
        {"complex", complex_singles({1, 2}, {{1, 2}, {3, 4}}),
         complex_singles({2, 1}, {{1, 2}, {3, 4}})},
        {"char", chars({2, 2}, u"abcd"), chars({2, 2}, u"acbd")},
        {"empty", uint8s({0, 3}, {}), uint8s({3, 0}, {})},
        {"cell", cell({1, 2}, {text(u"x"), nullptr}), cell({2, 1}, {text(u"x"), nullptr})},
        {"struct", structure({2, 1}, {"a"}, {scalar(1), scalar(2)}),
         structure({1, 2}, {"a"}, {scalar(1), scalar(2)})},
        {"sparse", sparse_doubles(2, 3, {{0, 2, 5.0}, {1, 0, 7.0}}),
         sparse_doubles(3, 2, {{2, 0, 5.0}, {0, 1, 7.0}})},
        {"object", object("ops.Thing", {1, 4}), object("ops.Thing", {4, 1})},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        const unique_hyarray_ptr t(hyTranspose(row.a.get()));
        EXPECT_TRUE(hyAreMatricesEqual(t.get(), row.expected.get()));
    }
    const unique_hyarray_ptr cube = matrix::detail::do_create_numeric(
        std::vector<std::size_t>{1, 1, 2}, hyDOUBLE_CLASS, hyREAL);
    EXPECT_EQ(host_error([&] { hyTranspose(cube.get()); }),
              "hyTranspose: the array has 3 dimensions, not 2");
}

TEST_F(OperationsTest, EqualityIsDeep) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    struct Row {
        const char* name;
        unique_hyarray_ptr a;
        unique_hyarray_ptr b;
        bool equal;
    };
    Row rows[] = {
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
        {"both null", nullptr, nullptr, true},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(hyAreMatricesEqual(row.a.get(), row.b.get()), row.equal);
        EXPECT_EQ(hyAreMatricesEqual(row.b.get(), row.a.get()), row.equal);
    }
}

TEST_F(OperationsTest, SetDimensionsKeepsTheElementCountOrChangesNothing) {
    struct Row {
        std::vector<std::size_t> to;
        int status;
        std::vector<std::size_t> after;
    };
    const Row rows[] = {
        {{3, 2}, 0, {3, 2}}, {{6}, 0, {6}},   {{1, 6, 1, 1}, 0, {1, 6, 1, 1}},
        {{4, 2}, 1, {2, 3}}, {{}, 1, {2, 3}}, {{0, 6}, 1, {2, 3}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(::testing::PrintToString(row.to));
        const unique_hyarray_ptr a = doubles({2, 3}, {1, 2, 3, 4, 5, 6});
        EXPECT_EQ(hySetDimensions(a.get(), row.to.data(), row.to.size()), row.status);
        EXPECT_EQ(dims_of(a.get()), row.after);
        EXPECT_EQ(values_of<double>(a.get()), (std::vector<double>{1, 2, 3, 4, 5, 6}));
    }
    const unique_hyarray_ptr s = sparse_doubles(2, 2, {{1, 1, 4.0}, {0, 0, 1.0}});
    const std::size_t three_d[] = {1, 2, 2};
    const std::size_t row[] = {1, 4};
    EXPECT_NE(hySetDimensions(s.get(), three_d, 3), 0);
    EXPECT_EQ(hySetDimensions(s.get(), row, 2), 0);
    EXPECT_TRUE(
        hyAreMatricesEqual(s.get(), sparse_doubles(1, 4, {{0, 0, 1.0}, {0, 3, 4.0}}).get()));
}

TEST_F(OperationsTest, StructFieldsAreNumberedInOrder) {
    unique_hyarray_ptr s =
        structure({2, 1}, {"a", "b"}, {scalar(1), text(u"x"), scalar(2), nullptr});
    hyArray* a = s.get();
    EXPECT_EQ(hyGetFieldNumber(a, "b"), 1);
    EXPECT_EQ(hyGetFieldNumber(a, "z"), -1);
    EXPECT_EQ(hyGetFieldNumber(a, nullptr), -1);
    EXPECT_EQ(hyAddField(a, "c"), 2);
    EXPECT_EQ(hyAddField(a, "a"), 0);
    EXPECT_EQ(hyAddField(a, ""), -1);
    EXPECT_EQ(hyAddField(a, nullptr), -1);
    EXPECT_EQ(hyGetScalar(hyGetField(a, 1, "a")), 2);
    EXPECT_EQ(hyGetField(a, 1, "b"), nullptr);  // empty slot
    EXPECT_EQ(hyGetField(a, 2, "a"), nullptr);  // bad index
    EXPECT_EQ(hyGetField(a, 0, "c"), nullptr);  // new field is empty
    // Removing a field leaves its values to the caller.
    const unique_hyarray_ptr taken(hyGetField(a, 0, "a"));
    unique_hyarray_ptr other(hyGetField(a, 1, "a"));
    hyRemoveField(a, 0);
    other.reset();
    ASSERT_EQ(a->get_number_of_struct_fields(), 2);
    EXPECT_STREQ(a->get_struct_field_names()[0], "b");
    EXPECT_STREQ(a->get_struct_field_names()[1], "c");
    EXPECT_EQ(matrix::get_ustring(hyGetField(a, 0, "b")), u"x");
    EXPECT_EQ(hyGetFieldNumber(a, "a"), -1);
    EXPECT_EQ(hyGetFieldNumber(text(u"a").get(), "a"), -1);
    EXPECT_EQ(hyGetField(text(u"a").get(), 0, "a"), nullptr);
    EXPECT_EQ(host_error([&] { hySetFieldByNumber(a, 0, 5, scalar(1).release()); }),
              "hySetFieldByNumber: no field number 5");
    EXPECT_EQ(host_error([&] { hyAddField(text(u"a").get(), "f"); }),
              "hyAddField: expected a struct array, got char");
    EXPECT_EQ(host_error([&] { hySetCell(a, 0, scalar(1).release()); }),
              "hySetCell: expected a cell array, got struct");
    const char* dup[] = {"x", "x"};
    EXPECT_EQ(host_error([&] { hyCreateStructMatrix(1, 1, 2, dup); }),
              "duplicate struct field name x");
}

TEST_F(OperationsTest, NamesScalarsAndText) {
    struct Row {
        unique_hyarray_ptr a;
        const char* name;
        double scalar;
    };
    Row rows[] = {
        {doubles({1, 2}, {2.5, 1}), "double", 2.5},
        {complex_singles({1, 1}, {{-1, 9}}), "single", -1},
        {int8s({1, 1}, {-7}), "int8", -7},
        {uint64s({1, 1}, {9}), "uint64", 9},
        {logicals({1, 1}, {true}), "logical", 1},
        {text(u"A"), "char", 65},
        {doubles({0, 1}, {}), "double", 0},
        {sparse_doubles(2, 1, {{1, 0, 3.0}}), "double", 0},
        {sparse_doubles(2, 1, {{0, 0, 3.0}}), "double", 3},
        {cell({0, 0}, {}), "cell", 0},
        {structure({}), "struct", 0},
        {function_handle(u"g"), "function_handle", 0},
        {object("ops.Named"), "ops.Named", 0},
        {matrix::host::create_with_class_id(hyVOID_CLASS, {}), "void", 0},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_STREQ(hyGetClassName(row.a.get()), row.name);
        EXPECT_EQ(hyGetScalar(row.a.get()), row.scalar);
    }
    const unique_hyarray_ptr empty = matrix::create(u"", 0);
    EXPECT_EQ(dims_of(empty.get()), (std::vector<std::size_t>{0, 0}));
    const unique_hyarray_ptr t = matrix::create(u"h\u00e9", 2);
    EXPECT_EQ(dims_of(t.get()), (std::vector<std::size_t>{1, 2}));
    EXPECT_EQ(matrix::get_ustring(t.get()), u"h\u00e9");
    EXPECT_EQ(host_error([] { matrix::get_ustring(scalar(1).get()); }),
              "get_ustring: expected a char array, got double");
    EXPECT_EQ(host_error([] { matrix::detail::do_create_numeric({}, hyCHAR_CLASS, hyCOMPLEX); }),
              "a char array cannot be complex");
    EXPECT_EQ(host_error([] { hyCreateNumericMatrix(1, 1, hyCELL_CLASS, hyREAL); }),
              "cannot create a numeric array of class cell (1)");
}

}  // namespace
