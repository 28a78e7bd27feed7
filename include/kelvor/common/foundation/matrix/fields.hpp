// Struct fields: guarded access to the fields of host struct arrays, and
// tables of named field values.
//
// A struct array has number_of_elements elements and an ordered list of field
// names numbered from 0; element `index` (column-major) and field number
// `field` name one slot, which holds an array owned by the struct or nothing.
// Reads hand out borrowed handles (valid while the struct lives and the slot
// is not replaced); writes hand the value over to the struct. Field numbers
// are size_t here and a signed int in the host; every conversion between the
// two is range-checked (Boost numeric_cast overflow exceptions).
//
// A bad element index or field number given by number is a broken
// precondition of the caller and raises std::domain_error; a missing name is
// not an error for the lookups (null, or the all-ones number).
//
// get_field_values reads the same named fields of every element at once,
// one row per element, one column per name:
//
//     auto rows = klf::get_field_values(stack, {"file", "name", "line"});
//     const hyArray* name_of_frame_2 = rows[2][1].get();
#pragma once

#include <cstddef>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include <hyarray/hyarray.hpp>
#include <kelvor/common/foundation/matrix/export.hpp>

namespace klf {

/// Borrowed value of field `name` of element `index`; null when there is no
/// such field, `index` is out of range or the slot is empty.
KELVOR_MATRIX_EXPORT const hyArray* get_field(const hyArray* s, std::size_t index,
                                              const char* name);

/// Number of field `name`, or static_cast<size_t>(-1) when there is none.
KELVOR_MATRIX_EXPORT std::size_t get_field_number(const hyArray* s, const char* name);

/// Borrowed value of the slot (null when empty). std::domain_error for an
/// index or field number out of range.
KELVOR_MATRIX_EXPORT const hyArray* get_field_by_number(const hyArray* s, std::size_t index,
                                                        std::size_t field);

/// Adds field `name` when missing (before the index is checked, so a bad
/// index leaves the new empty field behind), then as set_field_by_number.
KELVOR_MATRIX_EXPORT void set_field(hyArray* s, std::size_t index, const char* name,
                                    matrix::unique_hyarray_ptr&& value);

/// Replaces the slot's value: the old one is destroyed, the struct takes
/// `value` and `value` is left null. std::domain_error for an index or field
/// number out of range (and `value` is kept).
KELVOR_MATRIX_EXPORT void set_field_by_number(hyArray* s, std::size_t index, std::size_t field,
                                              matrix::unique_hyarray_ptr&& value);

/// Number of fields of the struct.
KELVOR_MATRIX_EXPORT std::size_t get_num_fields(const hyArray* s);

/// A new m x n struct with `nfields` fields named by the zero-terminated
/// `names`, every slot empty. The caller owns the result (wrap it at once).
KELVOR_MATRIX_EXPORT hyArray* create_hyarray_struct(std::size_t m, std::size_t n,
                                                    std::size_t nfields, const char* const* names);

/// Table of field values: [element][position of the name in the request].
using FieldValues = std::vector<std::vector<matrix::unique_hyarray_ptr>>;

/// As FieldValues; an entry is empty exactly when its name is not a field.
using FieldMaybeValues = std::vector<std::vector<std::optional<matrix::unique_hyarray_ptr>>>;

/// Raised by get_field_values for a name that is not a field of the struct.
class KELVOR_MATRIX_EXPORT GetFieldValuesFieldNotFound : public std::domain_error {
public:
    /// what(): "get_field_values: cannot resolve field named '<name>'."
    explicit GetFieldValuesFieldNotFound(std::string name);
    ~GetFieldValuesFieldNotFound() override;

    /// The name that could not be resolved.
    const std::string& name() const noexcept { return name_; }

private:
    std::string name_;
};

/// Shared copies of the named fields of every element. Every name is
/// resolved before any value is read: the first name (in request order) that
/// is not a field raises GetFieldValuesFieldNotFound, even for an empty struct.
KELVOR_MATRIX_EXPORT FieldValues get_field_values(const hyArray* s,
                                                  const std::vector<std::string>& names);

/// As get_field_values, with an empty entry for each name that is not a field.
KELVOR_MATRIX_EXPORT FieldMaybeValues get_field_maybe_values(const hyArray* s,
                                                             const std::vector<std::string>& names);

}  // namespace klf
