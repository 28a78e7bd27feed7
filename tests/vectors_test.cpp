#include <malloc.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <boost/numeric/conversion/converter_policies.hpp>

#include <hyarray/testing.hpp>
#include <kelvor/common/foundation/matrix/interchange.hpp>

#include "message_matchers.hpp"

using kelvor::testing::hy_message;
namespace mt = matrix::testing;

namespace {

// Bytes the C heap has handed out and not taken back: records come from
// calloc, so a failed conversion must leave this where it found it.
std::size_t heap_in_use() {
    return mallinfo2().uordblks;
}

// Runs `op` (which must throw) once to settle lazily made state, then again
// measuring: neither host arrays nor heap bytes may remain.
template <class Exception>
void expect_clean_failure(const std::function<void()>& op) {
    EXPECT_THROW(op(), Exception);
    const mt::LiveArrays live;
    const std::size_t heap = heap_in_use();
    EXPECT_THROW(op(), Exception);
    EXPECT_EQ(live.delta(), 0);
    EXPECT_EQ(heap_in_use(), heap);
}

template <class Record>
void free_record(Record* r) {
    if (r != nullptr) {
        std::free(r->x);
        std::free(r);
    }
}
void free_record(KlSparsityPatternTag* p) {
    if (p != nullptr) {
        std::free(p->jc);
        std::free(p->ir);
        std::free(p);
    }
}

template <class Record>
auto elements(const Record* r) {
    return std::vector(r->x, r->x + r->n);
}

TEST(VectorRecords, DenseRecordsBecomeColumnsOfTheirClass) {
    const mt::LiveArrays live;
    double reals[] = {1.5, -2.0, 1e300};
    const KlRealVectorTag real{3, reals};
    auto a = klf::to_hyarray(&real);
    EXPECT_EQ(matrix::class_id(a.get()), hyDOUBLE_CLASS);
    EXPECT_EQ(mt::dims_of(a.get()), (std::vector<std::size_t>{3, 1}));
    EXPECT_EQ(mt::values_of<double>(a.get()), (std::vector<double>{1.5, -2.0, 1e300}));

    const KlRealVectorTag none{0, nullptr};
    auto e = klf::to_hyarray(&none);
    EXPECT_EQ(matrix::class_id(e.get()), hyDOUBLE_CLASS);
    EXPECT_EQ(mt::dims_of(e.get()), (std::vector<std::size_t>{0, 1}));

    std::int32_t ints[] = {7, std::numeric_limits<std::int32_t>::min()};
    const KlIntVectorTag integer{2, ints};
    auto i = klf::to_hyarray(&integer);
    EXPECT_EQ(matrix::class_id(i.get()), hyINT32_CLASS);
    EXPECT_EQ(mt::dims_of(i.get()), (std::vector<std::size_t>{2, 1}));
    EXPECT_EQ(mt::values_of<std::int32_t>(i.get()), (std::vector<std::int32_t>(ints, ints + 2)));

    bool bits[] = {false, true, true};
    const KlBoolVectorTag logical{3, bits};
    auto b = klf::to_hyarray(&logical);
    EXPECT_TRUE(hyAreMatricesEqual(b.get(), mt::logicals({3, 1}, {false, true, true}).get()));
    // The bytes are copied, not normalised to 0 and 1.
    unsigned char raw[] = {0, 2, 255};
    const KlBoolVectorTag odd{3, reinterpret_cast<bool*>(raw)};
    auto o = klf::to_hyarray(&odd);
    const auto* copied = static_cast<const unsigned char*>(matrix::data(std::as_const(o).get()));
    EXPECT_EQ(std::vector(copied, copied + 3), std::vector(raw, raw + 3));

    a.reset(), e.reset(), i.reset(), b.reset(), o.reset();
    EXPECT_EQ(live.delta(), 0);
}

TEST(VectorRecords, RoundTripsKeepEveryElement) {
    double reals[] = {0.25, -0.0, 4e-310, std::numeric_limits<double>::infinity()};
    const KlRealVectorTag real{4, reals};
    auto* r = klf::from_hyarray<KlRealVectorTag>(klf::to_hyarray(&real).get());
    ASSERT_EQ(r->n, 4u);
    EXPECT_EQ(0, std::memcmp(r->x, reals, sizeof reals));
    free_record(r);

    std::int32_t ints[] = {-1, 0, std::numeric_limits<std::int32_t>::max()};
    const KlIntVectorTag integer{3, ints};
    auto* i = klf::from_hyarray<KlIntVectorTag>(klf::to_hyarray(&integer).get());
    EXPECT_EQ(elements(i), (std::vector<std::int32_t>(ints, ints + 3)));
    free_record(i);

    bool bits[] = {true, false};
    const KlBoolVectorTag logical{2, bits};
    auto* b = klf::from_hyarray<KlBoolVectorTag>(klf::to_hyarray(&logical).get());
    EXPECT_EQ(elements(b), (std::vector<bool>{true, false}));
    free_record(b);
}

TEST(VectorRecords, VectorFormsConvertAnyVectorShapeByTheHostsRule) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    struct Row {
        const char* name;
        matrix::unique_hyarray_ptr source;
        std::vector<double> reals;
        std::vector<std::int32_t> ints;
        std::vector<bool> bits;
    };
    Row rows[] = {
        {"int8 row", mt::int8s({1, 4}, {1, -2, 3, 4}), {1, -2, 3, 4}, {1, -2, 3, 4}, {1, 1, 1, 1}},
        {"logical column", mt::logicals({2, 1}, {false, true}), {0, 1}, {0, 1}, {0, 1}},
        {"double scalar", mt::scalar(2.5), {2.5}, {3}, {1}},
        {"rounded and saturated",
         mt::doubles({1, 5}, {-2.5, 0.4, nan, 1e10, -1e10}),
         {-2.5, 0.4, nan, 1e10, -1e10},
         {-3, 0, 0, std::numeric_limits<std::int32_t>::max(),
          std::numeric_limits<std::int32_t>::min()},
         {1, 1, 1, 1, 1}},
        {"uint16 row", mt::uint16s({1, 2}, {0, 65535}), {0, 65535}, {0, 65535}, {0, 1}},
        {"empty 0x5", mt::doubles({0, 5}, {}), {}, {}, {}},
        {"empty 3x0x2", mt::doubles({3, 0, 2}, {}), {}, {}, {}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const mt::LiveArrays live;
        auto* r = klf::from_hyarray<KlRealVectorTag>(row.source.get());
        ASSERT_EQ(r->n, row.reals.size());
        for (std::size_t k = 0; k < r->n; ++k) {
            EXPECT_TRUE(r->x[k] == row.reals[k] ||
                        (std::isnan(r->x[k]) && std::isnan(row.reals[k])))
                << k;
        }
        free_record(r);
        auto* i = klf::from_hyarray<KlIntVectorTag>(row.source.get());
        EXPECT_EQ(elements(i), row.ints);
        free_record(i);
        auto* b = klf::from_hyarray<KlBoolVectorTag>(row.source.get());
        EXPECT_EQ(elements(b), row.bits);
        free_record(b);
        EXPECT_EQ(live.delta(), 0);
    }
}

TEST(VectorRecords, VectorFormsCheckPresenceThenTypeThenShape) {
    struct Row {
        const char* name;
        matrix::unique_hyarray_ptr source;
        const char* key;
    };
    Row rows[] = {
        {"null", nullptr, "InvalidNullParam"},
        {"char row", mt::text(u"ab"), "InvalidParamType"},
        {"char matrix: type before shape", mt::chars({2, 2}, u"abcd"), "InvalidParamType"},
        {"cell", mt::cell({1, 1}, {mt::scalar(1)}), "InvalidParamType"},
        {"struct", mt::structure({{"a", mt::scalar(1)}}), "InvalidParamType"},
        {"sparse vector", mt::sparse_doubles(3, 1, {{0, 0, 1.0}}), "InvalidParamType"},
        {"sparse logical", mt::sparse_logicals(1, 3, {{0, 2, true}}), "InvalidParamType"},
        {"complex vector", mt::complex_doubles({1, 2}, {{1, 0}, {2, 0}}), "InvalidParamType"},
        {"sparse matrix: shape before storage", mt::sparse_doubles(2, 2, {{0, 0, 1.0}}),
         "InvalidParamDim"},
        {"complex matrix: shape before storage",
         mt::complex_doubles({2, 2}, {{1, 0}, {2, 0}, {3, 0}, {4, 1}}), "InvalidParamDim"},
        {"3x3 double", mt::doubles({3, 3}, {1, 2, 3, 4, 5, 6, 7, 8, 9}), "InvalidParamDim"},
        {"1x1x2 double", mt::doubles({1, 1, 2}, {1, 2}), "InvalidParamDim"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const hyArray* a = row.source.get();
        expect_clean_failure<klf::MessageException>([&] { klf::from_hyarray<KlRealVectorTag>(a); });
        EXPECT_MESSAGE(klf::from_hyarray<KlRealVectorTag>(a), hy_message(row.key));
        EXPECT_MESSAGE(klf::from_hyarray<KlIntVectorTag>(a), hy_message(row.key));
        EXPECT_MESSAGE(klf::from_hyarray<KlBoolVectorTag>(a), hy_message(row.key));
    }
}

TEST(VectorRecords, NullRecordsAreRejected) {
    const mt::LiveArrays live;
    EXPECT_MESSAGE(klf::to_hyarray(static_cast<const KlRealVectorTag*>(nullptr)),
                   hy_message("InvalidNullInput"));
    EXPECT_MESSAGE(klf::to_hyarray(static_cast<const KlIntVectorTag*>(nullptr)),
                   hy_message("InvalidNullInput"));
    EXPECT_MESSAGE(klf::to_hyarray(static_cast<const KlBoolVectorTag*>(nullptr)),
                   hy_message("InvalidNullInput"));
    EXPECT_MESSAGE(klf::to_hyarray(static_cast<const KlSparsityPatternTag*>(nullptr)),
                   hy_message("InvalidNullInput"));
    EXPECT_MESSAGE(klf::from_hyarray<KlSparsityPatternTag>(nullptr),
                   hy_message("InvalidNullParam"));
    EXPECT_MESSAGE(klf::from_hyarray<KlSparsityPatternTag>(mt::doubles({2, 1}, {0, 1}).get()),
                   hy_message("InvalidParamType"));
    EXPECT_EQ(live.delta(), 0);
}

TEST(SparsityPatterns, RoundTripThroughASparseLogicalArray) {
    struct Row {
        const char* name;
        std::size_t n, m;
        std::vector<std::int32_t> jc, ir;
        matrix::unique_hyarray_ptr expected;
    };
    Row rows[] = {
        {"one nonzero", 2, 3, {0, 1, 1}, {1}, mt::sparse_logicals(3, 2, {{1, 0, true}})},
        {"two columns full",
         2,
         2,
         {0, 2, 4},
         {0, 1, 0, 1},
         mt::sparse_logicals(2, 2, {{0, 0, true}, {1, 0, true}, {0, 1, true}, {1, 1, true}})},
        {"nnz 0", 3, 2, {0, 0, 0, 0}, {}, mt::sparse_logicals(2, 3, {})},
        {"no columns", 0, 4, {0}, {}, mt::sparse_logicals(4, 0, {})},
    };
    for (auto& row : rows) {
        SCOPED_TRACE(row.name);
        const mt::LiveArrays live;
        const KlSparsityPatternTag pattern{row.n, row.m, row.jc.data(), row.ir.data()};
        auto a = klf::to_hyarray(&pattern);
        EXPECT_TRUE(matrix::is_sparse(a.get()));
        EXPECT_TRUE(hyAreMatricesEqual(a.get(), row.expected.get()));
        EXPECT_EQ(matrix::host::jc(std::as_const(a).get())[row.n],
                  static_cast<std::size_t>(row.jc.back()));

        auto* back = klf::from_hyarray<KlSparsityPatternTag>(a.get());
        EXPECT_EQ(back->n, row.n);
        EXPECT_EQ(back->m, row.m);
        EXPECT_EQ(std::vector(back->jc, back->jc + row.n + 1), row.jc);
        EXPECT_EQ(std::vector(back->ir, back->ir + row.jc.back()), row.ir);
        free_record(back);
        a.reset();
        EXPECT_EQ(live.delta(), 0);
    }
}

TEST(SparsityPatterns, AnySparseClassGivesItsPositions) {
    auto a = mt::sparse_doubles(2, 3, {{1, 2, 5.0}, {0, 0, -1.0}});
    auto* p = klf::from_hyarray<KlSparsityPatternTag>(a.get());
    EXPECT_EQ(std::vector(p->jc, p->jc + 4), (std::vector<std::int32_t>{0, 1, 1, 2}));
    EXPECT_EQ(std::vector(p->ir, p->ir + 2), (std::vector<std::int32_t>{0, 1}));
    free_record(p);
}

TEST(SparsityPatterns, IndicesOutOfRangeFailWithoutResult) {
    // Into the host: negative row index or column start.
    for (auto [jc, ir] :
         {std::pair<std::vector<std::int32_t>, std::vector<std::int32_t>>{{0, 1, 2}, {0, -1}},
          {{0, -1, 1}, {0}}}) {
        const KlSparsityPatternTag pattern{2, 3, jc.data(), ir.data()};
        expect_clean_failure<boost::numeric::negative_overflow>([&] { klf::to_hyarray(&pattern); });
    }
    // Out of the host: a column start or row index of 2^31 does not fit.
    const std::size_t big = std::size_t{1} << 31;
    auto jc_big = mt::sparse_logicals(2, 2, {{0, 0, true}});
    matrix::host::jc(jc_big.get())[2] = big;
    expect_clean_failure<boost::numeric::positive_overflow>(
        [&] { klf::from_hyarray<KlSparsityPatternTag>(jc_big.get()); });
    auto ir_big = mt::sparse_logicals(2, 2, {{0, 0, true}, {1, 1, true}});
    matrix::host::ir(ir_big.get())[1] = big;
    expect_clean_failure<boost::numeric::positive_overflow>(
        [&] { klf::from_hyarray<KlSparsityPatternTag>(ir_big.get()); });
    // The largest index that fits passes.
    matrix::host::ir(ir_big.get())[1] = big - 1;
    auto* p = klf::from_hyarray<KlSparsityPatternTag>(ir_big.get());
    EXPECT_EQ(p->ir[1], std::numeric_limits<std::int32_t>::max());
    free_record(p);
}

TEST(VectorRecords, HostAllocationFailuresLeakNothing) {
    double reals[] = {1, 2};
    const KlRealVectorTag real{2, reals};
    std::int32_t jc[] = {0, 1}, ir[] = {0};
    const KlSparsityPatternTag pattern{1, 1, jc, ir};
    for (const auto& op : std::vector<std::function<matrix::unique_hyarray_ptr()>>{
             [&] { return klf::to_hyarray(&real); }, [&] { return klf::to_hyarray(&pattern); }}) {
        const auto r = mt::sweep_allocation_failures(op);
        EXPECT_GT(r.failure_points, 0u);
        EXPECT_TRUE(r.leaking_points.empty());
    }
}

}  // namespace
