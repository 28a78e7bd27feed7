// Shape: the size of any host value, and reshaping it.
//
// A value's size is normally its dimension list, and reshaping changes that
// list in place without copying an element. A scalar object (or opaque value)
// whose class defines both "size" and "reshape" methods is different: its
// size is what the class says, so both operations go to the registered
// klf::ObjectShapeService (looked up on first need and then kept for the
// process; klf::NoObjectShapeService while none is registered). The choice is
// made anew for every call, on the value passed.
//
// Every reshaping function takes its array by value and returns the result,
// usually the same array; on failure the array is released.
//
//     a = klf::set_rows(std::move(a), 2);                  // 1x6 -> 2x3
//     a = klf::reshape(std::move(a), klf::ArraySize{3, 2}); // -> 3x2, same array
//     a = klf::to_row(std::move(a));                        // -> 1x6
#pragma once

#include <cstddef>
#include <optional>
#include <vector>

#include <hyarray/hyarray.hpp>
#include <kelvor/common/foundation/matrix/export.hpp>
#include <kelvor/common/foundation/matrix/sizes.hpp>
#include <kelvor/core/array_size.hpp>

namespace klf {

/// The value's size: its dimensions, or the object-shape service's answer.
KELVOR_MATRIX_EXPORT ArraySize size(const hyArray* a);

/// `a` reshaped to `size`. A different element count raises
/// "InconsistentSizesForReshape" (current size, count, requested size, count).
KELVOR_MATRIX_EXPORT matrix::unique_hyarray_ptr reshape(matrix::unique_hyarray_ptr a,
                                                        const ArraySize& size);

/// `a` reshaped to the size of `other`.
KELVOR_MATRIX_EXPORT matrix::unique_hyarray_ptr reshape(matrix::unique_hyarray_ptr a,
                                                        const hyArray* other);

/// `a` reshaped to the held ArraySize, or for ScalarSize to 1x1; a 1x1 cell
/// then gives (a shared copy of) its only element instead of the cell.
KELVOR_MATRIX_EXPORT matrix::unique_hyarray_ptr reshape(matrix::unique_hyarray_ptr a,
                                                        const SizeVariant& size);

/// `a` reshaped to `dims`, at most one entry of which is empty: it is
/// computed from the element count (klf::compute_size and its errors).
KELVOR_MATRIX_EXPORT matrix::unique_hyarray_ptr reshape(
    matrix::unique_hyarray_ptr a, const std::vector<std::optional<std::size_t>>& dims);

/// `a` reshaped to rows x (elements / rows).
KELVOR_MATRIX_EXPORT matrix::unique_hyarray_ptr set_rows(matrix::unique_hyarray_ptr a,
                                                         std::size_t rows);

/// `a` reshaped to (elements / cols) x cols.
KELVOR_MATRIX_EXPORT matrix::unique_hyarray_ptr set_cols(matrix::unique_hyarray_ptr a,
                                                         std::size_t cols);

/// The host's transpose of a two-dimensional array: a new array; `a` is released.
KELVOR_MATRIX_EXPORT matrix::unique_hyarray_ptr transpose(matrix::unique_hyarray_ptr a);

/// `a` reshaped to 1 x n.
KELVOR_MATRIX_EXPORT matrix::unique_hyarray_ptr to_row(matrix::unique_hyarray_ptr a);

/// `a` reshaped to n x 1.
KELVOR_MATRIX_EXPORT matrix::unique_hyarray_ptr to_column(matrix::unique_hyarray_ptr a);

}  // namespace klf
