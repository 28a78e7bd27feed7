#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <limits>
#include <memory>
#include <numeric>
#include <span>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fl/diag.hpp>
#include <hyarray/testing.hpp>
#include <kelvor/common/foundation/matrix/numeric.hpp>

#include "message_matchers.hpp"

using kelvor::testing::ExpectedMessage;
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
    EXPECT_EQ(std::make_pair(klf::complexity(true), klf::complexity(false)),
              std::make_pair(hyCOMPLEX, hyREAL));
}

TEST(SemiNumeric, ArraysByClassAndComplexityAllRealByEveryImaginaryPart) {
    enum Real { no, yes, host_rejects };
    struct Row {
        const char* name;
        matrix::unique_hyarray_ptr a;
        bool semi_numeric, complex;
        Real all_real;
    };
    const Row rows[] = {
        {"1+0i, 2-0i", mt::complex_doubles({1, 2}, {{1, 0}, {2, -0.0}}), true, true, yes},
        {"1+NaNi", mt::complex_doubles({1, 2}, {{1, 0}, {1, nan}}), true, true, no},
        {"empty complex", mt::complex_doubles({0, 3}, {}), true, true, yes},
        {"complex int16 0, 3i", mt::numeric<std::complex<std::int16_t>>({1, 2}, {{5, 0}, {0, 3}}),
         true, true, no},
        {"complex single -0", mt::complex_singles({1, 1}, {{-1, -0.0f}}), true, true, yes},
        {"real int8", mt::int8s({1, 2}, {-1, 1}), true, false, yes},
        {"char", mt::text(u"ab"), true, false, yes},
        {"logical", mt::logical(true), true, false, yes},
        {"cell", mt::cell({1, 1}, {mt::scalar(1)}), false, false, no},
        {"struct", mt::structure({}), false, false, no},
        {"object", mt::object("NumericTestThing"), false, false, no},
        // Sparse arrays are judged by class, but their elements are the host's to refuse.
        {"sparse", mt::sparse_doubles(3, 3, {{1, 1, 2.0}}), true, false, host_rejects},
        {"sparse logical", mt::sparse_logicals(2, 2, {{0, 1, true}}), true, false, host_rejects},
    };
    const mt::LiveArrays live;
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(klf::is_semi_numeric(row.a.get()), row.semi_numeric);
        EXPECT_EQ(klf::complexity(row.a.get()), row.complex ? hyCOMPLEX : hyREAL);
        if (row.all_real == host_rejects) {  // and so does a conversion, in or after the check
            EXPECT_THROW(klf::is_all_real(row.a.get()), matrix::HostError);
            EXPECT_THROW(klf::require_all_real(row.a.get()), matrix::HostError);
            EXPECT_THROW(klf::convert_numeric(row.a.get(), hyINT8_CLASS, hyREAL),
                         matrix::HostError);
            EXPECT_THROW(klf::convert_numeric(row.a.get(), hyDOUBLE_CLASS, hyCOMPLEX),
                         matrix::HostError);
            continue;
        }
        EXPECT_EQ(klf::is_all_real(row.a.get()), row.all_real == yes);
        if (row.all_real == yes) {
            EXPECT_NO_THROW(klf::require_all_real(row.a.get()));
        } else {
            EXPECT_MESSAGE(klf::require_all_real(row.a.get()), hy_message("RealValueExpected"));
        }
    }
    EXPECT_EQ(live.delta(), 0);
}

