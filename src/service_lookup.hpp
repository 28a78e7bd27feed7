// Finding the services of the matrix layer in the family's registry.
// Internal to the library.
#pragma once

#include <memory>
#include <string>

#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/ServiceException.h>
#include <cppmicroservices/ServiceInterface.h>
#include <cppmicroservices/ServiceReference.h>
#include <kelvor/common/foundation/matrix/services.hpp>
#include <kelvor/core/bundle.hpp>

namespace klf::detail {

/// The registry name of interface T, computed once per process.
template <class T>
const std::string& interface_id() {
    static const std::string id = us_service_interface_iid<T>();
    return id;
}

/// The best registered implementation of T, or an empty handle when the
/// registry is unavailable or holds none. Registry errors pass unchanged.
template <class T>
std::shared_ptr<T> get_service() {
    klf::install_and_start_kelvor_core();
    cppmicroservices::BundleContext context = klf::get_global_bundle_context();
    if (!context) {
        return {};
    }
    if (interface_id<T>().empty()) {
        throw cppmicroservices::ServiceException(
            "The service interface class has no CPPMICROSERVICES_DECLARE_SERVICE_INTERFACE macro");
    }
    cppmicroservices::ServiceReference<T> reference = context.template GetServiceReference<T>();
    if (!reference) {
        return {};
    }
    return context.template GetService<T>(reference);
}

/// The registered implementation of Interface or, when there is none, the
/// process-wide instance of Default. The default is made on first need in one
/// allocation (object and counts together) and never destroyed, so it outlives
/// every other static that might still use it at exit.
template <class Interface, class Default>
std::shared_ptr<Interface> service_or_default() {
    if (std::shared_ptr<Interface> registered = get_service<Interface>()) {
        return registered;
    }
    static const std::shared_ptr<Default>* const fallback =
        new std::shared_ptr<Default>(std::make_shared<Default>());
    return *fallback;
}

/// The registered missing-value service, or the built-in default.
std::shared_ptr<MissingService> missing_service();

/// The registered fingerprint service for exotic values, or the built-in default.
std::shared_ptr<IncorporateExoticDataService> exotic_data_service();

/// The registered string extraction service, or an empty handle (no default).
std::shared_ptr<StringExtractionService> string_extraction_service();

/// The object-shape service, kept for the process after the first lookup
/// that finds one. Throws NoObjectShapeService while none is registered.
ObjectShapeService& object_shape_service();

}  // namespace klf::detail
