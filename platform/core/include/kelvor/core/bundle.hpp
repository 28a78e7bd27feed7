// The family's process-wide service registry.
//
// One CppMicroServices framework per process, made and started on first use
// from any thread. Its context stays valid until the process ends: the
// framework is deliberately never stopped, so that services can still be
// looked up while other statics are being destroyed.
//
//     klf::install_and_start_kelvor_core();
//     auto ref = klf::get_global_bundle_context().GetServiceReference<klf::MissingService>();
#pragma once

#include <cppmicroservices/BundleContext.h>

namespace klf {

/// Makes sure the core framework is created and started (idempotent, thread-safe).
void install_and_start_kelvor_core();

/// The context of the process-wide framework; starts it when needed.
cppmicroservices::BundleContext get_global_bundle_context();

}  // namespace klf
