// The missing value: one agreed host value meaning "there is no value".
//
// What counts as missing is decided by the registered klf::MissingService; with
// none registered, a built-in default makes a 1x1 double NaN and recognises
// real, full double arrays whose elements are all NaN (empty ones included).
//
//     auto slot = klf::make_missing();          // e.g. for an absent optional value
//     if (klf::is_missing(prhs[0])) { ... }
#pragma once

#include <hyarray/hyarray.hpp>
#include <kelvor/common/foundation/matrix/export.hpp>

namespace klf {

/// A new array standing for a missing value, from the current service.
KELVOR_MATRIX_EXPORT matrix::unique_hyarray_ptr make_missing();

/// Whether `a` is a missing value, by the current service.
KELVOR_MATRIX_EXPORT bool is_missing(const hyArray* a);

/// A new 1x1 real double array holding NaN.
KELVOR_MATRIX_EXPORT matrix::unique_hyarray_ptr make_nan();

}  // namespace klf
