// The missing value with no service registered (the built-in default).
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include <hyarray/testing.hpp>
#include <kelvor/common/foundation/matrix/missing.hpp>

namespace mt = matrix::testing;

namespace {

constexpr double nan = std::numeric_limits<double>::quiet_NaN();

TEST(Missing, DefaultMissingValueIsAOneByOneDoubleNaN) {
    const mt::LiveArrays live;
    {
        const auto missing = klf::make_missing(), a = klf::make_nan(), b = klf::make_nan();
        for (const hyArray* v : {missing.get(), a.get()}) {
            EXPECT_EQ(std::tuple(matrix::class_id(v), matrix::is_complex(v), matrix::is_sparse(v),
                                 mt::dims_of(v)),
                      std::tuple(hyDOUBLE_CLASS, false, false, std::vector<std::size_t>{1, 1}));
            EXPECT_TRUE(std::isnan(mt::values_of<double>(v)[0]));
        }
        EXPECT_TRUE(klf::is_missing(missing.get()));
        EXPECT_NE(a.get(), b.get());
        EXPECT_FALSE(matrix::host::shares_data(a.get(), b.get()));
    }
    EXPECT_EQ(live.delta(), 0);
}

TEST(Missing, DefaultRecognisesRealFullDoubleArraysOfNaNsOnly) {
    const double payload_nan = std::bit_cast<double>(std::uint64_t{0x7FF0000000000001});
    const double negative_nan = std::bit_cast<double>(std::uint64_t{0xFFF8000000000123});
    struct Row {
        const char* name;
        matrix::unique_hyarray_ptr a;
        bool missing;
    };
    const Row rows[] = {
        {"0x0 double", mt::doubles({0, 0}, {}), true},
        {"1x0 double", mt::doubles({1, 0}, {}), true},
        {"2x2 NaNs", mt::doubles({2, 2}, {nan, nan, nan, nan}), true},
        {"NaNs of any payload and sign", mt::doubles({1, 3}, {payload_nan, negative_nan, -nan}),
         true},
        {"one element not NaN", mt::doubles({2, 2}, {nan, nan, nan, 0.0}), false},
        {"first element not NaN", mt::doubles({1, 2}, {1.0, nan}), false},
        {"infinity", mt::scalar(std::numeric_limits<double>::infinity()), false},
        {"single NaN", mt::singles({1, 1}, {std::numeric_limits<float>::quiet_NaN()}), false},
        {"complex double NaN", mt::complex_doubles({1, 1}, {{nan, nan}}), false},
        {"empty complex double", mt::complex_doubles({0, 0}, {}), false},
        {"sparse double", mt::sparse_doubles(2, 2, {}), false},
        {"cell of NaN", mt::cell({1, 1}, {mt::scalar(nan)}), false},
        {"logical", mt::logical(false), false},
        {"struct", mt::structure({}), false},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(klf::is_missing(row.a.get()), row.missing);
    }
}

TEST(Missing, FailedAllocationLeavesNothing) {
    const mt::LiveArrays live;
    const auto sweep = mt::sweep_allocation_failures([] { return klf::make_missing(); });
    EXPECT_GT(sweep.failure_points, 0u);
    EXPECT_TRUE(sweep.leaking_points.empty());
    EXPECT_EQ(live.delta(), 0);
}

}  // namespace
