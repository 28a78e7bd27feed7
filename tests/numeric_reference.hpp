// A literal, unoptimised reading of the element conversion rules, and input
// sets that sit on every boundary of them, to hold the library's loops to.
#pragma once

#include <bit>
#include <cmath>
#include <complex>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <random>
#include <span>
#include <type_traits>
#include <utility>
#include <vector>

namespace kelvor::testing {

template <class T>
using promoted_t = decltype(+std::declval<T>());

/// One element by the rule: ordinary conversion to a floating target; to an
/// integer target, from a floating value the ordered tests (limits converted
/// to the source's type, the half added below 2^52 / 2^23), from an integer
/// value the clamp.
template <class T, class S>
T reference_convert(S v) {
    if constexpr (std::is_floating_point_v<T>) {
        return static_cast<T>(v);
    } else if constexpr (std::is_floating_point_v<S>) {
        const S lo = static_cast<S>(+std::numeric_limits<T>::lowest());
        const S hi = static_cast<S>(+std::numeric_limits<T>::max());
        const S whole = std::is_same_v<S, double> ? S(4503599627370496.0) : S(8388608.0f);
        if (v <= lo)
            return std::numeric_limits<T>::lowest();
        if (v >= hi)
            return std::numeric_limits<T>::max();
        if (v >= S(0.5))
            return static_cast<T>(v >= whole ? std::trunc(v) : std::trunc(v + S(0.5)));
        if (v <= S(-0.5))
            return static_cast<T>(v <= -whole ? std::trunc(v) : std::trunc(v - S(0.5)));
        return T(0);
    } else {
        const promoted_t<S> w = v;
        if (std::cmp_less(w, +std::numeric_limits<T>::lowest()))
            return std::numeric_limits<T>::lowest();
        if (std::cmp_greater(w, +std::numeric_limits<T>::max()))
            return std::numeric_limits<T>::max();
        return static_cast<T>(w);
    }
}

/// Same bits (NaNs compare by payload too).
template <class T>
bool same_bits(const T& a, const T& b) {
    return std::memcmp(&a, &b, sizeof(T)) == 0;
}

/// Contiguous values of S (std::vector<bool> has no data()).
template <class S>
struct Inputs {
    std::unique_ptr<S[]> values;
    std::size_t size = 0;
    const S* data() const { return values.get(); }
    std::span<const S> span() const { return {values.get(), size}; }
};

/// Boundary and random values of source type S: every target's limits as S
/// and their neighbours, halves, the no-add thresholds, signed zeros,
/// infinities and NaNs for floating types; every integer limit, +-1 around
/// it, both signs, for integer types; then random values.
template <class S>
Inputs<S> boundary_inputs(std::size_t random_count = 4000) {
    std::vector<std::conditional_t<std::is_same_v<S, bool>, unsigned char, S>> out;
    std::mt19937_64 rng(20240611);
    if constexpr (std::is_same_v<S, bool>) {
        out = {false, true};
        for (std::size_t i = 0; i < random_count; ++i)
            out.push_back((rng() & 1) != 0);
    } else if constexpr (std::is_floating_point_v<S>) {
        const S inf = std::numeric_limits<S>::infinity();
        for (double l : {0.0,          1.0,          127.0,   128.0,   255.0,        256.0,
                         32767.0,      32768.0,      65535.0, 65536.0, 2147483647.0, 2147483648.0,
                         4294967295.0, 4294967296.0, 0x1p52,  0x1p53,  0x1p23,       0x1p24,
                         0x1p63,       0x1p64,       1e30,    1e300}) {
            for (double sign : {1.0, -1.0}) {
                const S base = static_cast<S>(sign * l);
                for (S x : {base, base + S(0.5), base - S(0.5), base + S(1), base - S(1)}) {
                    out.push_back(x);
                    out.push_back(std::nextafter(x, inf));
                    out.push_back(std::nextafter(x, -inf));
                }
            }
        }
        for (int k = -300; k <= 300; ++k)
            out.push_back(static_cast<S>(k) / S(2));
        using L = std::numeric_limits<S>;
        out.insert(out.end(), {S(0.49999999999999994), S(-0.49999999999999994), -S(0),
                               L::infinity(), -L::infinity(), L::quiet_NaN(), -L::quiet_NaN(),
                               L::denorm_min(), L::max(), L::lowest()});
        std::uniform_real_distribution<double> mantissa(-2.0, 2.0);
        std::uniform_int_distribution<int> exponent(-4, std::is_same_v<S, double> ? 70 : 40);
        for (std::size_t i = 0; i < random_count; ++i) {
            out.push_back(static_cast<S>(std::ldexp(mantissa(rng), exponent(rng))));
        }
        using Bits = std::conditional_t<sizeof(S) == 8, std::uint64_t, std::uint32_t>;
        for (std::size_t i = 0; i < random_count / 4; ++i)
            out.push_back(std::bit_cast<S>(static_cast<Bits>(rng())));
    } else {
        // Wrapped into S: what S cannot hold becomes another value of S.
        const std::int64_t limits[] = {0,          1,         INT8_MIN,   INT8_MAX,  UINT8_MAX,
                                       INT16_MIN,  INT16_MAX, UINT16_MAX, INT32_MIN, INT32_MAX,
                                       UINT32_MAX, INT64_MIN, INT64_MAX};
        for (const auto l : limits) {
            const auto u = static_cast<std::uint64_t>(l);
            for (const std::uint64_t v : {u - 1, u, u + 1})
                out.insert(out.end(), {static_cast<S>(v), static_cast<S>(0 - v)});
        }
        for (std::size_t i = 0; i < random_count; ++i)
            out.push_back(static_cast<S>(rng()));
    }
    Inputs<S> in{std::make_unique<S[]>(out.size()), out.size()};
    for (std::size_t i = 0; i < out.size(); ++i)
        in.values[i] = static_cast<S>(out[i]);
    return in;
}

}  // namespace kelvor::testing
