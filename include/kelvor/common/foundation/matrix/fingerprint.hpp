// Fingerprint of host values.
//
// incorporate_data() walks any host value once and hands a deterministic byte
// stream, piece by piece, to a consumer that folds it into a hash of the
// caller's choice. The stream is a format, not an implementation detail: every
// item (a class ID, a flag byte, a dimension, one element or one half of a
// floating element) is exactly one consumer call, integers are big-endian, and
// floating values are canonical, so two processes (or two implementations)
// agree call for call on the same value. It depends on the value only: not on
// memory placement, the creation order of struct fields, the sign of zero,
// NaN payloads, or the file that defines a function handle.
//
//     std::function<void(const char*, std::size_t)> feed =
//         [&](const char* p, std::size_t n) { sha.update(p, n); };
//     incorporate_data(feed, value);
//
// Opaque and object values are fed by a registered
// klf::IncorporateExoticDataService (services.hpp); without one, by the bytes
// of their class name. Reference paths use the same conventions
// (klf::hy::incorporate_data in references.hpp).
#pragma once

#include <cstddef>
#include <functional>

#include <hyarray/hyarray.hpp>
#include <kelvor/common/foundation/matrix/export.hpp>

/// Feeds the stream of `a` to `feed`; a null `a` (an unset cell element or
/// field) feeds as a 0×0 real double. An empty `feed` raises
/// std::bad_function_call at the first item; exceptions of `feed` or of an
/// exotic service pass unchanged and leave the stream incomplete. Classes
/// without a stream (0, 5, unknown IDs, sparse arrays other than logical,
/// double and single) raise the host's rejection.
KELVOR_MATRIX_EXPORT void incorporate_data(std::function<void(const char*, std::size_t)>& feed,
                                           const hyArray* a);
