// Element rules and loops of the numeric conversions. Internal to the library
// (and to its tests, which hold every loop to a literal reading of the rules).
//
// One rule per (target, source) element type pair, chosen at compile time:
//   floating target                 ordinary conversion (nearest, ties to even)
//   integer target, integer source  clamp to the target's range
//   integer target, floating source round halves away from zero, clamp, NaN -> 0
// ("integer" includes bool as the range 0..1 and char16_t as 0..65535.)
//
// Each loop is compiled twice, for the baseline instruction set and for AVX2,
// and convert_elements picks one per call from what the processor offers.
// The floating-to-narrow-integer pairs and 64-bit integers to logical run
// explicit vector blocks (numeric_simd.hpp) and finish element by element;
// the other pairs are plain loops the compiler vectorises itself. Every step
// is an exact IEEE operation or an exact conversion, so all forms give the
// same bits.
#pragma once

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <type_traits>
#include <utility>

#include <hyarray/hyarray.hpp>

#include "numeric_simd.hpp"

namespace klf::detail {

/// bool and char16_t take part in integer arithmetic as int.
template <class T>
using promoted_t = decltype(+std::declval<T>());

template <class T>
inline constexpr promoted_t<T> lowest_v = std::numeric_limits<T>::lowest();
template <class T>
inline constexpr promoted_t<T> highest_v = std::numeric_limits<T>::max();

/// Integer targets whose whole range an int32 holds.
template <class T>
inline constexpr bool fits_int32_v =
    std::cmp_greater_equal(lowest_v<T>, INT32_MIN) && std::cmp_less_equal(highest_v<T>, INT32_MAX);

/// Integer targets whose whole range a float holds exactly (|x| <= 2^24), so
/// that x - trunc(x) is exact in float after clamping.
template <class T>
inline constexpr bool fits_float_v =
    std::cmp_greater_equal(lowest_v<T>, -(1 << 24)) && std::cmp_less_equal(highest_v<T>, 1 << 24);

/// Integer source to integer target: the value clamped to the target's range.
template <class T, class S>
[[gnu::always_inline]] inline T saturate(S v) noexcept {
    using W = promoted_t<S>;
    const W w = v;
    if constexpr (std::is_same_v<T, bool>) {
        if constexpr (std::is_signed_v<W>) {
            return w > 0;
        } else {
            return w != 0;
        }
    } else {
        // A bound the source type cannot pass is not tested; one it can pass
        // is representable in the source type (ranges all contain 0 and 1).
        W x = w;
        if constexpr (std::cmp_less(lowest_v<S>, lowest_v<T>)) {
            x = x < static_cast<W>(lowest_v<T>) ? static_cast<W>(lowest_v<T>) : x;
        }
        if constexpr (std::cmp_greater(highest_v<S>, highest_v<T>)) {
            x = x > static_cast<W>(highest_v<T>) ? static_cast<W>(highest_v<T>) : x;
        }
        return static_cast<T>(x);
    }
}

/// Floating source to integer target: halves away from zero, then saturation,
/// NaN to 0.
///
/// Clamping before rounding gives the same result as after, since the bounds
/// are whole and rounding is monotone. After clamping, x - trunc(x) is exact
/// (|x| < 2^52, or 2^24 in float) and trunc(x) fits the integer type used, so
/// adding one at a fraction of +-0.5 rounds exactly: no x + 0.5 that could
/// round up 0.49999999999999994 or a large odd value.
template <class T, class F>
[[gnu::always_inline]] inline T round_saturate(F v) noexcept {
    if constexpr (std::is_same_v<T, bool>) {
        return v >= F(0.5);
    } else if constexpr (fits_int32_v<T> && (std::is_same_v<F, double> || fits_float_v<T>)) {
        constexpr F lo = static_cast<F>(lowest_v<T>);
        constexpr F hi = static_cast<F>(highest_v<T>);
        F x = std::isnan(v) ? F(0) : v;
        x = x < lo ? lo : x;
        x = x > hi ? hi : x;
        std::int32_t t = static_cast<std::int32_t>(x);
        const F frac = x - static_cast<F>(t);
        t += frac >= F(0.5);
        t -= frac <= F(-0.5);
        return static_cast<T>(t);
    } else if constexpr (std::is_same_v<F, float>) {
        // Exact: every float is a double, and the limits compare alike.
        return round_saturate<T>(static_cast<double>(v));
    } else {
        // uint32, int64 and uint64. The upper limit may round up as a double
        // (2^63, 2^64), so values at or above it are picked out before the
        // conversion instead of being clamped to it.
        using W = std::conditional_t<std::is_signed_v<T>, std::int64_t, std::uint64_t>;
        constexpr double lo = static_cast<double>(lowest_v<T>);
        constexpr double hi = static_cast<double>(highest_v<T>);
        double x = std::isnan(v) ? 0.0 : v;
        x = x < lo ? lo : x;
        const bool high = x >= hi;
        x = high ? 0.0 : x;
        W t = static_cast<W>(x);
        const double frac = x - static_cast<double>(t);
        t += frac >= 0.5;
        if constexpr (std::is_signed_v<W>) {
            t -= frac <= -0.5;
        }
        return high ? std::numeric_limits<T>::max() : static_cast<T>(t);
    }
}

/// One source element as target element type T.
template <class T, class S>
[[gnu::always_inline]] inline T convert_element(S v) noexcept {
    if constexpr (std::is_floating_point_v<T>) {
        return static_cast<T>(v);
    } else if constexpr (std::is_floating_point_v<S>) {
        return round_saturate<T>(v);
    } else {
        return saturate<T>(v);
    }
}

/// How parts are laid out: complex data interleaves real and imaginary parts.
/// A complex-to-complex copy is a real-to-real copy of twice as many parts.
enum class Layout {
    real_to_real,     // dst[i] = f(src[i])
    complex_to_real,  // dst[i] = f(src[2i]); imaginary parts are not read
    real_to_complex,  // dst[2i] = f(src[i]), dst[2i+1] = 0
};

/// Which instructions a loop is compiled for.
enum class Path { portable, avx2 };

/// The loop of one layout and pair. Floating to narrow integer pairs run
/// their whole vector blocks first (x86-64); everything else, and the
/// remaining elements, go one by one in a loop the compiler vectorises
/// where it can.
template <Layout L, Path P, class T, class S>
[[gnu::always_inline]] inline void convert_loop(const S* __restrict src, T* __restrict dst,
                                                std::size_t n) noexcept {
    std::size_t i = 0;
#if KLF_NUMERIC_X86
    if constexpr (L == Layout::real_to_real && has_simd_block_v<T, S>) {
        if constexpr (P == Path::avx2) {
            i = convert_blocks_avx2(src, dst, n);
        } else {
            i = convert_blocks_sse2(src, dst, n);
        }
    } else if constexpr (L == Layout::real_to_real && has_truth_block_v<T, S> && P == Path::avx2) {
        i = truth_blocks_avx2(src, dst, n);
    }
#endif
    for (; i < n; ++i) {
        if constexpr (L == Layout::real_to_real) {
            dst[i] = convert_element<T>(src[i]);
        } else if constexpr (L == Layout::complex_to_real) {
            dst[i] = convert_element<T>(src[2 * i]);
        } else {
            dst[2 * i] = convert_element<T>(src[i]);
            dst[2 * i + 1] = T(0);
        }
    }
}

/// The loop for the baseline instruction set.
template <Layout L, class T, class S>
void convert_portable(const S* src, T* dst, std::size_t n) noexcept {
    convert_loop<L, Path::portable>(src, dst, n);
}

#if KLF_NUMERIC_X86
/// The same loop with 32-byte vectors.
template <Layout L, class T, class S>
__attribute__((target("avx2"))) void convert_avx2(const S* src, T* dst, std::size_t n) noexcept {
    convert_loop<L, Path::avx2>(src, dst, n);
}

inline bool cpu_has_avx2() noexcept {
    static const bool has = [] {
        __builtin_cpu_init();
        return __builtin_cpu_supports("avx2") != 0;
    }();
    return has;
}
#endif

/// Converts n elements (parts, per the layout), with the best loop the
/// processor runs.
template <Layout L, class T, class S>
void convert_elements(const S* src, T* dst, std::size_t n) noexcept {
#if KLF_NUMERIC_X86
    if (cpu_has_avx2()) {
        convert_avx2<L>(src, dst, n);
        return;
    }
#endif
    convert_portable<L>(src, dst, n);
}

template <class T>
struct part_of {
    using type = T;
};
template <class E>
struct part_of<std::complex<E>> {
    using type = E;
};

template <class T, class Cursor>
class ConvertedCopyDispatch;

/// Visitor of a source's typed view that writes the converted elements at the
/// cursor, in storage order, and returns the cursor past the last one. T is
/// the target element type, std::complex<E> for a complex target. Sparse
/// views are not taken, so the host rejects sparse sources.
template <class T>
class ConvertedCopyDispatch<T, T*> {
public:
    explicit ConvertedCopyDispatch(T* cursor) noexcept : cursor_(cursor) {}

    template <class S>
    T* operator()(const matrix::typed_array<S>& view) const noexcept {
        if constexpr (target_is_complex) {
            convert_elements<Layout::real_to_complex>(view.data(), parts(), view.size());
        } else {
            convert_elements<Layout::real_to_real>(view.data(), cursor_, view.size());
        }
        return cursor_ + view.size();
    }

    template <class S>
    T* operator()(const matrix::typed_array<std::complex<S>>& view) const noexcept {
        const S* src = reinterpret_cast<const S*>(view.data());
        if constexpr (target_is_complex) {
            convert_elements<Layout::real_to_real>(src, parts(), 2 * view.size());
        } else {
            convert_elements<Layout::complex_to_real>(src, cursor_, view.size());
        }
        return cursor_ + view.size();
    }

private:
    using Part = typename part_of<T>::type;
    static constexpr bool target_is_complex = !std::is_same_v<Part, T>;

    Part* parts() const noexcept { return reinterpret_cast<Part*>(cursor_); }

    T* cursor_;
};

}  // namespace klf::detail
