// Numbers of any host class: which arrays count as numbers, and converted copies.
//
// An array is *semi-numeric* when its (class, complexity) pair is one of 22:
// the ten numeric classes (double, single, int8 ... uint64) real or complex,
// plus real logical and real char, whose elements the host stores as small
// integers. Everything here works on that set:
//
//   is_semi_numeric / complexity / is_all_real    questions, never throw on a class
//   require_semi_numeric / require_all_real       the same as catalogued errors
//   create_numeric                                a zero-filled array of a pair
//   convert_numeric                               a new array of a pair holding
//                                                 the source's elements converted
//
// Conversion to an integer class (logical and char included) rounds halves
// away from zero, saturates at the target's limits and turns NaN into 0;
// conversion to double or single is the ordinary nearest conversion. A real
// target accepts a complex source only when every imaginary part is zero.
//
//     auto n = klf::convert_numeric(prhs[0], hyINT32_CLASS, hyREAL);  // 2.5 -> 3, NaN -> 0
//     const std::int32_t* v = matrix::data_as<std::int32_t>(n.get());
#pragma once

#include <string>

#include <hyarray/hyarray.hpp>
#include <kelvor/common/foundation/matrix/export.hpp>
#include <kelvor/core/array_size.hpp>

namespace klf {

/// Whether (cls, complexity) is one of the 22 semi-numeric pairs. Any
/// complexity other than hyCOMPLEX counts as real; IDs outside the class
/// table are false. No allocation, no lock.
KELVOR_MATRIX_EXPORT bool is_semi_numeric(hyClassID cls, hyComplexity complexity) noexcept;

/// is_semi_numeric of the array's class and complexity; sparsity plays no part.
KELVOR_MATRIX_EXPORT bool is_semi_numeric(const hyArray* a);

/// hyCOMPLEX for a complex array, hyREAL otherwise.
KELVOR_MATRIX_EXPORT hyComplexity complexity(const hyArray* a);

/// hyCOMPLEX for true, hyREAL for false.
KELVOR_MATRIX_EXPORT hyComplexity complexity(bool is_complex) noexcept;

/// False for arrays that are not semi-numeric; true for real ones (their data
/// is not read); for complex ones, whether every imaginary part == 0 (-0.0
/// counts as zero, NaN does not). A sparse array raises the host's
/// typed-access rejection.
KELVOR_MATRIX_EXPORT bool is_all_real(const hyArray* a);

/// The host's name of a class that is semi-numeric as real. Asked of the host
/// once per class; the reference stays valid until the process exits.
KELVOR_MATRIX_EXPORT const std::string& semi_numeric_class_name(hyClassID cls);

/// Throws unless `a` is semi-numeric: "LogicalValueExpected" (a's class name)
/// when `toClass` is logical, otherwise "NumericValueExpected" (toClass's
/// name, a's class name). `toClass` must be semi-numeric as real (asserted);
/// it does not narrow what is accepted.
KELVOR_MATRIX_EXPORT void require_semi_numeric(const hyArray* a, const hyClassID toClass);

/// Throws "RealValueExpected" unless is_all_real(a).
KELVOR_MATRIX_EXPORT void require_all_real(const hyArray* a);

/// A new zero-filled array of the given size and semi-numeric pair (asserted).
KELVOR_MATRIX_EXPORT matrix::unique_hyarray_ptr create_numeric(const ArraySize& size,
                                                               const hyClassID cls,
                                                               const hyComplexity complexity);

/// A new array of class `cls` and `complexity` with the dimensions of `source`
/// and its elements converted, in storage order. Always a new array, even when
/// the source already has that class. Checks, in order: the source is
/// semi-numeric (as require_semi_numeric), and for a real target, all real (as
/// require_all_real). Nothing is left behind when a check fails.
///
/// (cls, complexity) must be semi-numeric: this is asserted, and when the
/// foundation's diagnostics are switched off the call throws std::logic_error
/// instead of going on, since there is no conversion to perform.
KELVOR_MATRIX_EXPORT matrix::unique_hyarray_ptr convert_numeric(const hyArray* source,
                                                                const hyClassID cls,
                                                                const hyComplexity complexity);

}  // namespace klf
