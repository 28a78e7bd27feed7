// Strings out of host values.
//
// Every string operation runs on one element extractor that sorts a value into
// its form (nothing, cell, characters, or a value for the string extraction
// service) and hands out its elements one at a time. Rejections never throw
// inside an extraction step: a step yields either its value or the
// ExceptionFactory of the reason, built on the factory of the exported
// operation that started it. The plain operations call that factory and throw;
// the maybe operations drop it unevaluated, so they never build a message.
#include <kelvor/common/foundation/matrix/strings.hpp>

#include <algorithm>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <boost/variant/get.hpp>
#include <boost/variant/variant.hpp>

#include <kelvor/common/foundation/matrix/messages.hpp>
#include <kelvor/common/foundation/matrix/services.hpp>

#include "service_lookup.hpp"

namespace klf {
namespace {

namespace msg = kelvor::common::foundation::matrix::hy;

using StringElement = std::optional<ustring>;

/// A value, or the recipe of the exception that explains why there is none.
template <class T>
using Extraction = boost::variant<T, ExceptionFactory>;

/// Yields one value each time it is called.
template <class T>
using ScalarExtractor = std::function<Extraction<T>()>;

/// Yields element i (column-major, from 0) of a value of shape `size`.
template <class T>
struct ArrayExtractor {
    std::function<Extraction<T>(std::size_t i)> get;
    SizeVariant size;
};

template <class T>
ExceptionFactory* failure_of(Extraction<T>& e) {
    return boost::get<ExceptionFactory>(&e);
}

/// A character array holds one string when it is a row or has no extent at
/// all; columns, matrices and empty shapes with an extent are rejected.
Extraction<StringElement> apply_character_rule(const hyArray* a, const ExceptionFactory& factory) {
    const std::size_t k = matrix::number_of_dims(a);
    const std::size_t* d = matrix::dims(a);
    const bool row = k == 2 && d[0] == 1;
    if (!row && !std::all_of(d, d + k, [](std::size_t n) { return n == 0; })) {
        return factory_with_cause<msg::CharVectorNotARow>(factory);
    }
    return StringElement(matrix::get_ustring(a));
}

/// Element i of a cell array: the slot must hold a character array that
/// passes the character rule.
Extraction<StringElement> cell_element(const hyArray* cell, std::size_t i,
                                       const ExceptionFactory& factory) {
    const hyArray* slot = hyGetCell(cell, i);
    if (slot == nullptr) {
        return factory_with_cause<msg::NullHyArray>(factory);
    }
    if (matrix::class_id(slot) != hyCHAR_CLASS) {
        const char* name = hyGetClassName(slot);
        return factory_with_cause<msg::CellContainsNonCharacterVector>(
            factory, std::string(name != nullptr ? name : ""));
    }
    return apply_character_rule(slot, factory);
}

/// A missing element is a failure where text is required.
Extraction<ustring> require_present(Extraction<StringElement>&& e,
                                    const ExceptionFactory& factory) {
    if (ExceptionFactory* failure = failure_of(e)) {
        return std::move(*failure);
    }
    StringElement& element = boost::get<StringElement>(e);
    if (!element) {
        return factory_with_cause<msg::MissingElement>(factory);
    }
    return std::move(*element);
}

/// Offers a value of any other class to the string extraction service. The
/// service is held only for the one `extract`; what it extracts lives on in
/// the getter.
ArrayExtractor<StringElement> service_extractor(const hyArray* value, ExceptionFactory factory) {
    std::shared_ptr<ExtractedString> extracted;
    if (std::shared_ptr<StringExtractionService> service = detail::string_extraction_service()) {
        extracted = service->extract(value);
    }
    if (!extracted) {
        return {[factory = std::move(factory), name = hyGetClassName(value)](std::size_t) {
                    return Extraction<StringElement>(
                        factory_with_cause<msg::InvalidStringClass>(factory, name));
                },
                ScalarSize{}};
    }
    const ArraySize size = extracted->size();
    SizeVariant shape = size.numElements() == 1 ? SizeVariant(ScalarSize{}) : SizeVariant(size);
    return {[extracted = std::move(extracted)](std::size_t i) {
                return Extraction<StringElement>(extracted->element(i));
            },
            std::move(shape)};
}

/// The one element extractor every string operation builds on. The forms are
/// tested in this order; the first that matches decides.
ArrayExtractor<StringElement> to_string_element_array_extractor(const hyArray* value,
                                                                ExceptionFactory factory) {
    if (value == nullptr) {
        return {[factory = std::move(factory)](std::size_t) {
                    return Extraction<StringElement>(factory_with_cause<msg::NullHyArray>(factory));
                },
                ScalarSize{}};
    }
    switch (matrix::class_id(value)) {
        case hyCELL_CLASS:
            return {[value, factory = std::move(factory)](std::size_t i) {
                        return cell_element(value, i, factory);
                    },
                    ArraySize(matrix::dims(value), matrix::number_of_dims(value))};
        case hyCHAR_CLASS:
            // A character array is one string whatever its shape, so its
            // only element is 0.
            return {[value, factory = std::move(factory)](std::size_t i) {
                        KLF_ASSERT_AT(i == 0, "i == 0", "src/str", 183,
                                      "klf::{anonymous}::to_string_element_array_extractor(const "
                                      "hyArray*, klf::ExceptionFactory)::<lambda(std::size_t)>");
                        return apply_character_rule(value, factory);
                    },
                    ScalarSize{}};
        default:
            return service_extractor(value, std::move(factory));
    }
}

/// One string element. The value is sorted (and a service value extracted)
/// when the extractor is made, not when it is called.
ScalarExtractor<StringElement> to_string_element_extractor(const hyArray* value,
                                                           ExceptionFactory factory) {
    ArrayExtractor<StringElement> e = to_string_element_array_extractor(value, factory);
    if (!is_scalar(e.size)) {
        return [failure = factory_with_cause<msg::NonScalarValue>(std::move(factory))] {
            return Extraction<StringElement>(failure);
        };
    }
    return [get = std::move(e.get)] { return get(0); };
}

ScalarExtractor<ustring> to_ustring_extractor(const hyArray* value, ExceptionFactory factory) {
    ScalarExtractor<StringElement> s = to_string_element_extractor(value, factory);
    return
        [s = std::move(s), factory = std::move(factory)] { return require_present(s(), factory); };
}

ArrayExtractor<ustring> to_ustring_array_extractor(const hyArray* value, ExceptionFactory factory) {
    ArrayExtractor<StringElement> e = to_string_element_array_extractor(value, factory);
    return {[get = std::move(e.get), factory = std::move(factory)](std::size_t i) {
                return require_present(get(i), factory);
            },
            std::move(e.size)};
}

/// Collects the elements of `x` into Result (UStringArray or
/// StringElementArray). Elements are requested in increasing order and the
/// first failure ends the collection, so later elements are never touched.
template <class Result, class T>
Extraction<Result> collect(ArrayExtractor<T>&& x) {
    const std::size_t n = num_elements(x.size);
    std::vector<T> values;
    values.reserve(n);
    for (std::size_t i = 0; i < n; ++i) {
        Extraction<T> e = x.get(i);
        if (ExceptionFactory* failure = failure_of(e)) {
            return std::move(*failure);
        }
        values.push_back(std::move(boost::get<T>(e)));
    }
    return Result{std::move(values), std::move(x.size)};
}

template <class T>
T value_or_throw(Extraction<T>&& e) {
    if (ExceptionFactory* failure = failure_of(e)) {
        throw(*failure)();
    }
    return std::move(boost::get<T>(e));
}

template <class T>
std::optional<T> value_or_empty(Extraction<T>&& e) {
    if (failure_of(e) != nullptr) {
        return std::nullopt;
    }
    return std::optional<T>(std::in_place, std::move(boost::get<T>(e)));
}

// The top-level error of each exported family; the reason rides as its cause.
klf::MessageException string_value_expected() {
    return make_exception(msg::StringValueExpected{});
}
klf::MessageException invalid_scalar_string() {
    return make_exception(msg::InvalidScalarString{});
}
klf::MessageException invalid_string_array() {
    return make_exception(msg::InvalidStringArray{});
}
klf::MessageException invalid_string_element_array() {
    return make_exception(msg::InvalidStringElementArray{});
}

}  // namespace

ustring to_ustring(const hyArray* value) {
    return value_or_throw(to_ustring_extractor(value, string_value_expected)());
}

std::optional<ustring> to_maybe_ustring(const hyArray* value) {
    return value_or_empty(to_ustring_extractor(value, string_value_expected)());
}

std::optional<ustring> to_string_element(const hyArray* value) {
    return value_or_throw(to_string_element_extractor(value, invalid_scalar_string)());
}

std::optional<std::optional<ustring>> to_maybe_string_element(const hyArray* value) {
    return value_or_empty(to_string_element_extractor(value, invalid_scalar_string)());
}

UStringArray to_ustring_array(const hyArray* value) {
    return value_or_throw(
        collect<UStringArray>(to_ustring_array_extractor(value, invalid_string_array)));
}

std::optional<UStringArray> to_maybe_ustring_array(const hyArray* value) {
    return value_or_empty(
        collect<UStringArray>(to_ustring_array_extractor(value, invalid_string_array)));
}

StringElementArray to_string_element_array(const hyArray* value) {
    return value_or_throw(collect<StringElementArray>(
        to_string_element_array_extractor(value, invalid_string_element_array)));
}

std::optional<StringElementArray> to_maybe_string_element_array(const hyArray* value) {
    return value_or_empty(collect<StringElementArray>(
        to_string_element_array_extractor(value, invalid_string_element_array)));
}

}  // namespace klf
