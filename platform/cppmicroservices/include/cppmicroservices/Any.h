// Any: the type-erased value of a service property.
//
// Service properties map text keys to values of any copyable type. An Any
// holds one such value; `any_cast<T>` gets it back, by value (throwing
// BadAnyCastException when the held type is not T) or by pointer (nullptr on
// a mismatch):
//
//     cppmicroservices::Any ranking = 5;
//     int r = cppmicroservices::any_cast<int>(ranking);
#ifndef CPPMICROSERVICES_ANY_H
#define CPPMICROSERVICES_ANY_H

#include "cppmicroservices/FrameworkExport.h"

#include <any>
#include <string>
#include <type_traits>
#include <typeinfo>
#include <utility>

namespace cppmicroservices {

class Any;

namespace detail {
// Out of line so that the message (with both type names) is built once.
[[noreturn]] US_Framework_EXPORT void ThrowBadAnyCast(std::type_info const& held,
                                                      std::type_info const& wanted);

template <class T>
inline constexpr bool is_any_v = std::is_same_v<std::remove_cv_t<std::remove_reference_t<T>>, Any>;
}  // namespace detail

class Any {
public:
    Any() = default;

    template <typename ValueType, typename = std::enable_if_t<!detail::is_any_v<ValueType>>>
    Any(ValueType const& value) : value_(value) {}

    Any(Any const&) = default;
    Any(Any&&) noexcept = default;
    Any& operator=(Any const&) = default;
    Any& operator=(Any&&) noexcept = default;
    ~Any() = default;

    template <typename ValueType, typename = std::enable_if_t<!detail::is_any_v<ValueType>>>
    Any& operator=(ValueType const& rhs) {
        value_ = rhs;
        return *this;
    }

    Any& Swap(Any& rhs) noexcept {
        value_.swap(rhs.value_);
        return *this;
    }

    // True when the Any holds a value of type ValueType equal to `val`.
    template <class ValueType>
    bool operator==(ValueType const& val) const {
        auto const* held = std::any_cast<ValueType>(&value_);
        return held != nullptr && *held == val;
    }

    template <class ValueType>
    bool operator!=(ValueType const& val) const {
        return !(*this == val);
    }

    bool Empty() const noexcept { return !value_.has_value(); }

    // The held type; typeid(void) when empty.
    std::type_info const& Type() const noexcept { return value_.type(); }

private:
    template <class ValueType>
    friend ValueType* any_cast(Any* operand);
    template <class ValueType>
    friend ValueType const* any_cast(Any const* operand);

    std::any value_;
};

// Thrown by the by-value and by-reference casts when the held type differs.
class US_Framework_EXPORT BadAnyCastException : public std::bad_cast {
public:
    explicit BadAnyCastException(std::string msg = "");
    char const* what() const noexcept override;

private:
    std::string message_;
};

// Pointer casts: nullptr for a null operand or a mismatching type.
template <class ValueType>
ValueType* any_cast(Any* operand) {
    return operand == nullptr ? nullptr : std::any_cast<ValueType>(&operand->value_);
}

template <class ValueType>
ValueType const* any_cast(Any const* operand) {
    return operand == nullptr ? nullptr : std::any_cast<ValueType>(&operand->value_);
}

template <class ValueType>
ValueType any_cast(Any const& operand) {
    using Held = std::remove_cv_t<std::remove_reference_t<ValueType>>;
    auto const* held = any_cast<Held>(&operand);
    if (held == nullptr) {
        detail::ThrowBadAnyCast(operand.Type(), typeid(Held));
    }
    return *held;
}

template <class ValueType>
ValueType any_cast(Any& operand) {
    using Held = std::remove_cv_t<std::remove_reference_t<ValueType>>;
    auto* held = any_cast<Held>(&operand);
    if (held == nullptr) {
        detail::ThrowBadAnyCast(operand.Type(), typeid(Held));
    }
    return *held;
}

// Reference casts: no copy of the held value.
template <class ValueType>
ValueType const& ref_any_cast(Any const& operand) {
    auto const* held = any_cast<ValueType>(&operand);
    if (held == nullptr) {
        detail::ThrowBadAnyCast(operand.Type(), typeid(ValueType));
    }
    return *held;
}

template <class ValueType>
ValueType& ref_any_cast(Any& operand) {
    auto* held = any_cast<ValueType>(&operand);
    if (held == nullptr) {
        detail::ThrowBadAnyCast(operand.Type(), typeid(ValueType));
    }
    return *held;
}

}  // namespace cppmicroservices

#endif  // CPPMICROSERVICES_ANY_H
