// The foundation matrix layer of the kelvor family, all families at once.
//
// Values arrive from the host as borrowed `const hyArray*` handles and leave as
// owned `matrix::unique_hyarray_ptr`s. Each family has its own header below;
// include this one when an extension uses several of them:
//
//     klf::check_num_inputs(2, 2, nrhs);
//     const ustring name = klf::to_ustring(prhs[0]);
//     auto counts = klf::convert_numeric(prhs[1], hyINT32_CLASS, hyREAL);
#pragma once

#include <kelvor/common/foundation/matrix/cells.hpp>
#include <kelvor/common/foundation/matrix/checks.hpp>
#include <kelvor/common/foundation/matrix/fields.hpp>
#include <kelvor/common/foundation/matrix/fingerprint.hpp>
#include <kelvor/common/foundation/matrix/interchange.hpp>
#include <kelvor/common/foundation/matrix/messages.hpp>
#include <kelvor/common/foundation/matrix/missing.hpp>
#include <kelvor/common/foundation/matrix/numeric.hpp>
#include <kelvor/common/foundation/matrix/references.hpp>
#include <kelvor/common/foundation/matrix/services.hpp>
#include <kelvor/common/foundation/matrix/shape.hpp>
#include <kelvor/common/foundation/matrix/sizes.hpp>
#include <kelvor/common/foundation/matrix/strings.hpp>
