// ServiceReference<S>: a reference to a service registered under the
// interface S (ServiceReferenceU = ServiceReference<void> for any interface).
//
// Converting a reference of another interface keeps it only when its service
// was also registered under S; otherwise the result is invalid.
#ifndef CPPMICROSERVICES_SERVICEREFERENCE_H
#define CPPMICROSERVICES_SERVICEREFERENCE_H

#include "cppmicroservices/ServiceInterface.h"
#include "cppmicroservices/ServiceReferenceBase.h"

#include <type_traits>

namespace cppmicroservices {

template <class S>
class ServiceReference : public ServiceReferenceBase {
public:
    using ServiceType = S;

    ServiceReference() = default;

    ServiceReference(ServiceReferenceBase const& base) : ServiceReferenceBase(base) {
        if constexpr (!std::is_void_v<S>) {
            std::string const& interfaceId = us_service_interface_iid<S>();
            if (GetInterfaceId() != interfaceId) {
                if (IsConvertibleTo(interfaceId)) {
                    SetInterfaceId(interfaceId);
                } else {
                    this->ServiceReferenceBase::operator=(nullptr);
                }
            }
        }
    }

    using ServiceReferenceBase::operator=;
};

using ServiceReferenceU = ServiceReference<void>;

}  // namespace cppmicroservices

#endif  // CPPMICROSERVICES_SERVICEREFERENCE_H