// No test before this one asks for uint32's name.
TEST(SemiNumeric, ClassNamesAreTheHostsAndAskedOnce) {
    {  // A failed probe stores nothing: the next call asks the host again.
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

/// Converts the sources (a 1xn array of S) to T's class and checks every element.
template <class S, class T>
void expect_converted(std::initializer_list<std::pair<S, T>> rows) {
    const std::size_t n = rows.size(), dims[] = {1, n};
    auto in = std::make_unique<S[]>(n);  // S may be bool
    std::transform(rows.begin(), rows.end(), in.get(), [](const auto& row) { return row.first; });
    const auto src = mt::numeric<S>(dims, std::span<const S>(in.get(), n));
    const auto out = klf::convert_numeric(src.get(), matrix::class_of<T>(), hyREAL);
    ASSERT_EQ(matrix::class_id(out.get()), matrix::class_of<T>());
    const auto got = mt::values_of<T>(out.get());
    for (std::size_t i = 0; i < n; ++i) {
        SCOPED_TRACE(testing::Message() << "class " << matrix::class_of<T>() << " from " << +in[i]);
        EXPECT_EQ(+got[i], +rows.begin()[i].second);
    }
}

// One table per (source, target): pairs of source value and converted value.
// clang-format off
TEST(Numeric, FloatingSourcesRoundHalvesAwayAndSaturate) {
    expect_converted<double, std::int8_t>({{2.5, 3}, {-2.5, -3}, {0.49, 0}, {-0.5, -1}, {0.5, 1},
        {-0.49, 0}, {127.4, 127}, {127.5, 127}, {126.5, 127}, {300, 127}, {-1e300, -128},
        {-128.5, -128}, {-127.5, -128}, {nan, 0}, {inf, 127}, {-inf, -128}, {-0.0, 0},
        {0.49999999999999994, 0}});
    expect_converted<double, std::uint8_t>({{-0.7, 0}, {254.5, 255}, {254.4, 254}, {255.5, 255},
        {-0.4, 0}, {1.5, 2}, {nan, 0}, {-inf, 0}, {256, 255}});
    expect_converted<double, std::int16_t>({{32766.5, 32767}, {32767.49, 32767},
        {-32767.5, -32768}, {-32768.6, -32768}});
    expect_converted<double, std::uint16_t>({{65534.5, 65535}, {65536, 65535}});
    expect_converted<double, std::int32_t>({{2147483646.5, 2147483647},
        {2147483647.4, 2147483647}, {3e9, 2147483647}, {-2147483648.4, -2147483647 - 1},
        {-2147483647.5, -2147483647 - 1}, {-2147483646.5, -2147483647}});
    expect_converted<double, std::uint32_t>({{4294967294.5, 4294967295u},
        {4294967296.0, 4294967295u}, {-1, 0}});
    expect_converted<double, std::int64_t>({{0x1p52 + 1, 4503599627370497},
        {-0x1p52 - 1, -4503599627370497}, {0x1p52 - 0.5, 4503599627370496},
        {0x1p51 + 0.5, 2251799813685249}, {9.3e18, INT64_MAX}, {0x1p63, INT64_MAX},
        {-0x1p63, INT64_MIN}, {-1e19, INT64_MIN}, {nan, 0}});
    expect_converted<double, std::uint64_t>({{0x1p64, UINT64_MAX},
        {0x1p64 - 2048, 18446744073709549568u}, {0x1p63, 9223372036854775808u}, {-5, 0}});
    expect_converted<float, std::int32_t>({{16777215.0f, 16777215}, {8388607.5f, 8388608},
        {3.0e9f, 2147483647}, {-0x1p31f, -2147483647 - 1}, {2147483520.0f, 2147483520},
        {nanf, 0}, {-inff, -2147483647 - 1}});
    expect_converted<float, std::uint32_t>({{0x1p32f, 4294967295u}, {4294967040.0f, 4294967040u}});
    expect_converted<float, std::int16_t>({{-2.5f, -3}, {32767.5f, 32767}, {-32768.5f, -32768},
        {0.5f, 1}});
    expect_converted<float, std::uint64_t>({{0x1p64f, UINT64_MAX},
        {0x1p63f, 9223372036854775808u}});
    expect_converted<double, bool>({{0.5, true}, {2, true}, {0.3, false}, {-1, false},
        {nan, false}, {inf, true}, {0.49999999999999994, false}});
    expect_converted<double, char16_t>({{65.4, u'A'}, {-3, 0}, {70000, 0xFFFF},
        {65534.5, 0xFFFF}});
    expect_converted<double, float>({{1e40, inff}, {-1e40, -inff}, {0.1, 0.1f}, {1e-50, 0.0f}});
}

TEST(Numeric, IntegerSourcesClampToTheTargetRange) {
    expect_converted<std::int16_t, std::uint32_t>({{-5, 0}, {32767, 32767}});
    expect_converted<std::uint64_t, std::int64_t>({{1ull << 63, INT64_MAX},
        {UINT64_MAX, INT64_MAX}, {42, 42}});
    expect_converted<std::int64_t, std::uint64_t>({{INT64_MIN, 0}, {INT64_MAX, INT64_MAX}});
    expect_converted<std::int32_t, char16_t>({{70000, 0xFFFF}, {-1, 0}, {66, u'B'}});
    expect_converted<std::uint8_t, std::int8_t>({{200, 127}, {127, 127}});
    expect_converted<std::int32_t, std::int8_t>({{-129, -128}, {-128, -128}, {-127, -127},
        {127, 127}, {128, 127}});
    expect_converted<std::int8_t, bool>({{-3, false}, {0, false}, {5, true}});
    expect_converted<std::uint16_t, bool>({{7, true}, {0, false}});
    expect_converted<std::int64_t, bool>({{INT64_MIN, false}, {INT64_MAX, true}});
    expect_converted<std::int64_t, double>({{(1ll << 53) + 1, 0x1p53}, {INT64_MAX, 0x1p63}});
    expect_converted<std::uint64_t, float>({{UINT64_MAX, 0x1p64f}});
    expect_converted<char16_t, std::int16_t>({{u'A', 65}, {0xFFFF, 32767}});
    expect_converted<char16_t, double>({{u'A', 65.0}});
    expect_converted<bool, std::uint8_t>({{true, 1}, {false, 0}});
}
// clang-format on

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
    // A NaN imaginary part is not real; a complex target does not ask.
    const auto nan_imag = mt::complex_singles({1, 1}, {{1, nanf}});
    EXPECT_MESSAGE(klf::convert_numeric(nan_imag.get(), hyDOUBLE_CLASS, hyREAL),
                   hy_message("RealValueExpected"));
    EXPECT_EQ(mt::values_of<std::complex<std::int32_t>>(
                  klf::convert_numeric(nan_imag.get(), hyINT32_CLASS, hyCOMPLEX).get()),
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
        const std::vector<double> zeros(
            std::accumulate(row.dims.begin(), row.dims.end(), std::size_t{1}, std::multiplies<>()));
        const auto src = mt::numeric<double>(row.dims, zeros);
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
    EXPECT_TRUE(v[0] == 1.5 && std::isnan(v[1]));
}

TEST(Numeric, FailuresComeInOrderAndLeaveNothingBehind) {
    struct Row {
        const char* name;
        matrix::unique_hyarray_ptr value;
        hyClassID target;
        std::string target_name;
    };
    const Row rows[] = {
        {"cell to logical", mt::cell({1, 1}, {mt::scalar(1)}), hyLOGICAL_CLASS, ""},
        {"cell to int16", mt::cell({1, 1}, {nullptr}), hyINT16_CLASS, "int16"},
        {"struct to double", mt::structure({}), hyDOUBLE_CLASS, "double"},
        {"function handle to char", mt::function_handle(u"sin"), hyCHAR_CLASS, "char"},
    };
    const auto complex16 = mt::numeric<std::complex<std::int16_t>>({1, 1}, {{1, 2}});
    const auto text = mt::text(u"a");
    const mt::LiveArrays live;
    // The target does not narrow what is accepted.
    EXPECT_NO_THROW(klf::require_semi_numeric(complex16.get(), hyDOUBLE_CLASS));
    EXPECT_NO_THROW(klf::require_semi_numeric(text.get(), hyLOGICAL_CLASS));
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        // The class is checked before realness, which a non-numeric value also fails.
        const std::string source = class_name(row.value.get());
        const ExpectedMessage expected =
            row.target == hyLOGICAL_CLASS
                ? hy_message("LogicalValueExpected", {source})
                : hy_message("NumericValueExpected", {row.target_name, source});
        EXPECT_MESSAGE(klf::require_semi_numeric(row.value.get(), row.target), expected);
        for (hyComplexity k : {hyREAL, hyCOMPLEX}) {
            if (klf::is_semi_numeric(row.target, k)) {
                EXPECT_MESSAGE(klf::convert_numeric(row.value.get(), row.target, k), expected);
            }
        }
    }
    {  // The result is created first: a failed allocation wins over the class.
        const mt::AllocationFailure armed(0);
        EXPECT_THROW(klf::convert_numeric(rows[0].value.get(), hyLOGICAL_CLASS, hyREAL),
                     std::bad_alloc);
    }
    EXPECT_EQ(live.delta(), 0);
    const auto src = mt::int32s({2, 2}, {1, -2, 3, 70000});
    const auto sweep = mt::sweep_allocation_failures(
        [&] { return klf::convert_numeric(src.get(), hyINT16_CLASS, hyCOMPLEX); });
    EXPECT_GT(sweep.failure_points, 0u);
    EXPECT_TRUE(sweep.leaking_points.empty());
    EXPECT_EQ(live.delta(), 1);  // src
}

/// The fatal report of a failed assertion.
testing::Matcher<const std::string&> report(const std::string& condition, int line,
                                            const std::string& function) {
    return testing::HasSubstr("Assertion failed: " + condition + ", file src/numeric, line " +
                              std::to_string(line) + ", function " + function);
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
