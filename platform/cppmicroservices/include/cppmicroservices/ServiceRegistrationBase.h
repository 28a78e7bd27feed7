// ServiceRegistrationBase: the registering code's handle on one registration.
//
// Unregister() removes the service from the registry exactly once: the
// registry drops its share of the service object (callers of GetService keep
// theirs), references to it convert to false, and a second Unregister()
// throws std::logic_error("Service is unregistered").
#ifndef CPPMICROSERVICES_SERVICEREGISTRATIONBASE_H
#define CPPMICROSERVICES_SERVICEREGISTRATIONBASE_H

#include "cppmicroservices/FrameworkExport.h"
#include "cppmicroservices/ServiceReferenceBase.h"

#include <cstddef>
#include <memory>
#include <string>

namespace cppmicroservices {

class US_Framework_EXPORT ServiceRegistrationBase {
public:
    ServiceRegistrationBase();
    ServiceRegistrationBase(ServiceRegistrationBase const&) = default;
    ServiceRegistrationBase(ServiceRegistrationBase&&) noexcept = default;
    ServiceRegistrationBase& operator=(ServiceRegistrationBase const&) = default;
    ServiceRegistrationBase& operator=(ServiceRegistrationBase&&) noexcept = default;
    ~ServiceRegistrationBase();

    // False only for a default-constructed (or reset) registration; stays
    // true after Unregister().
    explicit operator bool() const;

    ServiceRegistrationBase& operator=(std::nullptr_t);

    // Throws std::logic_error: "ServiceRegistrationBase object invalid" when
    // default-constructed, "Service is unregistered" the second time.
    void Unregister();

    bool operator<(ServiceRegistrationBase const& o) const;
    bool operator==(ServiceRegistrationBase const& o) const;
    bool operator!=(ServiceRegistrationBase const& o) const { return !(*this == o); }

protected:
    // A reference under `interfaceId` (the first interface when empty); throws
    // std::logic_error like Unregister() when invalid or unregistered.
    ServiceReferenceBase GetReference(std::string const& interfaceId = std::string()) const;

private:
    friend class BundleContext;

    explicit ServiceRegistrationBase(std::shared_ptr<detail::ServiceRecord> record);

    std::shared_ptr<detail::ServiceRecord> record_;
};

}  // namespace cppmicroservices

#endif  // CPPMICROSERVICES_SERVICEREGISTRATIONBASE_H
