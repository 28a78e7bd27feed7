// Size values and their text; sizes and dimension numbers read from host arrays.
#include <kelvor/common/foundation/matrix/sizes.hpp>

#include <array>
#include <cmath>
#include <concepts>
#include <ostream>
#include <string>

#include <boost/container/small_vector.hpp>
#include <boost/numeric/conversion/converter_policies.hpp>

#include <kelvor/common/foundation/matrix/messages.hpp>
#include <kelvor/common/foundation/matrix/shape.hpp>

namespace klf {
namespace {

// Keeps the low 8 bits of every code unit; size texts are ASCII.
std::string narrow(const ustring& text) {
    std::string out(text.size(), '\0');
    for (std::size_t i = 0; i < text.size(); ++i) {
        out[i] = static_cast<char>(text[i] & 0xFF);
    }
    return out;
}

}  // namespace

const ustring& to_ustring(const ScalarSize&) {
    // Never destroyed: references handed out stay valid during static destruction.
    static const ustring* const text = new ustring(u"<scalar>");
    return *text;
}

std::ostream& operator<<(std::ostream& os, const ScalarSize& size) {
    return os << narrow(to_ustring(size));
}

ustring to_ustring(const SizeVariant& size) {
    if (std::holds_alternative<ScalarSize>(size)) {
        return to_ustring(std::get<ScalarSize>(size));
    }
    return to_user_string(std::get<ArraySize>(size));
}

std::ostream& operator<<(std::ostream& os, const SizeVariant& size) {
    return os << narrow(to_ustring(size));
}

bool is_scalar(const SizeVariant& size) {
    return std::visit(
        [](const auto& s) { return std::is_same_v<std::decay_t<decltype(s)>, ScalarSize>; }, size);
}

std::size_t num_elements(const SizeVariant& size) {
    return std::visit(
        [](const auto& s) -> std::size_t {
            if constexpr (std::is_same_v<std::decay_t<decltype(s)>, ScalarSize>) {
                return 1;
            } else {
                return s.numElements();
            }
        },
        size);
}

ArraySize to_array_size(const SizeVariant& size) {
    return std::visit(
        [](const auto& s) -> ArraySize {
            if constexpr (std::is_same_v<std::decay_t<decltype(s)>, ScalarSize>) {
                return ArraySize{1, 1};
            } else {
                return s;
            }
        },
        size);
}

}  // namespace klf

// ---------------------------------------------------------------------------
// Sizes and dimension numbers read from host arrays.

namespace klf {
namespace {

namespace msg = kelvor::common::foundation::matrix::hy;

// The typed views of the numeric classes only: logical and char (and every
// complex or sparse view) are left to the dispatch's rejections.
template <class T>
concept DimensionElement =
    std::is_arithmetic_v<T> && !std::is_same_v<T, bool> && !std::is_same_v<T, char16_t>;

std::size_t to_dimension(std::floating_point auto v) {
    using T = decltype(v);
    if (v < T(0)) {
        throw_message<msg::NegativeDimension>();
    }
    if (std::floor(v) != v) {  // also NaN
        throw_message<msg::NonIntegerDimension>();
    }
    // 2^64 is exact in both float and double; compared in the element's type.
    if (v >= T(18446744073709551616.0)) {  // also +infinity
        throw boost::numeric::positive_overflow();
    }
    return static_cast<std::size_t>(v);  // -0 gives 0
}

std::size_t to_dimension(std::signed_integral auto v) {
    if (v < 0) {
        throw_message<msg::NegativeDimension>();
    }
    return static_cast<std::size_t>(v);
}

std::size_t to_dimension(std::unsigned_integral auto v) {
    return static_cast<std::size_t>(v);
}

[[noreturn]] void reject_dimension_number() {
    throw_message<msg::dimensionMustBePositiveInteger>();
}

struct ToSize {
    template <DimensionElement T>
    ArraySize operator()(const matrix::typed_array<T>& elements) const {
        boost::container::small_vector<std::size_t, 3> dims;
        for (const T v : elements) {
            dims.push_back(to_dimension(v));
        }
        return ArraySize(dims.data(), dims.size());
    }
};

}  // namespace

ArraySize to_array_size(const hyArray* value) {
    if (!matrix::is_numeric(value)) {
        throw_message<msg::UnexpectedClassGeneric>(hyGetClassName(value));
    }
    if (matrix::is_complex(value)) {
        throw_message<msg::UnexpectedComplex>();
    }
    if (matrix::is_sparse(value)) {
        throw_message<msg::UnexpectedSparse>();
    }
    if (matrix::number_of_dims(value) != 2) {
        throw_message<msg::NonVectorDimension>();
    }
    if (matrix::dims(value)[0] != 1 && hyGetN(value) != 1) {
        throw_message<msg::NonVectorDimension>();
    }
    return matrix::apply_visitor(value, ToSize{});
}

matrix::unique_hyarray_ptr to_hyarray(const ArraySize& size) {
    const std::size_t n = size.size();
    const std::array<std::size_t, 2> dims{n, 1};
    matrix::unique_hyarray_ptr column =
        matrix::detail::do_create_uninitnumeric(dims, hyDOUBLE_CLASS, hyREAL);
    double* elements = matrix::data_as<double>(column.get());
    for (std::size_t i = 0; i < n; ++i) {
        elements[i] = static_cast<double>(size(i));
    }
    return to_row(std::move(column));
}

std::size_t hyarray_to_dim(const hyArray* value) {
    if (!matrix::is_numeric(value) && matrix::class_id(value) != hyLOGICAL_CLASS) {
        reject_dimension_number();
    }
    if (!hyIsScalar(value) || matrix::is_complex(value)) {
        reject_dimension_number();
    }
    const double x = hyGetScalar(value);
    // NaN is refused before the cast below, which it would make undefined.
    if (std::isnan(x) || x < 1.0 || x > 281474976710656.0) {  // 2^48
        reject_dimension_number();
    }
    const auto k = static_cast<std::size_t>(x - 1.0);
    if (x != static_cast<double>(k) + 1.0) {
        reject_dimension_number();
    }
    return k;
}

}  // namespace klf
