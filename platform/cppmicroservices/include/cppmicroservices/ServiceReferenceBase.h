// ServiceReferenceBase: a handle on one registered service, seen through one
// of its interface ids.
//
// A reference stays usable after its service is unregistered, but then
// converts to false and BundleContext::GetService refuses it. Its properties
// remain readable. References order as services compete: a < b when a has the
// lower ranking, or the same ranking and the higher id, so the best service is
// the greatest.
#ifndef CPPMICROSERVICES_SERVICEREFERENCEBASE_H
#define CPPMICROSERVICES_SERVICEREFERENCEBASE_H

#include "cppmicroservices/Any.h"
#include "cppmicroservices/FrameworkExport.h"

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace cppmicroservices {

namespace detail {
class ServiceRecord;
}

class US_Framework_EXPORT ServiceReferenceBase {
public:
    ServiceReferenceBase(ServiceReferenceBase const&) = default;
    ServiceReferenceBase(ServiceReferenceBase&&) noexcept = default;
    ServiceReferenceBase& operator=(ServiceReferenceBase const&) = default;
    ServiceReferenceBase& operator=(ServiceReferenceBase&&) noexcept = default;
    ~ServiceReferenceBase();

    // False for a default-constructed reference and once the service is
    // unregistered.
    explicit operator bool() const;

    // Resets this reference to the invalid state.
    ServiceReferenceBase& operator=(std::nullptr_t);

    // The property `key` of the service; empty when absent or invalid.
    Any GetProperty(std::string const& key) const;
    void GetPropertyKeys(std::vector<std::string>& keys) const;
    std::vector<std::string> GetPropertyKeys() const;

    // The interface id this reference was obtained for.
    std::string GetInterfaceId() const;

    // Whether the service was registered under `interfaceId`.
    bool IsConvertibleTo(std::string const& interfaceId) const;

    bool operator<(ServiceReferenceBase const& reference) const;
    bool operator==(ServiceReferenceBase const& reference) const;
    bool operator!=(ServiceReferenceBase const& reference) const { return !(*this == reference); }

protected:
    ServiceReferenceBase();
    void SetInterfaceId(std::string const& interfaceId);

private:
    friend class BundleContext;
    friend class ServiceRegistrationBase;
    friend struct std::hash<ServiceReferenceBase>;

    ServiceReferenceBase(std::shared_ptr<detail::ServiceRecord> record, std::string interfaceId);
    std::size_t Hash() const;

    std::shared_ptr<detail::ServiceRecord> record_;
    std::string interfaceId_;
};

}  // namespace cppmicroservices

template <>
struct std::hash<cppmicroservices::ServiceReferenceBase> {
    std::size_t operator()(cppmicroservices::ServiceReferenceBase const& ref) const {
        return ref.Hash();
    }
};

#endif  // CPPMICROSERVICES_SERVICEREFERENCEBASE_H
