// Checks an extension runs on its inputs before it reads them.
//
// An extension of the host receives a count of inputs, the inputs as host
// arrays and a count of outputs to produce. These checks reject a wrong count,
// a non-scalar value or a value of the wrong class with a catalogued error and
// change nothing:
//
//     klf::check_num_inputs(1, 2, nrhs);        // InsufficientInputs / ExcessiveInputs
//     klf::check_hyarray_is_scalar(prhs[1]);    // ScalarValueExpected
//     klf::require_class({klf::TxId("pkg"), klf::TxId("Model")}, prhs[0]);  // UnexpectedClass
#pragma once

#include <boost/variant.hpp>

#include <hyarray/hyarray.hpp>
#include <kelvor/common/foundation/matrix/export.hpp>
#include <kelvor/core/table_string.hpp>

namespace klf {

/// A count given either as a signed int (as hosts pass argument counts) or
/// as a size. Negative ints are rejected by Boost's negative_overflow.
using Count = boost::variant<int, unsigned long>;

/// Throws "InsufficientInputs" when given < least, else "ExcessiveInputs" when
/// given > most. Counts are converted to size_t first, in the order least,
/// most, given.
KELVOR_MATRIX_EXPORT void check_num_arguments(const Count& least, const Count& most,
                                              const Count& given);

/// check_num_arguments with int counts.
KELVOR_MATRIX_EXPORT void check_num_inputs(int least, int most, int given);

/// As check_num_arguments, with "InsufficientOutputs" / "ExcessiveOutputs".
KELVOR_MATRIX_EXPORT void check_num_outputs(const Count& least, const Count& most,
                                            const Count& given);

/// Throws "ScalarValueExpected" unless the value has exactly one element.
KELVOR_MATRIX_EXPORT void check_hyarray_is_scalar(const hyArray* value);

/// Throws "UnexpectedClass" (dotted class name, actual class name) unless the
/// value is of class `cls` or of a class derived from it.
KELVOR_MATRIX_EXPORT void require_class(const klf::BasicTxIdPath<1>& cls, const hyArray* value);

}  // namespace klf
