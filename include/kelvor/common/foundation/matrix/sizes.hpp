// Sizes: what callers expect of a value's shape, and sizes read from or
// written to host arrays.
//
// A caller describes an expected size either as "a scalar, in whatever form"
// (ScalarSize) or as exactly these dimensions (klf::ArraySize); SizeVariant
// holds either. The host passes sizes to extensions as numeric vectors such as
// [2 3] and dimension numbers as positive scalars; to_array_size(const hyArray*)
// and hyarray_to_dim read them with strict, ordered checks.
//
//     klf::ArraySize s = klf::to_array_size(prhs[0]);   // [2 3] -> 2x3
//     std::size_t d = klf::hyarray_to_dim(prhs[1]);     // 2 -> 1 (zero-based)
#pragma once

#include <cstddef>
#include <iosfwd>
#include <variant>

#include <hyarray/hyarray.hpp>
#include <kelvor/common/foundation/matrix/export.hpp>
#include <kelvor/core/array_size.hpp>
#include <kelvor/core/ustring.hpp>

namespace klf {

/// The size of a scalar. All values are equal.
struct ScalarSize {
    friend constexpr bool operator==(ScalarSize, ScalarSize) noexcept { return true; }
};

/// Either "a scalar" or exact dimensions.
using SizeVariant = std::variant<ScalarSize, ArraySize>;

/// The process-wide text "<scalar>".
KELVOR_MATRIX_EXPORT const ustring& to_ustring(const ScalarSize&);

/// Writes "<scalar>" (narrowed to 8 bits; the stream's width and fill apply).
KELVOR_MATRIX_EXPORT std::ostream& operator<<(std::ostream& os, const ScalarSize&);

/// "<scalar>" or the core library's user text of the dimensions.
KELVOR_MATRIX_EXPORT ustring to_ustring(const SizeVariant& size);

/// Writes to_ustring(size) narrowed to 8 bits (low byte of every code unit).
KELVOR_MATRIX_EXPORT std::ostream& operator<<(std::ostream& os, const SizeVariant& size);

/// Whether the variant holds ScalarSize (an ArraySize {1, 1} is not scalar).
KELVOR_MATRIX_EXPORT bool is_scalar(const SizeVariant& size);

/// 1 for ScalarSize, the product of the dimensions otherwise.
KELVOR_MATRIX_EXPORT std::size_t num_elements(const SizeVariant& size);

/// {1, 1} for ScalarSize, the held size otherwise.
KELVOR_MATRIX_EXPORT ArraySize to_array_size(const SizeVariant& size);

/// Reads a host size vector: a real, full, numeric row or column (1x1
/// included) of non-negative whole numbers.
KELVOR_MATRIX_EXPORT ArraySize to_array_size(const hyArray* value);

/// The size as a 1xn real double row.
KELVOR_MATRIX_EXPORT matrix::unique_hyarray_ptr to_hyarray(const ArraySize& size);

/// Reads a host dimension number (a real scalar, integer from 1 to 2^48)
/// and returns it zero-based. Every rejection is TARVEX:getdimarg's
/// "dimensionMustBePositiveInteger".
KELVOR_MATRIX_EXPORT std::size_t hyarray_to_dim(const hyArray* value);

}  // namespace klf
