// Text out of host values: single strings and string arrays as UTF-16.
//
// Accepted input forms:
//   - a character array that is a row (1×n, 1×0 included), has no dimensions,
//     or has only zero dimensions (0×0, 0×0×0 …): one string;
//   - a cell array whose every slot holds such a character array: one string
//     per slot, in column-major order, shaped like the cell (a 1×1 cell too);
//   - any other value that a registered klf::StringExtractionService presents
//     as strings (services.hpp): its elements, each present or missing.
// Everything else (null, a character column or matrix, a cell slot that is
// empty or not text, a value no service handles) is rejected.
//
// Operations come in pairs. The plain one throws a klf::MessageException with
// its family's key ("StringValueExpected", "InvalidScalarString",
// "InvalidStringArray", "InvalidStringElementArray") and exactly one cause
// naming the reason ("NullHyArray", "CharVectorNotARow", …). The maybe one
// returns an empty optional for the same inputs and never builds a message.
// The ustring forms need every element present; the string-element forms
// report a missing element as an empty std::optional.
//
//     const ustring name = klf::to_ustring(prhs[0]);                  // throws on bad input
//     if (auto names = klf::to_maybe_ustring_array(prhs[1])) { ... }  // empty on bad input
#pragma once

#include <optional>
#include <vector>

#include <hyarray/hyarray.hpp>
#include <kelvor/common/foundation/matrix/export.hpp>
#include <kelvor/common/foundation/matrix/sizes.hpp>
#include <kelvor/core/ustring.hpp>

namespace klf {

/// Every string of a value, in column-major order, with the value's shape:
/// ScalarSize for a character array or a one-element service value, the
/// dimensions otherwise. `values.size() == num_elements(size)`.
struct UStringArray {
    std::vector<ustring> values;
    SizeVariant size;
};

/// As UStringArray, with missing elements kept as empty entries.
struct StringElementArray {
    std::vector<std::optional<ustring>> values;
    SizeVariant size;
};

/// The one present string the value holds; throws "StringValueExpected".
KELVOR_MATRIX_EXPORT ustring to_ustring(const hyArray* value);

/// As to_ustring, or an empty optional where to_ustring would throw.
KELVOR_MATRIX_EXPORT std::optional<ustring> to_maybe_ustring(const hyArray* value);

/// The one string element the value holds (empty when missing); throws
/// "InvalidScalarString".
KELVOR_MATRIX_EXPORT std::optional<ustring> to_string_element(const hyArray* value);

/// As to_string_element, with an empty outer optional where it would throw.
KELVOR_MATRIX_EXPORT std::optional<std::optional<ustring>> to_maybe_string_element(
    const hyArray* value);

/// Every string of the value, all present; throws "InvalidStringArray".
KELVOR_MATRIX_EXPORT UStringArray to_ustring_array(const hyArray* value);

/// As to_ustring_array, or an empty optional where it would throw.
KELVOR_MATRIX_EXPORT std::optional<UStringArray> to_maybe_ustring_array(const hyArray* value);

/// Every string element of the value; throws "InvalidStringElementArray".
KELVOR_MATRIX_EXPORT StringElementArray to_string_element_array(const hyArray* value);

/// As to_string_element_array, or an empty optional where it would throw.
KELVOR_MATRIX_EXPORT std::optional<StringElementArray> to_maybe_string_element_array(
    const hyArray* value);

}  // namespace klf
