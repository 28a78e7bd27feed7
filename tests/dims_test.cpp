#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include <gtest/gtest.h>
#include <boost/numeric/conversion/converter_policies.hpp>

#include <hyarray/testing.hpp>
#include <kelvor/common/foundation/matrix/sizes.hpp>

#include "message_matchers.hpp"

using kelvor::testing::ExpectedMessage;
using kelvor::testing::hy_message;
namespace mt = matrix::testing;
using matrix::unique_hyarray_ptr;

namespace {

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double inf = std::numeric_limits<double>::infinity();
constexpr double two64 = 18446744073709551616.0;
constexpr std::size_t two48 = std::size_t{1} << 48;

struct Overflow {};
using Outcome = std::variant<std::vector<std::size_t>, ExpectedMessage, Overflow>;

struct SizeRow {
    const char* name;
    unique_hyarray_ptr value;
    Outcome expected;
};

ExpectedMessage key(const char* k) {
    return hy_message(k);
}
ExpectedMessage generic(const char* cls) {
    return hy_message("UnexpectedClassGeneric", {cls});
}

unique_hyarray_ptr with_class(hyClassID cls) {
    const std::size_t d[] = {1, 2};
    return matrix::host::create_with_class_id(cls, d);
}

TEST(ToArraySize, ChecksInOrderAndConvertsEveryNumericClass) {
    using V = std::vector<std::size_t>;
    const std::size_t d113[] = {1, 1, 3};
    const SizeRow rows[] = {
        // Shapes: row, column, scalar, empty vectors.
        {"double row", mt::doubles({1, 2}, {2, 3}), V{2, 3}},
        {"double column", mt::doubles({2, 1}, {2, 3}), V{2, 3}},
        {"scalar", mt::scalar(5), V{5}},
        {"1x0", mt::doubles({1, 0}, {}), V{}},
        {"0x1", mt::doubles({0, 1}, {}), V{}},
        {"0x0", mt::doubles({0, 0}, {}), key("NonVectorDimension")},
        {"2x2", mt::doubles({2, 2}, {1, 2, 3, 4}), key("NonVectorDimension")},
        {"1x1x3", mt::numeric<double>(d113, std::vector<double>{1, 2, 3}),
         key("NonVectorDimension")},
        // Floating rules: sign, then fraction, then 2^64 in the element's type.
        {"double -0.5", mt::doubles({1, 1}, {-0.5}), key("NegativeDimension")},
        {"double 2.5", mt::doubles({1, 1}, {2.5}), key("NonIntegerDimension")},
        {"double NaN", mt::doubles({1, 1}, {nan}), key("NonIntegerDimension")},
        {"double -Inf", mt::doubles({1, 1}, {-inf}), key("NegativeDimension")},
        {"double Inf", mt::doubles({1, 1}, {inf}), Overflow{}},
        {"double 2^64", mt::doubles({1, 1}, {two64}), Overflow{}},
        {"double below 2^64", mt::doubles({1, 1}, {two64 - 2048}), V{18446744073709549568u}},
        {"double -0", mt::doubles({1, 2}, {-0.0, 4}), V{0, 4}},
        {"first bad element decides", mt::doubles({1, 3}, {1, 2.5, -1}),
         key("NonIntegerDimension")},
        {"single", mt::singles({1, 2}, {0, 7}), V{0, 7}},
        {"single 2^64", mt::singles({1, 1}, {1.8446744e19f}), Overflow{}},
        {"single below 2^64", mt::singles({1, 1}, {1.8446743e19f}), V{18446742974197923840u}},
        {"single -0", mt::singles({2, 1}, {-0.0f, 1}), V{0, 1}},
        {"single -0.5", mt::singles({1, 1}, {-0.5f}), key("NegativeDimension")},
        {"single NaN", mt::singles({1, 1}, {std::nanf("")}), key("NonIntegerDimension")},
        // Integer classes.
        {"int8", mt::int8s({1, 2}, {0, 127}), V{0, 127}},
        {"int8 negative", mt::int8s({1, 2}, {-1, 2}), key("NegativeDimension")},
        {"int16", mt::int16s({2, 1}, {3, 32767}), V{3, 32767}},
        {"int32 negative", mt::int32s({1, 1}, {-5}), key("NegativeDimension")},
        {"int64 max", mt::int64s({1, 1}, {INT64_MAX}), V{INT64_MAX}},
        {"int64 min", mt::int64s({1, 1}, {INT64_MIN}), key("NegativeDimension")},
        {"uint8", mt::uint8s({1, 2}, {255, 0}), V{255, 0}},
        {"uint16", mt::uint16s({1, 1}, {65535}), V{65535}},
        {"uint32", mt::uint32s({1, 1}, {4294967295u}), V{4294967295u}},
        {"uint64 max", mt::uint64s({1, 1}, {UINT64_MAX}), V{UINT64_MAX}},
        // Classes and kinds refused before any element is read.
        {"logical", mt::logicals({1, 2}, {true, true}), generic("logical")},
        {"char", mt::text(u"ab"), generic("char")},
        {"cell", mt::cell({1, 1}, {mt::scalar(1)}), generic("cell")},
        {"struct", mt::structure({{"a", mt::scalar(1)}}), generic("struct")},
        {"function handle", mt::function_handle(u"sin"), generic("function_handle")},
        {"object", mt::object("DimsThing"), generic("DimsThing")},
        {"unknown class", with_class(hyUNKNOWN_CLASS), generic("unknown")},
        {"void class", with_class(hyVOID_CLASS), generic("void")},
        {"complex", mt::complex_doubles({1, 1}, {{2, 0}}), key("UnexpectedComplex")},
        {"complex int", mt::numeric<std::complex<std::int8_t>>({1, 1}, {{2, 1}}),
         key("UnexpectedComplex")},
        {"sparse", mt::sparse_doubles(1, 2, {{0, 0, 2.0}}), key("UnexpectedSparse")},
        {"complex before shape", mt::complex_doubles({2, 2}, {1, 2, 3, 4}),
         key("UnexpectedComplex")},
        {"sparse before shape", mt::sparse_doubles(2, 2, {{0, 0, 2.0}}), key("UnexpectedSparse")},
    };
    const mt::LiveArrays live;
    for (const SizeRow& row : rows) {
        SCOPED_TRACE(row.name);
        const hyArray* value = row.value.get();
        if (const auto* dims = std::get_if<std::vector<std::size_t>>(&row.expected)) {
            const klf::ArraySize size = klf::to_array_size(value);
            EXPECT_EQ(std::vector<std::size_t>(size.begin(), size.end()), *dims);
        } else if (const auto* message = std::get_if<ExpectedMessage>(&row.expected)) {
            EXPECT_MESSAGE(klf::to_array_size(value), *message);
        } else {
            EXPECT_THROW(klf::to_array_size(value), boost::numeric::positive_overflow);
        }
    }
    EXPECT_EQ(live.delta(), 0);
}

TEST(ToHyarray, MakesADoubleRow) {
    const mt::LiveArrays live;
    for (const klf::ArraySize size :
         {klf::ArraySize{}, klf::ArraySize{2, 3}, klf::ArraySize{7}, klf::ArraySize{1, 0, 4, 5}}) {
        SCOPED_TRACE(klf::to_user_string(size).size());
        const unique_hyarray_ptr row = klf::to_hyarray(size);
        EXPECT_EQ(matrix::class_id(row.get()), hyDOUBLE_CLASS);
        EXPECT_FALSE(matrix::is_complex(row.get()));
        EXPECT_EQ(mt::dims_of(row.get()), (std::vector<std::size_t>{1, size.size()}));
        EXPECT_EQ(mt::values_of<double>(row.get()), std::vector<double>(size.begin(), size.end()));
        EXPECT_EQ(klf::to_array_size(row.get()), size);
    }
    EXPECT_EQ(live.delta(), 0);
    const auto sweep = mt::sweep_allocation_failures([] { return klf::to_hyarray({2, 3}); });
    EXPECT_GT(sweep.failure_points, 0u);
    EXPECT_TRUE(sweep.leaking_points.empty());
}

struct DimRow {
    const char* name;
    unique_hyarray_ptr value;
    std::optional<std::size_t> expected;  // nullopt: refused
};

TEST(HyarrayToDim, AcceptsWholeNumbersFromOneTo2Pow48) {
    const double big = static_cast<double>(two48);
    const DimRow rows[] = {
        {"double 1", mt::scalar(1), 0},
        {"double 2", mt::scalar(2), 1},
        {"logical true", mt::logical(true), 0},
        {"2^48", mt::scalar(big), two48 - 1},
        {"2^48 + 1", mt::scalar(big + 1), std::nullopt},
        {"single 3", mt::singles({1, 1}, {3}), 2},
        {"int8 4", mt::int8s({1, 1}, {4}), 3},
        {"uint64 5", mt::uint64s({1, 1}, {5}), 4},
        {"0.5", mt::scalar(0.5), std::nullopt},
        {"1.5", mt::scalar(1.5), std::nullopt},
        {"0", mt::scalar(0), std::nullopt},
        {"-1", mt::scalar(-1), std::nullopt},
        {"logical false", mt::logical(false), std::nullopt},
        {"NaN", mt::scalar(nan), std::nullopt},
        {"Inf", mt::scalar(inf), std::nullopt},
        {"1x2", mt::doubles({1, 2}, {1, 2}), std::nullopt},
        {"empty", mt::doubles({0, 0}, {}), std::nullopt},
        {"complex 2", mt::complex_doubles({1, 1}, {{2, 0}}), std::nullopt},
        {"char", mt::text(u"\x02"), std::nullopt},
        {"cell", mt::cell({1, 1}, {mt::scalar(2)}), std::nullopt},
        {"object", mt::object("DimsThing"), std::nullopt},
    };
    const ExpectedMessage refused{"TARVEX:getdimarg", "dimensionMustBePositiveInteger", {}, {}};
    for (const DimRow& row : rows) {
        SCOPED_TRACE(row.name);
        const hyArray* value = row.value.get();
        if (row.expected) {
            EXPECT_EQ(klf::hyarray_to_dim(value), *row.expected);
        } else {
            EXPECT_MESSAGE(klf::hyarray_to_dim(value), refused);
        }
    }
}

}  // namespace
