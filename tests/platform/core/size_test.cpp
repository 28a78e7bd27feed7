#include <cstdint>
#include <optional>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <kelvor/core/array_size.hpp>
#include <kelvor/core/exception.hpp>

namespace {

using klf::ArraySize;
using Dims = std::vector<std::optional<std::size_t>>;
constexpr std::size_t big = std::size_t{1} << 40;

TEST(ArraySize, EqualDimensionsShareOneBlock) {
    const std::size_t dims[] = {2, 3, 4};
    const ArraySize a(dims, 3);
    const ArraySize b{2, 3, 4};
    EXPECT_EQ(a, b);
    EXPECT_EQ(a.data(), b.data());
    EXPECT_FALSE(a == (ArraySize{2, 3}));
    EXPECT_FALSE((ArraySize{3, 2}) == (ArraySize{2, 3}));
    EXPECT_EQ(ArraySize(), ArraySize(nullptr, 0));
    EXPECT_EQ(ArraySize(), ArraySize({}));
}

TEST(ArraySize, ReadsDimensionsAndCountsElements) {
    const struct {
        ArraySize size;
        std::vector<std::size_t> dims;
        std::size_t elements;
    } rows[] = {
        {ArraySize(), {}, 1},
        {ArraySize{5}, {5}, 5},
        {ArraySize{2, 3}, {2, 3}, 6},
        {ArraySize{4, 0}, {4, 0}, 0},
        {ArraySize{2, 1, 3, 1}, {2, 1, 3, 1}, 6},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.dims.size());
        ASSERT_EQ(row.size.size(), row.dims.size());
        for (std::size_t i = 0; i < row.dims.size(); ++i) {
            EXPECT_EQ(row.size(i), row.dims[i]);
        }
        EXPECT_EQ(std::vector<std::size_t>(row.size.begin(), row.size.end()), row.dims);
        EXPECT_EQ(row.size.numElements(), row.elements);
    }
}

TEST(ArraySize, ConcurrentInterningAgreesOnOneBlockPerSize) {
    constexpr int threads = 8, sizes = 500;
    std::vector<std::vector<const std::size_t*>> seen(threads);
    std::vector<std::thread> pool;
    for (int t = 0; t < threads; ++t) {
        pool.emplace_back([&, t] {
            for (int i = 0; i < sizes; ++i) {
                // Every thread makes the same sizes, in a different order.
                const std::size_t k = static_cast<std::size_t>((i * 7 + t * 131) % sizes);
                seen[t].push_back(ArraySize{k, 1000 + k, 7}.data());
            }
        });
    }
    for (auto& th : pool) {
        th.join();
    }
    for (int t = 0; t < threads; ++t) {
        for (int i = 0; i < sizes; ++i) {
            const std::size_t k = static_cast<std::size_t>((i * 7 + t * 131) % sizes);
            ASSERT_EQ(seen[t][i], (ArraySize{k, 1000 + k, 7}.data())) << t << " " << k;
        }
    }
}

TEST(ComputeSize, FillsTheOneEmptyEntry) {
    const struct {
        std::size_t total;
        Dims dims;
        ArraySize expected;
    } rows[] = {
        {6, {2, std::nullopt}, ArraySize{2, 3}},
        {6, {std::nullopt, 3}, ArraySize{2, 3}},
        {24, {2, std::nullopt, 4}, ArraySize{2, 3, 4}},
        {7, {std::nullopt}, ArraySize{7}},
        {0, {std::nullopt, 5}, ArraySize{0, 5}},
        {0, {0, std::nullopt}, ArraySize{0, 0}},
        {0, {big, big, std::nullopt}, ArraySize{big, big, 0}},  // known product overflows
        {6, {2, 3}, ArraySize{2, 3}},                           // nothing to fill
        {5, {2, 3}, ArraySize{2, 3}},                           // returned as given
        {5, {}, ArraySize()},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.total);
        EXPECT_EQ(klf::compute_size(row.total, row.dims), row.expected);
    }
}

TEST(ComputeSize, RejectsWhatCannotBeCompleted) {
    const struct {
        std::size_t total;
        Dims dims;
        std::int64_t arg0;
        ustring arg1;
    } rows[] = {
        {6, {std::nullopt, std::nullopt}, 6, u"[]x[]"},
        {7, {2, std::nullopt}, 7, u"2x[]"},
        {5, {0, std::nullopt, 3}, 5, u"0x[]x3"},
        {1, {big, big, std::nullopt}, 1, u"1099511627776x1099511627776x[]"},
        {0, {std::nullopt, 2, std::nullopt}, 0, u"[]x2x[]"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.total);
        try {
            klf::compute_size(row.total, row.dims);
            ADD_FAILURE() << "no exception";
        } catch (const klf::MessageException& e) {
            EXPECT_EQ(e.message().id(),
                      resource_core::BaseMsgID("kelvor:core:size", "CannotComputeSize",
                                               {row.arg0, row.arg1}));
            EXPECT_TRUE(e.causes().empty());
        }
    }
}

TEST(ToUserString, JoinsDimensionsWithX) {
    const struct {
        ArraySize size;
        ustring text;
    } rows[] = {
        {ArraySize{2, 3}, u"2x3"},
        {ArraySize{5}, u"5"},
        {ArraySize{0, 0}, u"0x0"},
        {ArraySize(), u"[]"},
        {ArraySize{1, 2, 3, 4}, u"1x2x3x4"},
        {ArraySize{18446744073709551615u}, u"18446744073709551615"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.size.size());
        EXPECT_EQ(klf::to_user_string(row.size), row.text);
    }
}

}  // namespace
