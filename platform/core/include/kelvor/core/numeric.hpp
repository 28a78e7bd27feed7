// Floating-point helpers of the family: fixed NaN and infinity values and the
// integer decomposition of a value's bit pattern, so that floating values can
// be hashed or serialised reproducibly.
//
//     klf::to_ints(2.5)    // {0x40040000, 0x00000000}: high, low word
//     klf::to_ints(1.0f)   // {0x3F80, 0x0000}: high, low half
#pragma once

#include <array>
#include <bit>
#include <cstdint>
#include <limits>

namespace klf {

/// High then low 32-bit word of the IEEE-754 bit pattern of `v`.
constexpr std::array<std::uint32_t, 2> to_ints(double v) noexcept {
    const auto bits = std::bit_cast<std::uint64_t>(v);
    return {static_cast<std::uint32_t>(bits >> 32), static_cast<std::uint32_t>(bits)};
}

/// High then low 16-bit half of the IEEE-754 bit pattern of `v`.
constexpr std::array<std::uint16_t, 2> to_ints(float v) noexcept {
    const auto bits = std::bit_cast<std::uint32_t>(v);
    return {static_cast<std::uint16_t>(bits >> 16), static_cast<std::uint16_t>(bits)};
}

namespace detail {

/// The quiet NaN of T (positive sign, no payload beyond the quiet bit).
template <class T>
struct GetNaN {
    static_assert(std::numeric_limits<T>::has_quiet_NaN);
    constexpr T operator()() const noexcept { return std::numeric_limits<T>::quiet_NaN(); }
};

/// Positive infinity of T.
template <class T>
struct GetInf {
    static_assert(std::numeric_limits<T>::has_infinity);
    constexpr T operator()() const noexcept { return std::numeric_limits<T>::infinity(); }
};

}  // namespace detail
}  // namespace klf

extern "C" {
/// The quiet NaN of double.
double klf_get_nan(void);
/// True for every NaN, whatever its sign or payload.
bool klf_is_nan(double v);
}
