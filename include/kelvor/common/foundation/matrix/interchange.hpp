// Interchange between host arrays and the family's plain value types: the core
// library's vector records, call stacks and file paths.
//
// Each conversion comes as a pair, one direction each way, so that a value can
// make the round trip host -> family -> host unchanged:
//
//  - vector records: to_hyarray(const Kl…Tag*) makes an n×1 column (an m×n
//    sparse logical array for a sparsity pattern); from_hyarray<Kl…Tag>(a)
//    makes a record whose storage comes from calloc and belongs to the caller,
//    who releases the record and each of its arrays with free;
//  - stacks: hyarray_to_stack reads a struct array with the fields "file",
//    "name" and "line" (lines counted from 1) into frames (lines counted from
//    0); stack_to_hyarray writes frames into a new n×1 struct of that form;
//  - paths: to_upath reads a host text into a path; fl::filesystem::to_hyarray
//    writes a path's text into a new host character array.
//
//     KlRealVectorTag* r = klf::from_hyarray<KlRealVectorTag>(prhs[0]);
//     ... use r->n, r->x ...
//     free(r->x);
//     free(r);
//
// Sources of from_hyarray's vector forms: the record holds the dense real
// elements of a vector, so a sparse source (whose storage holds only its
// nonzeros) and a complex source (whose storage interleaves real and
// imaginary parts) are rejected with "InvalidParamType", the same key as a
// non-numeric source, rather than read as something they are not or stripped
// of their imaginary parts. That rejection comes after the shape check, so a
// sparse or complex matrix is reported as "InvalidParamDim" like any other
// matrix. Every failure frees what the call allocated: nothing is returned
// half-built.
#pragma once

#include <concepts>
#include <vector>

#include <fl/filesystem/path.hpp>
#include <hyarray/hyarray.hpp>
#include <kelvor/common/foundation/matrix/export.hpp>
#include <kelvor/core/stack_frame.hpp>
#include <kelvor/core/vector_records.hpp>

namespace klf {

// --- vector records -----------------------------------------------------------

/// The four plain records of the core library that have a host form.
template <class T>
concept CoreVectorRecord = std::same_as<T, KlRealVectorTag> || std::same_as<T, KlIntVectorTag> ||
    std::same_as<T, KlBoolVectorTag> || std::same_as<T, KlSparsityPatternTag>;

/// n×1 real double array holding the record's elements. "InvalidNullInput"
/// for a null record.
KELVOR_MATRIX_EXPORT matrix::unique_hyarray_ptr to_hyarray(const KlRealVectorTag* r);
/// n×1 real int32 array holding the record's elements.
KELVOR_MATRIX_EXPORT matrix::unique_hyarray_ptr to_hyarray(const KlIntVectorTag* r);
/// n×1 logical array holding the record's bytes as they are.
KELVOR_MATRIX_EXPORT matrix::unique_hyarray_ptr to_hyarray(const KlBoolVectorTag* r);
/// m×n sparse logical array, true at every position of the pattern. A
/// negative column start or row index raises Boost's negative_overflow.
KELVOR_MATRIX_EXPORT matrix::unique_hyarray_ptr to_hyarray(const KlSparsityPatternTag* p);

/// A new record of the array's contents, allocated with calloc (the record
/// and its arrays alike); the caller frees them.
///  - vector forms, checked in this order: "InvalidNullParam" for null;
///    "InvalidParamType" unless the array is numeric or logical;
///    "InvalidParamDim" unless it is a vector or empty; "InvalidParamType"
///    for a sparse or complex vector. The element count is taken modulo 2^32
///    and every element converted by the host's buffer conversion.
///  - sparsity pattern: "InvalidNullParam" for null; "InvalidParamType" unless
///    the array is sparse (of any class; its values are ignored). A column
///    start or row index of 2^31 or more raises Boost's positive_overflow.
template <CoreVectorRecord T>
KELVOR_MATRIX_EXPORT T* from_hyarray(const hyArray* a);

extern template KELVOR_MATRIX_EXPORT KlRealVectorTag* from_hyarray<KlRealVectorTag>(
    const hyArray* a);
extern template KELVOR_MATRIX_EXPORT KlIntVectorTag* from_hyarray<KlIntVectorTag>(const hyArray* a);
extern template KELVOR_MATRIX_EXPORT KlBoolVectorTag* from_hyarray<KlBoolVectorTag>(
    const hyArray* a);
extern template KELVOR_MATRIX_EXPORT KlSparsityPatternTag* from_hyarray<KlSparsityPatternTag>(
    const hyArray* a);

// --- stack frames -------------------------------------------------------------

/// One frame per element of the struct `s`, in linear element order. The
/// fields "file", "name" and "line" must all exist
/// (klf::GetFieldValuesFieldNotFound names the first that does not); per
/// element the file and name must be text (to_ustring's errors) and the line
/// a real semi-numeric scalar ("ScalarValueExpected", "NumericValueExpected",
/// "RealValueExpected"), rounded to an unsigned 64-bit number. The frame's
/// line is the host's minus 1 in unsigned arithmetic, so a host line of 0
/// reads as 2^64-1.
KELVOR_MATRIX_EXPORT std::vector<klf::StackFrame> hyarray_to_stack(const hyArray* s);

/// A new n×1 struct with exactly the fields "file", "name" and "line" (a 1×1
/// double holding the frame's line plus 1), one element per frame in order.
KELVOR_MATRIX_EXPORT matrix::unique_hyarray_ptr stack_to_hyarray(
    const std::vector<klf::StackFrame>& frames);

// --- paths --------------------------------------------------------------------

/// The path of a host text: empty text gives the empty path, any other text
/// its native form. Accepts exactly what to_ustring accepts and raises its
/// errors ("StringValueExpected" with the reason as cause) unchanged.
KELVOR_MATRIX_EXPORT fl::filesystem::upath to_upath(const hyArray* value);
/// As above, for an owned array; the caller keeps it.
KELVOR_MATRIX_EXPORT fl::filesystem::upath to_upath(const matrix::unique_hyarray_ptr& value);

}  // namespace klf

namespace fl::filesystem {

/// A new host character array holding the path's stored text.
KELVOR_MATRIX_EXPORT matrix::unique_hyarray_ptr to_hyarray(const upath& path);

}  // namespace fl::filesystem
