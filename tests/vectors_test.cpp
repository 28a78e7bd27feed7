#include <malloc.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <limits>
#include <span>
#include <tuple>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <boost/numeric/conversion/converter_policies.hpp>

#include <hyarray/testing.hpp>
#include <kelvor/common/foundation/matrix/interchange.hpp>

#include "message_matchers.hpp"

using kelvor::testing::hy_message;
using namespace matrix::testing;

namespace {

using Indices = std::vector<std::int32_t>;
using Pattern = std::tuple<std::size_t, std::size_t, Indices, Indices>;  // n, m, jc, ir

// Runs `op` (which must throw) once to settle lazily made state, then again measuring: neither
// host arrays nor C heap bytes (records come from calloc) may remain.
template <class Exception>
void expect_clean_failure(const std::function<void()>& op) {
    EXPECT_THROW(op(), Exception);
    const LiveArrays live;
    const std::size_t heap = mallinfo2().uordblks;
    EXPECT_THROW(op(), Exception);
    EXPECT_EQ(live.delta(), 0);
    EXPECT_EQ(mallinfo2().uordblks, heap);
}

// The contents of a record the library made; the record is freed as its owner must.
template <class Record>
auto take(Record* r) {
    auto values = std::vector(r->x, r->x + r->n);
    std::free(r->x), std::free(r);
    return values;
}
Pattern take(KlSparsityPatternTag* p) {
    Pattern pattern{p->n, p->m, Indices(p->jc, p->jc + p->n + 1),
                    Indices(p->ir, p->ir + p->jc[p->n])};
    std::free(p->jc), std::free(p->ir), std::free(p);
    return pattern;
}

// A record of `values` becomes an n×1 host array of their class, leaks nothing when the host's
// allocations fail, and comes back bit for bit; a null record is rejected.
template <class Record, class T, std::size_t N>
void expect_round_trip(std::span<T, N> values) {
    SCOPED_TRACE(values.size());
    const LiveArrays live;
    const Record record{values.size(), values.data()};
    const std::size_t dims[] = {values.size(), 1};
    auto a = klf::to_hyarray(&record);
    EXPECT_TRUE(hyAreMatricesEqual(a.get(), numeric<T>(dims, std::span<const T>(values)).get()));
    Record* back = klf::from_hyarray<Record>(a.get());
    EXPECT_TRUE(
        std::ranges::equal(std::as_bytes(std::span(back->x, back->n)), std::as_bytes(values)));
    take(back), a.reset();
    EXPECT_MESSAGE(klf::to_hyarray(static_cast<const Record*>(nullptr)),
                   hy_message("InvalidNullInput"));
    EXPECT_EQ(live.delta(), 0);
    const auto sweep = sweep_allocation_failures([&] { return klf::to_hyarray(&record); });
    EXPECT_GT(sweep.failure_points, 0u);
    EXPECT_TRUE(sweep.leaking_points.empty());
}

TEST(VectorRecords, RecordsBecomeColumnsOfTheirClassAndRoundTrip) {
    double reals[] = {
        1.5, -2.0, 1e300, 0.25, -0.0, 4e-310, std::numeric_limits<double>::infinity()};
    std::int32_t ints[] = {7, std::numeric_limits<std::int32_t>::min(), -1, 0,
                           std::numeric_limits<std::int32_t>::max()};
    bool bits[] = {false, true, true};
    expect_round_trip<KlRealVectorTag>(std::span(reals));
    expect_round_trip<KlRealVectorTag>(std::span<double>());
    expect_round_trip<KlIntVectorTag>(std::span(ints));
    expect_round_trip<KlBoolVectorTag>(std::span(bits));
    // The bytes are copied, not normalised to 0 and 1.
    unsigned char raw[] = {0, 2, 255};
    const KlBoolVectorTag odd{3, reinterpret_cast<bool*>(raw)};
    auto o = klf::to_hyarray(&odd);
    const auto* copied = static_cast<const unsigned char*>(matrix::data(std::as_const(o).get()));
    EXPECT_EQ(std::vector(copied, copied + 3), std::vector(raw, raw + 3));
}

TEST(VectorRecords, VectorFormsConvertAnyVectorShapeByTheHostsRule) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const auto same = [](double a, double b) { return a == b || (std::isnan(a) && std::isnan(b)); };
    const struct {
        const char* name;
        matrix::unique_hyarray_ptr source;
        std::vector<double> reals;
        Indices ints;
        std::vector<bool> bits;
    } rows[] = {
        {"int8 row", int8s({1, 4}, {1, -2, 3, 4}), {1, -2, 3, 4}, {1, -2, 3, 4}, {1, 1, 1, 1}},
        {"logical column", logicals({2, 1}, {false, true}), {0, 1}, {0, 1}, {0, 1}},
        {"double scalar", scalar(2.5), {2.5}, {3}, {1}},
        {"rounded and saturated",
         doubles({1, 5}, {-2.5, 0.4, nan, 1e10, -1e10}),
         {-2.5, 0.4, nan, 1e10, -1e10},
         {-3, 0, 0, std::numeric_limits<std::int32_t>::max(),
          std::numeric_limits<std::int32_t>::min()},
         {1, 1, 1, 1, 1}},
        {"uint16 row", uint16s({1, 2}, {0, 65535}), {0, 65535}, {0, 65535}, {0, 1}},
        {"empty 0x5", doubles({0, 5}, {}), {}, {}, {}},
        {"empty 3x0x2", doubles({3, 0, 2}, {}), {}, {}, {}},
    };
    for (const auto& [name, source, reals, ints, bits] : rows) {
        SCOPED_TRACE(name);
        const LiveArrays live;
        const auto got = take(klf::from_hyarray<KlRealVectorTag>(source.get()));
        EXPECT_TRUE(std::ranges::equal(got, reals, same)) << testing::PrintToString(got);
        EXPECT_EQ(take(klf::from_hyarray<KlIntVectorTag>(source.get())), ints);
        EXPECT_EQ(take(klf::from_hyarray<KlBoolVectorTag>(source.get())), bits);
        EXPECT_EQ(live.delta(), 0);
    }
}

