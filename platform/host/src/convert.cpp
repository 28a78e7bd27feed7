// Element conversion between the classes with element data (logical, char,
// double, single and the integers).
#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <type_traits>
#include <utility>

#include "array.hpp"

namespace {

// char16_t and bool take part in the integer comparisons as plain integers.
template <class T>
using integer_t = std::conditional_t<std::is_same_v<T, char16_t>, std::uint16_t,
                                     std::conditional_t<std::is_same_v<T, bool>, int, T>>;

template <class D, class S>
D convert_one(S s) {
    if constexpr (std::is_same_v<D, bool>) {
        return s != S(0);
    } else if constexpr (std::is_floating_point_v<D>) {
        return static_cast<D>(s);
    } else if constexpr (std::is_floating_point_v<S>) {
        // Integer (and char) targets: round halves away from zero, saturate.
        if (std::isnan(s))
            return D(0);
        const long double r = std::round(static_cast<long double>(s));
        using L = std::numeric_limits<integer_t<D>>;
        if (r <= static_cast<long double>(L::lowest()))
            return static_cast<D>(L::lowest());
        if (r >= static_cast<long double>(L::max()))
            return static_cast<D>(L::max());
        return static_cast<D>(r);
    } else {
        using L = std::numeric_limits<integer_t<D>>;
        const auto v = static_cast<integer_t<S>>(s);
        if (std::cmp_less(v, L::lowest()))
            return static_cast<D>(L::lowest());
        if (std::cmp_greater(v, L::max()))
            return static_cast<D>(L::max());
        return static_cast<D>(v);
    }
}

template <class D, class S>
void convert_all(void* dst, const void* src, std::size_t n) {
    D* d = static_cast<D*>(dst);
    const S* s = static_cast<const S*>(src);
    for (std::size_t i = 0; i < n; ++i)
        d[i] = convert_one<D>(s[i]);
}

// Calls f with a value-initialised object of the class's element type.
template <class F>
void with_type(hyClassID cls, F&& f) {
    switch (cls) {
        case hyLOGICAL_CLASS:
            return f(bool{});
        case hyCHAR_CLASS:
            return f(char16_t{});
        case hyDOUBLE_CLASS:
            return f(double{});
        case hySINGLE_CLASS:
            return f(float{});
        case hyINT8_CLASS:
            return f(std::int8_t{});
        case hyUINT8_CLASS:
            return f(std::uint8_t{});
        case hyINT16_CLASS:
            return f(std::int16_t{});
        case hyUINT16_CLASS:
            return f(std::uint16_t{});
        case hyINT32_CLASS:
            return f(std::int32_t{});
        case hyUINT32_CLASS:
            return f(std::uint32_t{});
        case hyINT64_CLASS:
            return f(std::int64_t{});
        case hyUINT64_CLASS:
            return f(std::uint64_t{});
        default:
            throw matrix::HostError("hyConvertBufferToType: class " + std::to_string(cls) +
                                    " has no element type");
    }
}

}  // namespace

void hyConvertBufferToType(void* dst, hyClassID dst_cls, const void* src, hyClassID src_cls,
                           std::size_t n) {
    with_type(dst_cls, [&](auto d) {
        with_type(src_cls, [&](auto s) { convert_all<decltype(d), decltype(s)>(dst, src, n); });
    });
}
