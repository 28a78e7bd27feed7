// Bit-exactness of every conversion loop, and of convert_numeric as a whole,
// against the literal rules on boundary and random inputs. Built with -O3 so
// that the loops are the vectorised ones the library runs.
#include <algorithm>
#include <complex>
#include <cstdint>
#include <cstring>
#include <memory>
#include <span>
#include <type_traits>
#include <typeinfo>
#include <vector>

#include <gtest/gtest.h>

#include <hyarray/testing.hpp>
#include <kelvor/common/foundation/matrix/numeric.hpp>

#include "../src/numeric_rules.hpp"
#include "numeric_reference.hpp"

namespace {

using kelvor::testing::boundary_inputs;
using kelvor::testing::Inputs;
using kelvor::testing::reference_convert;
using kelvor::testing::same_bits;
using klf::detail::Layout;
namespace mt = matrix::testing;

template <class... Ts>
struct types {};
template <class... Ts, class F>
void for_each_type(types<Ts...>, F&& f) {
    (f(std::type_identity<Ts>{}), ...);
}

template <class T, hyClassID C>
struct Target {
    using type = T;
    static constexpr hyClassID cls = C;
};

using Sources = types<bool, char16_t, double, float, std::int8_t, std::uint8_t, std::int16_t,
                      std::uint16_t, std::int32_t, std::uint32_t, std::int64_t, std::uint64_t>;
using Targets = types<Target<double, hyDOUBLE_CLASS>, Target<float, hySINGLE_CLASS>,
                      Target<signed char, hyINT8_CLASS>, Target<unsigned char, hyUINT8_CLASS>,
                      Target<short, hyINT16_CLASS>, Target<unsigned short, hyUINT16_CLASS>,
                      Target<int, hyINT32_CLASS>, Target<unsigned int, hyUINT32_CLASS>,
                      Target<long long, hyINT64_CLASS>, Target<unsigned long long, hyUINT64_CLASS>,
                      Target<bool, hyLOGICAL_CLASS>, Target<char16_t, hyCHAR_CLASS>>;

/// Calls f.operator()<T, C, S>() for every target (T, C) and every source S.
template <class F>
void for_each_pair(F&& f) {
    for_each_type(Targets{}, [&](auto target) {
        using TC = typename decltype(target)::type;
        for_each_type(Sources{}, [&](auto source) {
            using S = typename decltype(source)::type;
            SCOPED_TRACE(testing::Message() << "class " << TC::cls << " from " << typeid(S).name());
            f.template operator()<typename TC::type, TC::cls, S>();
        });
    });
}

template <class S>
const Inputs<S>& inputs() {
    static const Inputs<S> in = boundary_inputs<S>();
    return in;
}

/// Compares `got` with the reference, reporting the first few differences.
template <class T, class S>
void expect_elements(const S* src, std::size_t src_stride, const T* got, std::size_t got_stride,
                     std::size_t n) {
    int reported = 0;
    for (std::size_t i = 0; i < n && reported < 5; ++i) {
        const S v = src[i * src_stride];
        const T want = reference_convert<T>(v);
        if (!same_bits(want, got[i * got_stride])) {
            ++reported;
            ADD_FAILURE() << "element " << i << ": source " << +v << " gave "
                          << +got[i * got_stride] << ", expected " << +want;
        }
    }
}

/// Runs one loop over (offset, count) windows of the inputs into a buffer
/// with guard bytes, and checks every element and that nothing past the end
/// was written.
template <Layout L, class T, class S>
void check_loop(void (*loop)(const S*, T*, std::size_t)) {
    const Inputs<S>& in = inputs<S>();
    const std::size_t in_stride = L == Layout::complex_to_real ? 2 : 1;
    const std::size_t out_stride = L == Layout::real_to_complex ? 2 : 1;
    const std::size_t all = in.size / in_stride;
    const std::pair<std::size_t, std::size_t> windows[] = {{0, all}, {1, all - 1}, {3, 13}, {5, 0}};
    for (const auto& [offset, count] : windows) {
        SCOPED_TRACE(testing::Message() << "offset " << offset << ", count " << count);
        const std::size_t parts = count * out_stride;
        std::vector<unsigned char> buffer((parts + 16) * sizeof(T), 0x5A);
        T* out = reinterpret_cast<T*>(buffer.data());
        const S* src = in.data() + offset * in_stride;
        loop(src, out, count);
        expect_elements(src, in_stride, out, out_stride, count);
        if constexpr (L == Layout::real_to_complex) {
            for (std::size_t i = 0; i < count; ++i) {
                ASSERT_TRUE(same_bits(out[2 * i + 1], T(0))) << "imaginary part " << i;
            }
        }
        EXPECT_EQ(std::count(buffer.begin() + parts * sizeof(T), buffer.end(), 0x5A),
                  std::ptrdiff_t{16 * sizeof(T)})
            << "written past the end";
    }
}

template <class T, class S>
void check_layouts(bool avx2) {
    SCOPED_TRACE(avx2 ? "avx2" : "portable");
    auto pick = [&](auto portable, auto vector) { return avx2 ? vector : portable; };
#if KLF_NUMERIC_X86
#define KLF_LOOP(L) \
    pick(&klf::detail::convert_portable<L, T, S>, &klf::detail::convert_avx2<L, T, S>)
#else
#define KLF_LOOP(L) pick(&klf::detail::convert_portable<L, T, S>, nullptr)
#endif
    check_loop<Layout::real_to_real>(KLF_LOOP(Layout::real_to_real));
    check_loop<Layout::complex_to_real>(KLF_LOOP(Layout::complex_to_real));
    check_loop<Layout::real_to_complex>(KLF_LOOP(Layout::real_to_complex));
#undef KLF_LOOP
}

TEST(NumericKernels, EveryLoopOnEveryPathMatchesTheRules) {
#if KLF_NUMERIC_X86
    const bool has_avx2 = klf::detail::cpu_has_avx2();
#else
    const bool has_avx2 = false;
#endif
    for (const bool avx2 : {false, true}) {
        if (avx2 && !has_avx2)
            break;
        for_each_pair([&]<class T, hyClassID, class S>() { check_layouts<T, S>(avx2); });
    }
}

template <class T, hyClassID C, class S>
void check_public_conversion() {
    const Inputs<S>& in = inputs<S>();
    const std::size_t n = in.size, dims[] = {1, n};
    // Converts `src`, whose parts are `flat` (real parts `stride` apart), to
    // complexity k and checks each part of the result.
    auto check = [&](const hyArray* src, const S* flat, std::size_t stride, hyComplexity k) {
        if (!klf::is_semi_numeric(C, k))
            return;
        SCOPED_TRACE(testing::Message() << (stride == 1 ? "real" : "complex") << " source, "
                                        << (k == hyREAL ? "real" : "complex") << " target");
        const auto out = klf::convert_numeric(src, C, k);
        const std::size_t out_stride = k == hyCOMPLEX ? 2 : 1;
        auto got = std::make_unique<T[]>(n * out_stride);  // T may be bool
        std::memcpy(got.get(), matrix::data(out.get()), n * out_stride * sizeof(T));
        expect_elements(flat, stride, got.get(), out_stride, n);
        if (stride == 2 && k == hyCOMPLEX)
            expect_elements(flat + 1, 2, got.get() + 1, 2, n);
    };
    const auto real = mt::numeric<S>(dims, in.span());
    for (hyComplexity k : {hyREAL, hyCOMPLEX})
        check(real.get(), in.data(), 1, k);
    if constexpr (!std::is_same_v<S, bool> && !std::is_same_v<S, char16_t>) {
        // Complex sources: zero imaginary parts for a real target, the inputs
        // reversed for a complex one.
        std::vector<std::complex<S>> zero_imag(n), mixed(n);
        for (std::size_t i = 0; i < n; ++i) {
            zero_imag[i] = {in.values[i], S(0)};
            mixed[i] = {in.values[i], in.values[n - 1 - i]};
        }
        for (hyComplexity k : {hyREAL, hyCOMPLEX}) {
            const std::span<const std::complex<S>> values(k == hyREAL ? zero_imag : mixed);
            const auto src = mt::numeric<std::complex<S>>(dims, values);
            check(src.get(), reinterpret_cast<const S*>(values.data()), 2, k);
        }
    }
}

TEST(NumericKernels, ConvertNumericMatchesTheRulesForEveryPairAndSource) {
    const mt::LiveArrays live;
    for_each_pair([]<class T, hyClassID C, class S>() { check_public_conversion<T, C, S>(); });
    EXPECT_EQ(live.delta(), 0);
}

}  // namespace