TEST(VectorRecords, FromHostChecksPresenceThenTypeThenShape) {
    const std::tuple<const char*, matrix::unique_hyarray_ptr, const char*> rows[] = {
        {"null", nullptr, "InvalidNullParam"},
        {"char row", text(u"ab"), "InvalidParamType"},
        {"char matrix: type before shape", chars({2, 2}, u"abcd"), "InvalidParamType"},
        {"cell", cell({1, 1}, {scalar(1)}), "InvalidParamType"},
        {"struct", structure({{"a", scalar(1)}}), "InvalidParamType"},
        {"sparse vector", sparse_doubles(3, 1, {{0, 0, 1.0}}), "InvalidParamType"},
        {"sparse logical", sparse_logicals(1, 3, {{0, 2, true}}), "InvalidParamType"},
        {"complex vector", complex_doubles({1, 2}, {{1, 0}, {2, 0}}), "InvalidParamType"},
        {"sparse matrix: shape before storage", sparse_doubles(2, 2, {{0, 0, 1.0}}),
         "InvalidParamDim"},
        {"complex matrix: shape before storage",
         complex_doubles({2, 2}, {{1, 0}, {2, 0}, {3, 0}, {4, 1}}), "InvalidParamDim"},
        {"3x3 double", doubles({3, 3}, {1, 2, 3, 4, 5, 6, 7, 8, 9}), "InvalidParamDim"},
        {"1x1x2 double", doubles({1, 1, 2}, {1, 2}), "InvalidParamDim"},
    };
    for (const auto& [name, source, key] : rows) {
        SCOPED_TRACE(name);
        const hyArray* a = source.get();
        expect_clean_failure<klf::MessageException>([&] { klf::from_hyarray<KlRealVectorTag>(a); });
        EXPECT_MESSAGE(klf::from_hyarray<KlRealVectorTag>(a), hy_message(key));
        EXPECT_MESSAGE(klf::from_hyarray<KlIntVectorTag>(a), hy_message(key));
        EXPECT_MESSAGE(klf::from_hyarray<KlBoolVectorTag>(a), hy_message(key));
    }
}

