#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <fl/diag.hpp>
#include <hyarray/testing.hpp>
#include <kelvor/common/foundation/matrix/numeric.hpp>

#include "message_matchers.hpp"

using kelvor::testing::hy_message;
namespace mt = matrix::testing;

namespace {

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double inf = std::numeric_limits<double>::infinity();
constexpr float nanf = std::numeric_limits<float>::quiet_NaN();
constexpr float inff = std::numeric_limits<float>::infinity();

std::string class_name(const hyArray* a) {
    return hyGetClassName(a);
}

TEST(SemiNumeric, PairsAreThe22OfTheConverterTable) {
    for (int id : {-2147483647 - 1, -1, 0, 1, 2, 3, 4, 5, 6, 10, 15, 16, 17, 18, 19, 1000}) {
        for (int k : {0, 1, 2, -1}) {
            SCOPED_TRACE(testing::Message() << "class " << id << ", complexity " << k);
            const bool numeric = id >= 6 && id <= 15;
            const bool expected = k == 1 ? numeric : numeric || id == 3 || id == 4;
            EXPECT_EQ(
                klf::is_semi_numeric(static_cast<hyClassID>(id), static_cast<hyComplexity>(k)),
                expected);
        }
    }
}

TEST(SemiNumeric, ArraysAreJudgedByClassAndComplexityOnly) {
    EXPECT_TRUE(klf::is_semi_numeric(mt::text(u"ab").get()));
    EXPECT_TRUE(klf::is_semi_numeric(mt::logical(true).get()));
    EXPECT_TRUE(klf::is_semi_numeric(mt::complex_singles({1, 1}, {{1, 2}}).get()));
    EXPECT_TRUE(klf::is_semi_numeric(mt::sparse_doubles(2, 2, {{0, 0, 1.0}}).get()));
    EXPECT_FALSE(klf::is_semi_numeric(mt::cell({1, 1}, {mt::scalar(1)}).get()));
    EXPECT_FALSE(klf::is_semi_numeric(mt::structure({}).get()));
    EXPECT_FALSE(klf::is_semi_numeric(mt::object("NumericTestThing").get()));
    EXPECT_EQ(klf::complexity(true), hyCOMPLEX);
    EXPECT_EQ(klf::complexity(false), hyREAL);
    EXPECT_EQ(klf::complexity(mt::complex_doubles({1, 1}, {{1, 0}}).get()), hyCOMPLEX);
    EXPECT_EQ(klf::complexity(mt::scalar(1).get()), hyREAL);
}

TEST(SemiNumeric, AllRealMeansEveryImaginaryPartIsZero) {
    struct Row {
        const char* name;
        matrix::unique_hyarray_ptr a;
        bool all_real;
    };
    Row rows[] = {
        {"1+0i, 2-0i", mt::complex_doubles({1, 2}, {{1, 0}, {2, -0.0}}), true},
        {"1+NaNi", mt::complex_doubles({1, 2}, {{1, 0}, {1, nan}}), false},
        {"empty complex", mt::complex_doubles({0, 3}, {}), true},
        {"complex int16 0, 3i", mt::numeric<std::complex<std::int16_t>>({1, 2}, {{5, 0}, {0, 3}}),
         false},
        {"complex single -0", mt::complex_singles({1, 1}, {{-1, -0.0f}}), true},
        {"real int8", mt::int8s({1, 2}, {-1, 1}), true},
        {"char", mt::text(u"x"), true},
        {"cell", mt::cell({1, 1}, {mt::scalar(1)}), false},
        {"struct", mt::structure({}), false},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(klf::is_all_real(row.a.get()), row.all_real);
        if (row.all_real) {
            EXPECT_NO_THROW(klf::require_all_real(row.a.get()));
        } else {
            EXPECT_MESSAGE(klf::require_all_real(row.a.get()), hy_message("RealValueExpected"));
        }
    }
}

TEST(SemiNumeric, SparseArraysAreRejectedByTheHostBeforeAnyAnswer) {
    const auto sparse = mt::sparse_doubles(3, 3, {{1, 1, 2.0}});
    const auto sparse_logical = mt::sparse_logicals(2, 2, {{0, 1, true}});
    EXPECT_THROW(klf::is_all_real(sparse.get()), matrix::HostError);
    EXPECT_THROW(klf::is_all_real(sparse_logical.get()), matrix::HostError);
    EXPECT_THROW(klf::require_all_real(sparse.get()), matrix::HostError);
}

TEST(SemiNumeric, ClassNamesAreTheHostsAndAskedOnce) {
    // No other test here asks for uint32's name: a probe that fails stores
    // nothing, so the next call asks the host again instead of finding an
    // empty or half-made entry.
    {
        const mt::LiveArrays live;
        const mt::AllocationFailure armed(0);
        EXPECT_THROW(klf::semi_numeric_class_name(hyUINT32_CLASS), std::bad_alloc);
        EXPECT_EQ(live.delta(), 0);
    }
    for (int id : {3, 4, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15}) {
        const auto cls = static_cast<hyClassID>(id);
        SCOPED_TRACE(id);
        const std::size_t dims[] = {0, 0};
        const auto probe = matrix::detail::do_create_numeric(dims, cls, hyREAL);
        const std::string& name = klf::semi_numeric_class_name(cls);
        EXPECT_EQ(name, class_name(probe.get()));
        EXPECT_EQ(&name, &klf::semi_numeric_class_name(cls));
    }
}

TEST(SemiNumeric, RequireSemiNumericNamesTheTargetAndTheSource) {
    const auto cell = mt::cell({1, 1}, {nullptr});
    const auto strct = mt::structure({});
    const auto handle = mt::function_handle(u"sin");
    const std::string cell_name = class_name(cell.get());
    EXPECT_MESSAGE(klf::require_semi_numeric(cell.get(), hyLOGICAL_CLASS),
                   hy_message("LogicalValueExpected", {cell_name}));
    EXPECT_MESSAGE(klf::require_semi_numeric(strct.get(), hyDOUBLE_CLASS),
                   hy_message("NumericValueExpected", {klf::semi_numeric_class_name(hyDOUBLE_CLASS),
                                                       class_name(strct.get())}));
    EXPECT_MESSAGE(klf::require_semi_numeric(handle.get(), hyCHAR_CLASS),
                   hy_message("NumericValueExpected", {klf::semi_numeric_class_name(hyCHAR_CLASS),
                                                       class_name(handle.get())}));
    // The target does not narrow what is accepted.
    const auto complex16 = mt::numeric<std::complex<std::int16_t>>({1, 1}, {{1, 2}});
    EXPECT_NO_THROW(klf::require_semi_numeric(complex16.get(), hyDOUBLE_CLASS));
    EXPECT_NO_THROW(klf::require_semi_numeric(mt::text(u"a").get(), hyLOGICAL_CLASS));
}

TEST(Numeric, CreateNumericKeepsTheSizeAndZeroFills) {
    const auto a = klf::create_numeric(klf::ArraySize{2, 3, 4}, hyINT16_CLASS, hyCOMPLEX);
    EXPECT_EQ(mt::dims_of(a.get()), (std::vector<std::size_t>{2, 3, 4}));
    EXPECT_EQ(matrix::class_id(a.get()), hyINT16_CLASS);
    EXPECT_TRUE(matrix::is_complex(a.get()));
    const auto* parts = static_cast<const std::int16_t*>(matrix::data(a.get()));
    EXPECT_EQ(std::count(parts, parts + 48, 0), 48);
    // No dimensions: the host decides the shape of an empty dimension list.
    const auto none = klf::create_numeric(klf::ArraySize{}, hyLOGICAL_CLASS, hyREAL);
    const auto host = matrix::detail::do_create_numeric({}, hyLOGICAL_CLASS, hyREAL);
    EXPECT_EQ(mt::dims_of(none.get()), mt::dims_of(host.get()));
}

/// Converts `inputs` (a 1xn array of S) to class C and checks every element.
template <class T, class S>
void expect_converted(hyClassID cls, const std::vector<std::pair<S, T>>& rows) {
    auto in = std::make_unique<S[]>(rows.size());  // S may be bool
    for (std::size_t i = 0; i < rows.size(); ++i)
        in[i] = rows[i].first;
    const std::size_t dims[] = {1, rows.size()};
    const auto src = mt::numeric<S>(dims, std::span<const S>(in.get(), rows.size()));
    const auto out = klf::convert_numeric(src.get(), cls, hyREAL);
    ASSERT_EQ(matrix::class_id(out.get()), cls);
    const auto got = mt::values_of<T>(out.get());
    for (std::size_t i = 0; i < rows.size(); ++i) {
        SCOPED_TRACE(testing::Message() << "row " << i << ": " << +rows[i].first);
        EXPECT_EQ(+got[i], +rows[i].second);
    }
}

TEST(Numeric, FloatingSourcesRoundHalvesAwayAndSaturate) {
    expect_converted<std::int8_t, double>(hyINT8_CLASS, {{2.5, 3},
                                                         {-2.5, -3},
                                                         {0.49, 0},
                                                         {-0.5, -1},
                                                         {0.5, 1},
                                                         {-0.49, 0},
                                                         {127.4, 127},
                                                         {127.5, 127},
                                                         {126.5, 127},
                                                         {300, 127},
                                                         {-1e300, -128},
                                                         {-128.5, -128},
                                                         {-127.5, -128},
                                                         {nan, 0},
                                                         {inf, 127},
                                                         {-inf, -128},
                                                         {-0.0, 0},
                                                         {0.49999999999999994, 0}});
    expect_converted<std::uint8_t, double>(hyUINT8_CLASS, {{-0.7, 0},
                                                           {254.5, 255},
                                                           {254.4, 254},
                                                           {255.5, 255},
                                                           {-0.4, 0},
                                                           {1.5, 2},
                                                           {nan, 0},
                                                           {-inf, 0},
                                                           {256, 255}});
    expect_converted<std::int16_t, double>(
        hyINT16_CLASS,
        {{32766.5, 32767}, {32767.49, 32767}, {-32767.5, -32768}, {-32768.6, -32768}});
    expect_converted<std::uint16_t, double>(hyUINT16_CLASS, {{65534.5, 65535}, {65536, 65535}});
    expect_converted<std::int32_t, double>(hyINT32_CLASS, {{2147483646.5, 2147483647},
                                                           {2147483647.4, 2147483647},
                                                           {3e9, 2147483647},
                                                           {-2147483648.4, -2147483647 - 1},
                                                           {-2147483647.5, -2147483647 - 1},
                                                           {-2147483646.5, -2147483647}});
    expect_converted<std::uint32_t, double>(
        hyUINT32_CLASS, {{4294967294.5, 4294967295u}, {4294967296.0, 4294967295u}, {-1, 0}});
    expect_converted<std::int64_t, double>(hyINT64_CLASS, {{0x1p52 + 1, 4503599627370497},
                                                           {-0x1p52 - 1, -4503599627370497},
                                                           {0x1p52 - 0.5, 4503599627370496},
                                                           {0x1p51 + 0.5, 2251799813685249},
                                                           {9.3e18, INT64_MAX},
                                                           {0x1p63, INT64_MAX},
                                                           {-0x1p63, INT64_MIN},
                                                           {-1e19, INT64_MIN},
                                                           {nan, 0}});
    expect_converted<std::uint64_t, double>(hyUINT64_CLASS, {{0x1p64, UINT64_MAX},
                                                             {0x1p64 - 2048, 18446744073709549568u},
                                                             {0x1p63, 9223372036854775808u},
                                                             {-5, 0}});
    expect_converted<std::int32_t, float>(hyINT32_CLASS, {{16777215.0f, 16777215},
                                                          {8388607.5f, 8388608},
                                                          {3.0e9f, 2147483647},
                                                          {-0x1p31f, -2147483647 - 1},
                                                          {2147483520.0f, 2147483520},
                                                          {nanf, 0},
                                                          {-inff, -2147483647 - 1}});
    expect_converted<std::uint32_t, float>(hyUINT32_CLASS,
                                           {{0x1p32f, 4294967295u}, {4294967040.0f, 4294967040u}});
    expect_converted<std::int16_t, float>(
        hyINT16_CLASS, {{-2.5f, -3}, {32767.5f, 32767}, {-32768.5f, -32768}, {0.5f, 1}});
    expect_converted<std::uint64_t, float>(
        hyUINT64_CLASS, {{0x1p64f, UINT64_MAX}, {0x1p63f, 9223372036854775808u}});
    expect_converted<bool, double>(hyLOGICAL_CLASS, {{0.5, true},
                                                     {2, true},
                                                     {0.3, false},
                                                     {-1, false},
                                                     {nan, false},
                                                     {inf, true},
                                                     {0.49999999999999994, false}});
    expect_converted<char16_t, double>(hyCHAR_CLASS,
                                       {{65.4, u'A'}, {-3, 0}, {70000, 0xFFFF}, {65534.5, 0xFFFF}});
    expect_converted<float, double>(hySINGLE_CLASS,
                                    {{1e40, inff}, {-1e40, -inff}, {0.1, 0.1f}, {1e-50, 0.0f}});
}

TEST(Numeric, IntegerSourcesClampToTheTargetRange) {
    expect_converted<std::uint32_t, std::int16_t>(hyUINT32_CLASS, {{-5, 0}, {32767, 32767}});
    expect_converted<std::int64_t, std::uint64_t>(
        hyINT64_CLASS, {{1ull << 63, INT64_MAX}, {UINT64_MAX, INT64_MAX}, {42, 42}});
    expect_converted<std::uint64_t, std::int64_t>(hyUINT64_CLASS,
                                                  {{INT64_MIN, 0}, {INT64_MAX, INT64_MAX}});
    expect_converted<char16_t, std::int32_t>(hyCHAR_CLASS, {{70000, 0xFFFF}, {-1, 0}, {66, u'B'}});
    expect_converted<std::int8_t, std::uint8_t>(hyINT8_CLASS, {{200, 127}, {127, 127}});
    expect_converted<bool, std::int8_t>(hyLOGICAL_CLASS, {{-3, false}, {0, false}, {5, true}});
    expect_converted<bool, std::uint16_t>(hyLOGICAL_CLASS, {{7, true}, {0, false}});
    expect_converted<bool, std::int64_t>(hyLOGICAL_CLASS, {{INT64_MIN, false}, {INT64_MAX, true}});
    expect_converted<double, std::int64_t>(hyDOUBLE_CLASS,
                                           {{(1ll << 53) + 1, 0x1p53}, {INT64_MAX, 0x1p63}});
    expect_converted<float, std::uint64_t>(hySINGLE_CLASS, {{UINT64_MAX, 0x1p64f}});
    expect_converted<std::int16_t, char16_t>(hyINT16_CLASS, {{u'A', 65}, {0xFFFF, 32767}});
    expect_converted<double, char16_t>(hyDOUBLE_CLASS, {{u'A', 65.0}});
    expect_converted<std::uint8_t, bool>(hyUINT8_CLASS, {{true, 1}, {false, 0}});
}

TEST(Numeric, RealAndComplexCombineAsPartsOfTheSameRule) {
    using C8 = std::complex<std::int8_t>;
    const auto z = mt::complex_doubles({1, 3}, {{1, 0}, {2.5, -0.0}, {-300, 0}});
    EXPECT_EQ(mt::values_of<std::int8_t>(klf::convert_numeric(z.get(), hyINT8_CLASS, hyREAL).get()),
              (std::vector<std::int8_t>{1, 3, -128}));
    const auto w = mt::complex_doubles({1, 2}, {{1, 2}, {-0.5, 200.5}});
    EXPECT_MESSAGE(klf::convert_numeric(w.get(), hyINT8_CLASS, hyREAL),
                   hy_message("RealValueExpected"));
    EXPECT_EQ(mt::values_of<C8>(klf::convert_numeric(w.get(), hyINT8_CLASS, hyCOMPLEX).get()),
              (std::vector<C8>{{1, 2}, {-1, 127}}));
    EXPECT_EQ(mt::values_of<std::complex<double>>(
                  klf::convert_numeric(mt::logical(true).get(), hyDOUBLE_CLASS, hyCOMPLEX).get()),
              (std::vector<std::complex<double>>{{1, 0}}));
    EXPECT_EQ(
        mt::values_of<std::complex<std::uint16_t>>(
            klf::convert_numeric(mt::text(u"A\xFFFF").get(), hyUINT16_CLASS, hyCOMPLEX).get()),
        (std::vector<std::complex<std::uint16_t>>{{65, 0}, {0xFFFF, 0}}));
    // A complex target does not check realness; a complex source with a NaN
    // imaginary part is not real.
    const auto nan_imag = mt::complex_singles({1, 1}, {{1, nanf}});
    EXPECT_MESSAGE(klf::convert_numeric(nan_imag.get(), hyDOUBLE_CLASS, hyREAL),
                   hy_message("RealValueExpected"));
    const auto as_complex = klf::convert_numeric(nan_imag.get(), hyINT32_CLASS, hyCOMPLEX);
    EXPECT_EQ(mt::values_of<std::complex<std::int32_t>>(as_complex.get()),
              (std::vector<std::complex<std::int32_t>>{{1, 0}}));
}

TEST(Numeric, ResultsKeepTheShapeAndAreAlwaysNew) {
    struct Row {
        std::vector<std::size_t> dims;
        hyClassID cls;
        hyComplexity complexity;
    };
    const Row rows[] = {{{0, 3}, hyINT32_CLASS, hyREAL},
                        {{2, 3, 4}, hyUINT8_CLASS, hyCOMPLEX},
                        {{3, 0, 2}, hyCHAR_CLASS, hyREAL},
                        {{1, 1}, hyDOUBLE_CLASS, hyREAL},
                        {{2, 1, 1, 5}, hyLOGICAL_CLASS, hyREAL}};
    for (const Row& row : rows) {
        SCOPED_TRACE(testing::Message()
                     << "class " << row.cls << ", " << row.dims.size() << " dims");
        std::size_t n = 1;
        for (std::size_t d : row.dims)
            n *= d;
        std::vector<double> values(n);
        for (std::size_t i = 0; i < n; ++i)
            values[i] = static_cast<double>(i % 7);
        const auto src = mt::numeric<double>(row.dims, values);
        const auto out = klf::convert_numeric(src.get(), row.cls, row.complexity);
        EXPECT_NE(out.get(), src.get());
        EXPECT_EQ(mt::dims_of(out.get()), row.dims);
        EXPECT_EQ(matrix::class_id(out.get()), row.cls);
        EXPECT_EQ(matrix::is_complex(out.get()), row.complexity == hyCOMPLEX);
    }
    const auto same = mt::doubles({1, 2}, {1.5, nan});
    const auto copy = klf::convert_numeric(same.get(), hyDOUBLE_CLASS, hyREAL);
    EXPECT_NE(copy.get(), same.get());
    EXPECT_FALSE(matrix::host::shares_data(copy.get(), same.get()));
    const auto v = mt::values_of<double>(copy.get());
    EXPECT_EQ(v[0], 1.5);
    EXPECT_TRUE(std::isnan(v[1]));
}

TEST(Numeric, FailuresComeInOrderAndLeaveNothingBehind) {
    const auto cell = mt::cell({1, 1}, {mt::scalar(1)});
    const auto strct = mt::structure({});
    const auto sparse = mt::sparse_doubles(2, 2, {{0, 0, 1.0}});
    const auto sparse_logical = mt::sparse_logicals(2, 2, {{0, 0, true}});
    const std::string double_name = klf::semi_numeric_class_name(hyDOUBLE_CLASS);
    const mt::LiveArrays live;
    // The class is checked before realness: a cell fails on its class.
    EXPECT_MESSAGE(klf::convert_numeric(cell.get(), hyLOGICAL_CLASS, hyREAL),
                   hy_message("LogicalValueExpected", {class_name(cell.get())}));
    EXPECT_MESSAGE(klf::convert_numeric(cell.get(), hyINT16_CLASS, hyREAL),
                   hy_message("NumericValueExpected", {klf::semi_numeric_class_name(hyINT16_CLASS),
                                                       class_name(cell.get())}));
    EXPECT_MESSAGE(klf::convert_numeric(strct.get(), hyDOUBLE_CLASS, hyCOMPLEX),
                   hy_message("NumericValueExpected", {double_name, class_name(strct.get())}));
    // Sparse sources: rejected inside the realness check for real targets, by
    // the element access for complex ones.
    EXPECT_THROW(klf::convert_numeric(sparse.get(), hyINT8_CLASS, hyREAL), matrix::HostError);
    EXPECT_THROW(klf::convert_numeric(sparse.get(), hyINT8_CLASS, hyCOMPLEX), matrix::HostError);
    EXPECT_THROW(klf::convert_numeric(sparse_logical.get(), hyDOUBLE_CLASS, hyREAL),
                 matrix::HostError);
    // The result is created first: a failed allocation wins over the class.
    {
        const mt::AllocationFailure armed(0);
        EXPECT_THROW(klf::convert_numeric(cell.get(), hyLOGICAL_CLASS, hyREAL), std::bad_alloc);
    }
    EXPECT_EQ(live.delta(), 0);
    const auto src = mt::int32s({2, 2}, {1, -2, 3, 70000});
    const auto sweep = mt::sweep_allocation_failures(
        [&] { return klf::convert_numeric(src.get(), hyINT16_CLASS, hyCOMPLEX); });
    EXPECT_GT(sweep.failure_points, 0u);
    EXPECT_TRUE(sweep.leaking_points.empty());
    EXPECT_EQ(live.delta(), 1);  // src
}

/// The fatal report of a failed assertion, as a regular expression.
std::string report(const std::string& condition, int line, const std::string& function) {
    std::string text = "Assertion failed: " + condition + ", file src/numeric, line " +
                       std::to_string(line) + ", function " + function;
    std::string pattern;
    for (char c : text) {
        if (std::strchr("\\^$.|?*+()[]{}", c) != nullptr)
            pattern += '\\';
        pattern += c;
    }
    return pattern;
}

TEST(NumericDeathTest, BrokenPreconditionsEndTheProcessWithFixedTexts) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto a = mt::scalar(1);
    EXPECT_DEATH(klf::require_semi_numeric(a.get(), hyCELL_CLASS),
                 report("is_semi_numeric(toClass)", 142,
                        "void klf::require_semi_numeric(const hyArray *, const hyClassID)"));
    EXPECT_DEATH(klf::create_numeric(klf::ArraySize{1, 1}, hyCHAR_CLASS, hyCOMPLEX),
                 report("is_semi_numeric(cls, complexity)", 161,
                        "matrix::unique_hyarray_ptr klf::create_numeric(const ArraySize &, const "
                        "hyClassID, const hyComplexity)"));
    EXPECT_DEATH(klf::convert_numeric(a.get(), hySTRUCT_CLASS, hyREAL),
                 report("converter", 170,
                        "matrix::unique_hyarray_ptr klf::convert_numeric(const hyArray *, const "
                        "hyClassID, const hyComplexity)"));
}

TEST(Numeric, WithDiagnosticsOffTheCallsGoOnOrRefuse) {
    struct Off {
        Off() { foundation::core::diag::set_terminate_enabled(false); }
        ~Off() { foundation::core::diag::set_terminate_enabled(true); }
    } off;
    const mt::LiveArrays live;
    const auto a = mt::scalar(1);
    // The source is judged on its own: a double passes any target.
    EXPECT_NO_THROW(klf::require_semi_numeric(a.get(), hyVOID_CLASS));
    EXPECT_THROW(klf::convert_numeric(a.get(), hyLOGICAL_CLASS, hyCOMPLEX), std::logic_error);
    EXPECT_THROW(klf::convert_numeric(a.get(), static_cast<hyClassID>(-1), hyREAL),
                 std::logic_error);
    EXPECT_EQ(live.delta(), 1);
}

}  // namespace
