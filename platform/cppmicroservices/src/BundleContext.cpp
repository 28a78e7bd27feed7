// BundleContext: validity checks in front of the registry.
#include "cppmicroservices/BundleContext.h"

#include "Registry.h"

#include <stdexcept>
#include <utility>

namespace cppmicroservices {

namespace {

detail::ContextState& Checked(std::shared_ptr<detail::ContextState> const& d) {
    if (!d || !d->Valid()) {
        throw std::runtime_error(detail::kInvalidContext);
    }
    return *d;
}

void CheckFilter(std::string const& filter) {
    if (!filter.empty()) {
        throw std::invalid_argument("filters not supported");
    }
}

}  // namespace

BundleContext::BundleContext() = default;

BundleContext::BundleContext(std::shared_ptr<detail::ContextState> d) : d_(std::move(d)) {}

BundleContext::~BundleContext() = default;

BundleContext::operator bool() const {
    return d_ && d_->Valid();
}

void BundleContext::ThrowNoInterfaceId() {
    throw ServiceException(
        "The service interface class has no CPPMICROSERVICES_DECLARE_SERVICE_INTERFACE macro");
}

ServiceRegistrationBase BundleContext::RegisterServiceObjects(detail::ServiceObjects objects,
                                                              ServiceProperties const& properties) {
    return ServiceRegistrationBase(Checked(d_).Register(std::move(objects), properties));
}

ServiceReferenceU BundleContext::GetServiceReference(std::string const& clazz) {
    auto record = Checked(d_).Best(clazz);
    if (!record) {
        return ServiceReferenceU();
    }
    return ServiceReferenceBase(std::move(record), clazz);
}

std::vector<ServiceReferenceU> BundleContext::GetServiceReferences(std::string const& clazz,
                                                                   std::string const& filter) {
    auto& registry = Checked(d_);
    CheckFilter(filter);
    std::vector<ServiceReferenceU> refs;
    for (auto& record : registry.All(clazz)) {
        std::string interfaceId = clazz.empty() ? record->interfaceIds.front() : clazz;
        refs.emplace_back(ServiceReferenceBase(std::move(record), std::move(interfaceId)));
    }
    return refs;
}

std::shared_ptr<void> BundleContext::GetServiceObject(ServiceReferenceBase const& reference) {
    Checked(d_);
    if (!reference.record_) {
        throw std::invalid_argument(
            "Default constructed ServiceReference is not a valid input to GetService.");
    }
    auto object = reference.record_->Object(reference.interfaceId_);
    if (!object) {
        throw std::invalid_argument("The ServiceReference refers to an unregistered service.");
    }
    return object;
}

}  // namespace cppmicroservices