TEST(SparsityPatterns, RoundTripThroughASparseLogicalArray) {
    struct {
        const char* name;
        Pattern pattern;
        matrix::unique_hyarray_ptr expected;
    } rows[] = {
        {"one nonzero", {2, 3, {0, 1, 1}, {1}}, sparse_logicals(3, 2, {{1, 0, true}})},
        {"two columns full",
         {2, 2, {0, 2, 4}, {0, 1, 0, 1}},
         sparse_logicals(2, 2, {{0, 0, true}, {1, 0, true}, {0, 1, true}, {1, 1, true}})},
        {"nnz 0", {3, 2, {0, 0, 0, 0}, {}}, sparse_logicals(2, 3, {})},
        {"no columns", {0, 4, {0}, {}}, sparse_logicals(4, 0, {})},
    };
    for (auto& row : rows) {
        SCOPED_TRACE(row.name);
        const LiveArrays live;
        auto& [n, m, jc, ir] = row.pattern;
        const KlSparsityPatternTag pattern{n, m, jc.data(), ir.data()};
        auto a = klf::to_hyarray(&pattern);
        EXPECT_TRUE(hyAreMatricesEqual(a.get(), row.expected.get()));  // sparse, jc and ir included
        EXPECT_EQ(take(klf::from_hyarray<KlSparsityPatternTag>(a.get())), row.pattern);
        a.reset();
        EXPECT_EQ(live.delta(), 0);
        const auto sweep = sweep_allocation_failures([&] { return klf::to_hyarray(&pattern); });
        EXPECT_GT(sweep.failure_points, 0u);
        EXPECT_TRUE(sweep.leaking_points.empty());
    }
    // Any sparse class gives its positions; null records and arrays and dense arrays are rejected.
    const LiveArrays live;
    auto a = sparse_doubles(2, 3, {{1, 2, 5.0}, {0, 0, -1.0}});
    EXPECT_EQ(take(klf::from_hyarray<KlSparsityPatternTag>(a.get())),
              (Pattern{3, 2, {0, 1, 1, 2}, {0, 1}}));
    EXPECT_MESSAGE(klf::to_hyarray(static_cast<const KlSparsityPatternTag*>(nullptr)),
                   hy_message("InvalidNullInput"));
    EXPECT_MESSAGE(klf::from_hyarray<KlSparsityPatternTag>(nullptr),
                   hy_message("InvalidNullParam"));
    EXPECT_MESSAGE(klf::from_hyarray<KlSparsityPatternTag>(doubles({2, 1}, {0, 1}).get()),
                   hy_message("InvalidParamType"));
    a.reset();
    EXPECT_EQ(live.delta(), 0);
}

TEST(SparsityPatterns, IndicesOutOfRangeFailWithoutResult) {
    // Into the host: negative row index or column start.
    for (auto [jc, ir] : {std::pair<Indices, Indices>{{0, 1, 2}, {0, -1}}, {{0, -1, 1}, {0}}}) {
        const KlSparsityPatternTag pattern{2, 3, jc.data(), ir.data()};
        expect_clean_failure<boost::numeric::negative_overflow>([&] { klf::to_hyarray(&pattern); });
    }
    // Out of the host: a column start or row index of 2^31 does not fit; 2^31 - 1 does.
    const std::size_t big = std::size_t{1} << 31;
    auto jc_big = sparse_logicals(2, 2, {{0, 0, true}});
    matrix::host::jc(jc_big.get())[2] = big;
    expect_clean_failure<boost::numeric::positive_overflow>(
        [&] { klf::from_hyarray<KlSparsityPatternTag>(jc_big.get()); });
    auto ir_big = sparse_logicals(2, 2, {{0, 0, true}, {1, 1, true}});
    matrix::host::ir(ir_big.get())[1] = big;
    expect_clean_failure<boost::numeric::positive_overflow>(
        [&] { klf::from_hyarray<KlSparsityPatternTag>(ir_big.get()); });
    matrix::host::ir(ir_big.get())[1] = big - 1;
    EXPECT_EQ(take(klf::from_hyarray<KlSparsityPatternTag>(ir_big.get())),
              (Pattern{2, 2, {0, 1, 2}, {0, std::numeric_limits<std::int32_t>::max()}}));
}

}  // namespace
