// The fingerprint stream of host values and its default for exotic values.
//
// Each item of the stream is converted into a small local buffer and handed to
// the consumer at once: one pass, no intermediate buffer. Numeric classes go
// through the host's typed dispatch once per array, so the element loops run
// on plain pointers of the element type.
#include <kelvor/common/foundation/matrix/fingerprint.hpp>

#include <algorithm>
#include <array>
#include <cmath>
#include <complex>
#include <cstdint>
#include <cstring>
#include <type_traits>
#include <utility>

#include <boost/container/small_vector.hpp>
#include <boost/endian/conversion.hpp>

#include <kelvor/common/foundation/matrix/fields.hpp>
#include <kelvor/core/numeric.hpp>

#include "service_lookup.hpp"

namespace {

using Feed = std::function<void(const char*, std::size_t)>;

/// One item: an unsigned integer, big-endian, in one call.
template <class U>
inline void put(Feed& feed, U value) {
    static_assert(std::is_unsigned_v<U>);
    char bytes[sizeof(U)];
    const U big = boost::endian::native_to_big(value);
    std::memcpy(bytes, &big, sizeof(U));
    feed(bytes, sizeof(U));
}

void put_header(Feed& feed, const hyArray* a) {
    put(feed, static_cast<std::uint32_t>(matrix::class_id(a)));
    put(feed, static_cast<std::uint8_t>(matrix::is_sparse(a) ? 1 : 0));
    put(feed, static_cast<std::uint8_t>(matrix::is_complex(a) ? 1 : 0));
}

void put_dims(Feed& feed, const hyArray* a) {
    const std::size_t* d = matrix::dims(a);
    const std::size_t n = matrix::number_of_dims(a);
    for (std::size_t i = 0; i < n; ++i) {
        put(feed, static_cast<std::uint64_t>(d[i]));
    }
}

/// Floating values as the core library's integer pair of their canonical
/// value: one zero, one NaN, one infinity of each sign. The special values
/// are read once per array, not once per element.
template <class F>
class Canonical {
public:
    Canonical() : nan_(klf::detail::GetNaN<F>()()), inf_(klf::detail::GetInf<F>()()) {}
    void operator()(Feed& feed, F v) const {
        // Ordinary values take one well-predicted branch.
        if (!std::isfinite(v) || v == F(0)) {
            v = std::isnan(v) ? nan_ : v == F(0) ? F(0) : std::signbit(v) ? -inf_ : inf_;
        }
        const auto words = klf::to_ints(v);
        put(feed, words[0]);
        put(feed, words[1]);
    }

private:
    F nan_;
    F inf_;
};

/// Element encoder of an element type: integers by their bits, floating
/// values canonical.
template <class T>
class Element {
public:
    void operator()(Feed& feed, T v) const {
        if constexpr (std::is_same_v<T, bool>) {
            put(feed, static_cast<std::uint8_t>(v ? 1 : 0));
        } else if constexpr (std::is_same_v<T, char16_t>) {
            put(feed, static_cast<std::uint16_t>(v));
        } else {
            put(feed, static_cast<std::make_unsigned_t<T>>(v));
        }
    }
};
template <>
class Element<double> : public Canonical<double> {};
template <>
class Element<float> : public Canonical<float> {};

/// The element loops, one per typed view.
struct ElementStream {
    Feed& feed;
    const hyArray* a;

    template <class T>
    void operator()(const matrix::typed_array<T>& v) const {
        put_dims(feed, a);
        const Element<T> put_element;
        for (const T& x : v) {
            put_element(feed, x);
        }
    }

    template <class T>
    void operator()(const matrix::typed_array<std::complex<T>>& v) const {
        put_dims(feed, a);
        const Element<T> put_element;
        for (const std::complex<T>& x : v) {
            put_element(feed, x.real());
            put_element(feed, x.imag());
        }
    }

