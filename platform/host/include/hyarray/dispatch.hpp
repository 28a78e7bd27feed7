// Typed dispatch by class and typed element storage: the templates behind
// matrix::apply_visitor and matrix::data_as. Included by hyarray.hpp; include
// that header, not this one.
#pragma once

#include "hyarray/hyarray.hpp"

namespace matrix {

// --- typed dispatch ---------------------------------------------------------
namespace detail {

template <class... Ts>
struct type_list {};

template <class V, class List>
struct first_taken {
    using type = void;
};
template <class V, class T, class... Ts>
struct first_taken<V, type_list<T, Ts...>> {
    using type = std::conditional_t<std::is_invocable_v<V&, T&>, T,
                                    typename first_taken<V, type_list<Ts...>>::type>;
};

template <class V, class View>
struct result_of_view {
    using type = std::invoke_result_t<V&, View&>;
};
template <class V>
struct result_of_view<V, void> {
    using type = void;
};

template <class E>
struct views_of {
    using type = type_list<typed_array<E>, typed_array<std::complex<E>>>;
};
template <>
struct views_of<bool> {
    using type = type_list<typed_array<bool>, typed_sparse_matrix<bool>>;
};
template <>
struct views_of<char16_t> {
    using type = type_list<typed_array<char16_t>>;
};
template <>
struct views_of<double> {
    using type = type_list<typed_array<double>, typed_array<std::complex<double>>,
                           typed_sparse_matrix<double>, typed_sparse_matrix<std::complex<double>>>;
};
template <>
struct views_of<float> {
    using type = type_list<typed_array<float>, typed_array<std::complex<float>>,
                           typed_sparse_matrix<float>, typed_sparse_matrix<std::complex<float>>>;
};

using all_views =
    type_list<typed_array<bool>, typed_array<char16_t>, typed_array<double>, typed_array<float>,
              typed_array<std::int8_t>, typed_array<std::uint8_t>, typed_array<std::int16_t>,
              typed_array<std::uint16_t>, typed_array<std::int32_t>, typed_array<std::uint32_t>,
              typed_array<std::int64_t>, typed_array<std::uint64_t>,
              typed_array<std::complex<double>>, typed_array<std::complex<float>>,
              typed_array<std::complex<std::int8_t>>, typed_array<std::complex<std::uint8_t>>,
              typed_array<std::complex<std::int16_t>>, typed_array<std::complex<std::uint16_t>>,
              typed_array<std::complex<std::int32_t>>, typed_array<std::complex<std::uint32_t>>,
              typed_array<std::complex<std::int64_t>>, typed_array<std::complex<std::uint64_t>>,
              typed_sparse_matrix<bool>, typed_sparse_matrix<double>, typed_sparse_matrix<float>,
              typed_sparse_matrix<std::complex<double>>, typed_sparse_matrix<std::complex<float>>>;

// What apply_visitor returns: the result for the first view (in the order of
// all_views) the visitor takes; every view it takes must give that type.
template <class V>
using visit_result_t = typename result_of_view<V, typename first_taken<V, all_views>::type>::type;

template <class View>
View make_view(const hyArray* a) {
    using T = typename View::value_type;
    if constexpr (std::is_same_v<View, typed_array<T>>) {
        return View(static_cast<const T*>(data(a)), number_of_elements(a));
    } else {
        const std::size_t* d = dims(a);
        return View(static_cast<const T*>(data(a)), host::ir(a), host::jc(a), d[0], d[1]);
    }
}

template <class R, class View, class E, class V>
R visit_as(const hyArray* a, V& v, hyClassID cls) {
    if constexpr (std::is_invocable_v<V&, View&>) {
        View view = make_view<View>(a);
        if constexpr (std::is_void_v<R>) {
            std::invoke(v, view);
        } else {
            return std::invoke(v, view);
        }
    } else {
        using asked = typename first_taken<V, typename views_of<E>::type>::type;
        if constexpr (std::is_void_v<asked>) {
            rejectClassId(typeid(V), cls);
        } else {
            rejectArrayShape(a, typeid(asked));
        }
    }
}

template <class R, class E, class V>
R visit_elements(const hyArray* a, V& v, hyClassID cls) {
    const bool cplx = is_complex(a);
    if (is_sparse(a)) {
        if constexpr (std::is_same_v<E, bool> || std::is_same_v<E, double> ||
                      std::is_same_v<E, float>) {
            if (number_of_dims(a) == 2) {
                if constexpr (std::is_same_v<E, bool>) {
                    return visit_as<R, typed_sparse_matrix<bool>, E>(a, v, cls);
                } else {
                    return cplx ? visit_as<R, typed_sparse_matrix<std::complex<E>>, E>(a, v, cls)
                                : visit_as<R, typed_sparse_matrix<E>, E>(a, v, cls);
                }
            }
        }
        using asked = typename first_taken<V, typename views_of<E>::type>::type;
        if constexpr (std::is_void_v<asked>) {
            rejectClassId(typeid(V), cls);
        } else {
            rejectArrayShape(a, typeid(asked));
        }
    } else {
        if constexpr (std::is_same_v<E, bool> || std::is_same_v<E, char16_t>) {
            return visit_as<R, typed_array<E>, E>(a, v, cls);
        } else {
            return cplx ? visit_as<R, typed_array<std::complex<E>>, E>(a, v, cls)
                        : visit_as<R, typed_array<E>, E>(a, v, cls);
        }
    }
}

}  // namespace detail

// Calls `visitor` once with the typed view that fits `a`: typed_array<T> for
// a real full array, typed_array<std::complex<T>> for a complex one,
// typed_sparse_matrix<T> (T possibly complex) for a sparse one.
//  - IDs 0, 5, negative or above 18: rejectInvalidClassId;
//  - the visitor takes no view of the class's element type (and always for
//    cells, structs, function handles, opaque arrays and objects):
//    rejectClassId with the visitor's type;
//  - it takes another view of that element type only: rejectArrayShape with
//    the first such view (full real, full complex, sparse real, sparse
//    complex).
template <class Visitor>
decltype(auto) apply_visitor(const hyArray* a, Visitor&& visitor) {
    using V = std::remove_cvref_t<Visitor>;
    using R = detail::visit_result_t<V>;
    V& v = visitor;
    const hyClassID cls = class_id(a);
    switch (cls) {
        case hyLOGICAL_CLASS:
            return detail::visit_elements<R, bool>(a, v, cls);
        case hyCHAR_CLASS:
            return detail::visit_elements<R, char16_t>(a, v, cls);
        case hyDOUBLE_CLASS:
            return detail::visit_elements<R, double>(a, v, cls);
        case hySINGLE_CLASS:
            return detail::visit_elements<R, float>(a, v, cls);
        case hyINT8_CLASS:
            return detail::visit_elements<R, std::int8_t>(a, v, cls);
        case hyUINT8_CLASS:
            return detail::visit_elements<R, std::uint8_t>(a, v, cls);
        case hyINT16_CLASS:
            return detail::visit_elements<R, std::int16_t>(a, v, cls);
        case hyUINT16_CLASS:
            return detail::visit_elements<R, std::uint16_t>(a, v, cls);
        case hyINT32_CLASS:
            return detail::visit_elements<R, std::int32_t>(a, v, cls);
        case hyUINT32_CLASS:
            return detail::visit_elements<R, std::uint32_t>(a, v, cls);
        case hyINT64_CLASS:
            return detail::visit_elements<R, std::int64_t>(a, v, cls);
        case hyUINT64_CLASS:
            return detail::visit_elements<R, std::uint64_t>(a, v, cls);
        case hyCELL_CLASS:
        case hySTRUCT_CLASS:
        case hyFUNCTION_CLASS:
        case hyOPAQUE_CLASS:
        case hyOBJECT_CLASS:
            detail::rejectClassId(typeid(V), cls);
        default:
            detail::rejectInvalidClassId(cls);
    }
}

// --- typed storage ---------------------------------------------------------
namespace detail {
template <class T>
struct scalar_of {
    using type = T;
};
template <class T>
struct scalar_of<std::complex<T>> {
    using type = T;
};
void check_element_type(const hyArray* a, hyClassID cls, bool complex);
}  // namespace detail

template <class T>
constexpr hyClassID class_of() noexcept {
    using S = typename detail::scalar_of<T>::type;
    if constexpr (std::is_same_v<S, bool>)
        return hyLOGICAL_CLASS;
    else if constexpr (std::is_same_v<S, char16_t>)
        return hyCHAR_CLASS;
    else if constexpr (std::is_same_v<S, double>)
        return hyDOUBLE_CLASS;
    else if constexpr (std::is_same_v<S, float>)
        return hySINGLE_CLASS;
    else if constexpr (std::is_same_v<S, std::int8_t>)
        return hyINT8_CLASS;
    else if constexpr (std::is_same_v<S, std::uint8_t>)
        return hyUINT8_CLASS;
    else if constexpr (std::is_same_v<S, std::int16_t>)
        return hyINT16_CLASS;
    else if constexpr (std::is_same_v<S, std::uint16_t>)
        return hyUINT16_CLASS;
    else if constexpr (std::is_same_v<S, std::int32_t>)
        return hyINT32_CLASS;
    else if constexpr (std::is_same_v<S, std::uint32_t>)
        return hyUINT32_CLASS;
    else if constexpr (std::is_same_v<S, std::int64_t>)
        return hyINT64_CLASS;
    else if constexpr (std::is_same_v<S, std::uint64_t>)
        return hyUINT64_CLASS;
    else
        static_assert(sizeof(S) == 0, "not an element type of the host");
}

template <class T>
T* data_as(hyArray* a) {
    detail::check_element_type(a, class_of<T>(),
                               !std::is_same_v<T, typename detail::scalar_of<T>::type>);
    return static_cast<T*>(data(a));
}
template <class T>
const T* data_as(const hyArray* a) {
    detail::check_element_type(a, class_of<T>(),
                               !std::is_same_v<T, typename detail::scalar_of<T>::type>);
    return static_cast<const T*>(data(a));
}

}  // namespace matrix
