// BundleContext: a running framework's service registry, as seen by the code
// that registers and looks up services.
//
// A context is obtained from a started Framework; a default-constructed one is
// invalid, and every context of a framework becomes invalid when it stops.
// Every method of an invalid context throws
// std::runtime_error("The bundle context is no longer valid").
//
//     auto reg = context.RegisterService<Clock>(std::make_shared<SystemClock>());
//     if (auto ref = context.GetServiceReference<Clock>()) {
//         std::shared_ptr<Clock> clock = context.GetService(ref);
//     }
//     reg.Unregister();
//
// Among the services of one interface the best has the highest
// Constants::SERVICE_RANKING, then the lowest Constants::SERVICE_ID. All
// methods may be called from any thread at the same time.
#ifndef CPPMICROSERVICES_BUNDLECONTEXT_H
#define CPPMICROSERVICES_BUNDLECONTEXT_H

#include "cppmicroservices/FrameworkExport.h"
#include "cppmicroservices/ServiceException.h"
#include "cppmicroservices/ServiceInterface.h"
#include "cppmicroservices/ServiceProperties.h"
#include "cppmicroservices/ServiceReference.h"
#include "cppmicroservices/ServiceRegistration.h"

#include <memory>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace cppmicroservices {

namespace detail {
class ContextState;
// One (interface id, service object) pair per registered interface.
using ServiceObjects = std::vector<std::pair<std::string, std::shared_ptr<void>>>;
}  // namespace detail

class US_Framework_EXPORT BundleContext {
public:
    // An invalid context.
    BundleContext();

    BundleContext(BundleContext const&) = default;
    BundleContext(BundleContext&&) noexcept = default;
    BundleContext& operator=(BundleContext const&) = default;
    BundleContext& operator=(BundleContext&&) noexcept = default;
    ~BundleContext();

    bool operator==(BundleContext const& rhs) const { return d_ == rhs.d_; }
    bool operator!=(BundleContext const& rhs) const { return d_ != rhs.d_; }

    // True while the framework the context came from runs.
    explicit operator bool() const;

    // Registers `impl` under the interface ids of I1 and Interfaces...
    // Throws std::invalid_argument for a null `impl`, an interface whose id is
    // empty, or a Constants::SERVICE_RANKING that is not an int.
    template <class I1, class... Interfaces, class Impl>
    ServiceRegistration<I1, Interfaces...> RegisterService(
        std::shared_ptr<Impl> const& impl,
        ServiceProperties const& properties = ServiceProperties()) {
        static_assert(
            std::is_convertible_v<Impl*, I1*> && (std::is_convertible_v<Impl*, Interfaces*> && ...),
            "the service object does not implement every registered interface");
        detail::ServiceObjects objects{
            {us_service_interface_iid<I1>(), std::static_pointer_cast<I1>(impl)},
            {us_service_interface_iid<Interfaces>(),
             std::static_pointer_cast<Interfaces>(impl)}...};
        return ServiceRegistration<I1, Interfaces...>(
            RegisterServiceObjects(std::move(objects), properties));
    }

    // The best service registered under S; an invalid reference when there is
    // none. Throws ServiceException when S has an empty interface id.
    template <class S>
    ServiceReference<S> GetServiceReference() {
        std::string const& clazz = us_service_interface_iid<S>();
        if (clazz.empty()) {
            ThrowNoInterfaceId();
        }
        return ServiceReference<S>(GetServiceReference(clazz));
    }

    // The best service registered under the interface id `clazz`.
    ServiceReferenceU GetServiceReference(std::string const& clazz);

    // All services registered under S, best first. Only an empty `filter` is
    // supported; any other throws std::invalid_argument("filters not supported").
    template <class S>
    std::vector<ServiceReference<S>> GetServiceReferences(
        std::string const& filter = std::string()) {
        std::string const& clazz = us_service_interface_iid<S>();
        if (clazz.empty()) {
            ThrowNoInterfaceId();
        }
        std::vector<ServiceReferenceU> refs = GetServiceReferences(clazz, filter);
        return std::vector<ServiceReference<S>>(refs.begin(), refs.end());
    }

    // All services registered under `clazz` (every service when empty), best
    // first; `filter` as above.
    std::vector<ServiceReferenceU> GetServiceReferences(std::string const& clazz,
                                                        std::string const& filter = std::string());

    // The service object of `reference`, shared with the registry: it stays
    // alive while the returned pointer holds it, also after Unregister().
    // Throws std::invalid_argument for an invalid or unregistered reference.
    template <class S>
    std::shared_ptr<S> GetService(ServiceReference<S> const& reference) {
        static_assert(!std::is_void_v<S>, "GetService needs a typed ServiceReference<S>");
        return std::static_pointer_cast<S>(GetServiceObject(reference));
    }

private:
    friend class Framework;

    explicit BundleContext(std::shared_ptr<detail::ContextState> d);

    [[noreturn]] static void ThrowNoInterfaceId();
    ServiceRegistrationBase RegisterServiceObjects(detail::ServiceObjects objects,
                                                   ServiceProperties const& properties);
    std::shared_ptr<void> GetServiceObject(ServiceReferenceBase const& reference);

    std::shared_ptr<detail::ContextState> d_;
};

}  // namespace cppmicroservices

#endif  // CPPMICROSERVICES_BUNDLECONTEXT_H
