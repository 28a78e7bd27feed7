// ServiceRegistration<I1, Interfaces...>: the typed registration returned by
// BundleContext::RegisterService, for a service registered under the
// interfaces I1, Interfaces... (ServiceRegistrationU for an untyped one).
#ifndef CPPMICROSERVICES_SERVICEREGISTRATION_H
#define CPPMICROSERVICES_SERVICEREGISTRATION_H

#include "cppmicroservices/ServiceInterface.h"
#include "cppmicroservices/ServiceReference.h"
#include "cppmicroservices/ServiceRegistrationBase.h"

#include <type_traits>

namespace cppmicroservices {

template <class I1, class... Interfaces>
class ServiceRegistration : public ServiceRegistrationBase {
public:
    ServiceRegistration() = default;

    // A reference to the service under I1.
    ServiceReference<I1> GetReference() const {
        return ServiceRegistrationBase::GetReference(us_service_interface_iid<I1>());
    }

    // A reference to the service under Interface, one of I1, Interfaces...
    template <class Interface>
    ServiceReference<Interface> GetReference() const {
        static_assert(
            std::is_same_v<Interface, I1> || (std::is_same_v<Interface, Interfaces> || ...),
            "Interface is not one of the registered interfaces");
        return ServiceRegistrationBase::GetReference(us_service_interface_iid<Interface>());
    }

    using ServiceRegistrationBase::operator=;

private:
    friend class BundleContext;

    ServiceRegistration(ServiceRegistrationBase const& base) : ServiceRegistrationBase(base) {}
};

using ServiceRegistrationU = ServiceRegistration<void>;

}  // namespace cppmicroservices

#endif  // CPPMICROSERVICES_SERVICEREGISTRATION_H