    // Column count, column starts, row indices, values; no dimension block
    // (the row count is not part of the stream).
    template <class T>
    void operator()(const matrix::typed_sparse_matrix<T>& v) const {
        const std::size_t n = hyGetN(a);
        const std::size_t* jc = v.column_starts();
        const std::size_t nnz = jc[n];
        put(feed, static_cast<std::uint64_t>(n));
        for (std::size_t j = 0; j <= n; ++j) {
            put(feed, static_cast<std::uint64_t>(jc[j]));
        }
        const std::size_t* ir = v.row_indices();
        for (std::size_t k = 0; k < nnz; ++k) {
            put(feed, static_cast<std::uint64_t>(ir[k]));
        }
        const T* values = v.values();
        if constexpr (std::is_same_v<T, std::complex<double>> ||
                      std::is_same_v<T, std::complex<float>>) {
            const Element<typename T::value_type> put_element;
            for (std::size_t k = 0; k < nnz; ++k) {
                put_element(feed, values[k].real());
                put_element(feed, values[k].imag());
            }
        } else {
            const Element<T> put_element;
            for (std::size_t k = 0; k < nnz; ++k) {
                put_element(feed, values[k]);
            }
        }
    }
};

void put_cell(Feed& feed, const hyArray* a) {
    put_dims(feed, a);
    const std::size_t n = matrix::number_of_elements(a);
    for (std::size_t i = 0; i < n; ++i) {
        incorporate_data(feed, hyGetCell(a, i));
    }
}

// Field values in the byte order of the field names, so that the order in
// which fields were created does not matter; the names themselves are not fed.
void put_struct(Feed& feed, const hyArray* a) {
    const char* const* names = a->get_struct_field_names();
    const std::size_t nfields = static_cast<std::size_t>(a->get_number_of_struct_fields());
    boost::container::small_vector<std::pair<const char*, std::size_t>, 8> order;
    order.reserve(nfields);
    for (std::size_t f = 0; f < nfields; ++f) {
        order.emplace_back(names[f], f);
    }
    std::sort(order.begin(), order.end(),
              [](const auto& x, const auto& y) { return std::strcmp(x.first, y.first) < 0; });
    put_dims(feed, a);
    const std::size_t n = matrix::number_of_elements(a);
    for (std::size_t i = 0; i < n; ++i) {
        for (const auto& field : order) {
            incorporate_data(feed, klf::get_field_by_number(a, i, field.second));
        }
    }
}

// The saved form of a handle, less the file that defines it (a location,
// not part of the value). The saved struct is this call's own and goes on
// every path.
void put_function_handle(Feed& feed, const hyArray* a) {
    const matrix::unique_hyarray_ptr saved(hyFunctionHandleToSavedStruct(a));
    hyArray* handle = hyGetField(saved.get(), 0, "function_handle");
    if (handle == nullptr) {
        return;
    }
    const int file = hyGetFieldNumber(handle, "file");
    if (file >= 0) {
        // Take every element's file value out before the field goes, so none
        // is left without an owner.
        const std::size_t n = matrix::number_of_elements(handle);
        boost::container::small_vector<hyArray*, 1> values;
        for (std::size_t i = 0; i < n; ++i) {
            if (hyArray* value = hyGetField(handle, i, "file")) {
                values.push_back(value);
            }
        }
        hyRemoveField(handle, file);
        for (hyArray* value : values) {
            matrix::destroyArray(value);
        }
    }
    incorporate_data(feed, handle);
}

void put_exotic(Feed& feed, const hyArray* a) {
    const std::shared_ptr<klf::IncorporateExoticDataService> service =
        klf::detail::exotic_data_service();
    service->incorporate_data(feed, a);
}

/// Without a registered service an exotic value is known by its class name,
/// fed one byte per call.
class DefaultIncorporateExoticDataService final : public klf::IncorporateExoticDataService {
public:
    void incorporate_data(Feed& feed, const hyArray* a) override {
        const char* name = hyGetClassName(a);
        for (; name != nullptr && *name != '\0'; ++name) {
            feed(name, 1);
        }
    }
};

/// What a null handle stands for: a 0×0 real double, made once and kept for
/// the life of the process.
const hyArray* substitute_empty_array() {
    static const hyArray* const empty = [] {
        const std::size_t dims[] = {0, 0};
        return matrix::detail::do_create_numeric(dims, hyDOUBLE_CLASS, hyREAL).release();
    }();
    return empty;
}

}  // namespace

namespace klf::detail {

std::shared_ptr<IncorporateExoticDataService> exotic_data_service() {
    return service_or_default<IncorporateExoticDataService, DefaultIncorporateExoticDataService>();
}

}  // namespace klf::detail

void incorporate_data(Feed& feed, const hyArray* a) {
    if (hyAreMatricesEqual(a, nullptr)) {
        a = substitute_empty_array();
    }
    const hyClassID cls = matrix::class_id(a);
    switch (cls) {
        case hyOPAQUE_CLASS:
        case hyOBJECT_CLASS:
            put_exotic(feed, a);
            return;
        case hyFUNCTION_CLASS:
            put_function_handle(feed, a);
            return;
        default:
            break;
    }
    if (matrix::is_sparse(a)) {
        // Only these classes have a sparse form; anything else claiming one
        // is refused before a byte is fed.
        if (cls != hyLOGICAL_CLASS && cls != hyDOUBLE_CLASS && cls != hySINGLE_CLASS) {
            matrix::detail::rejectInvalidClassId(cls);
        }
        put_header(feed, a);
        matrix::apply_visitor(a, ElementStream{feed, a});
        return;
    }
    switch (cls) {
        case hyCELL_CLASS:
            put_cell(feed, a);
            return;
        case hySTRUCT_CLASS:
            put_struct(feed, a);
            return;
        case hyLOGICAL_CLASS:
        case hyCHAR_CLASS:
        case hyDOUBLE_CLASS:
        case hySINGLE_CLASS:
        case hyINT8_CLASS:
        case hyUINT8_CLASS:
        case hyINT16_CLASS:
        case hyUINT16_CLASS:
        case hyINT32_CLASS:
        case hyUINT32_CLASS:
        case hyINT64_CLASS:
        case hyUINT64_CLASS:
            put_header(feed, a);
            matrix::apply_visitor(a, ElementStream{feed, a});
            return;
        default:
            matrix::detail::rejectInvalidClassId(cls);
    }
}
