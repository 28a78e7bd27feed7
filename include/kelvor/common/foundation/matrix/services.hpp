// Extension points of the matrix layer.
//
// Four behaviours can be supplied by other libraries of the family through
// services registered in the process-wide CppMicroServices registry, under the
// readable name of the interface (e.g. "klf::MissingService"):
//
//   MissingService               what a missing value is (default: NaN doubles)
//   ObjectShapeService           size and reshape of objects with their own methods
//   StringExtractionService      text from values that are not character arrays
//   IncorporateExoticDataService fingerprint bytes of opaque and object values
//
// The library looks a service up at the moment it needs it, so registering or
// withdrawing one takes effect at the next call (the object-shape service is
// the exception: it is kept once found). Register an implementation with
//
//     klf::get_global_bundle_context().RegisterService<klf::MissingService>(
//         std::make_shared<MyMissingService>());
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>

#include <hyarray/hyarray.hpp>
#include <kelvor/common/foundation/matrix/export.hpp>
#include <kelvor/core/array_size.hpp>
#include <kelvor/core/ustring.hpp>

namespace klf {

/// Feeds the fingerprint stream of values whose contents the library cannot
/// read itself (opaque and object arrays).
class KELVOR_MATRIX_EXPORT IncorporateExoticDataService {
public:
    virtual ~IncorporateExoticDataService();
    virtual void incorporate_data(std::function<void(const char*, std::size_t)>& feed,
                                  const hyArray* a) = 0;
};

/// Makes and recognises the host value that stands for "no value".
class KELVOR_MATRIX_EXPORT MissingService {
public:
    virtual ~MissingService();
    virtual matrix::unique_hyarray_ptr make_missing() = 0;
    virtual bool is_missing(const hyArray* a) = 0;
};

/// Reads and changes the size of objects whose class defines "size" and "reshape".
class KELVOR_MATRIX_EXPORT ObjectShapeService {
public:
    virtual ~ObjectShapeService();
    virtual klf::ArraySize size(const hyArray* a) = 0;
    virtual matrix::unique_hyarray_ptr reshape(matrix::unique_hyarray_ptr a,
                                               const klf::ArraySize& size) = 0;
};

/// A value seen as an array of strings, each present or missing. Elements are
/// numbered in column-major order; `size()` gives the same shape every time.
class KELVOR_MATRIX_EXPORT ExtractedString {
public:
    virtual ~ExtractedString();
    virtual klf::ArraySize size() = 0;
    virtual std::optional<ustring> element(std::size_t i) = 0;
};

/// Presents non-character values as strings. `extract` returns null for a
/// value it does not represent; the result must outlive the service handle.
class KELVOR_MATRIX_EXPORT StringExtractionService {
public:
    virtual ~StringExtractionService();
    virtual std::unique_ptr<ExtractedString> extract(const hyArray* value) = 0;
};

/// Thrown when an object needs the object-shape service and none is registered.
class KELVOR_MATRIX_EXPORT NoObjectShapeService : public std::runtime_error {
public:
    NoObjectShapeService();
};

}  // namespace klf
