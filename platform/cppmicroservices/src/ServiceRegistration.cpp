// ServiceRegistrationBase: the owner's side of a registration.
#include "cppmicroservices/ServiceRegistrationBase.h"

#include "Registry.h"

#include <stdexcept>
#include <utility>

namespace cppmicroservices {

namespace {

detail::ServiceRecord& Checked(std::shared_ptr<detail::ServiceRecord> const& record) {
    if (!record) {
        throw std::logic_error("ServiceRegistrationBase object invalid");
    }
    return *record;
}

}  // namespace

ServiceRegistrationBase::ServiceRegistrationBase() = default;

ServiceRegistrationBase::ServiceRegistrationBase(std::shared_ptr<detail::ServiceRecord> record)
    : record_(std::move(record)) {}

ServiceRegistrationBase::~ServiceRegistrationBase() = default;

ServiceRegistrationBase::operator bool() const {
    return record_ != nullptr;
}

ServiceRegistrationBase& ServiceRegistrationBase::operator=(std::nullptr_t) {
    record_.reset();
    return *this;
}

void ServiceRegistrationBase::Unregister() {
    auto& record = Checked(record_);
    if (auto owner = record.owner.lock()) {
        owner->Unregister(record);
        return;
    }
    // The registry is gone, and with it every registration it held.
    if (!record.Release()) {
        throw std::logic_error(detail::kUnregistered);
    }
}

ServiceReferenceBase ServiceRegistrationBase::GetReference(std::string const& interfaceId) const {
    auto& record = Checked(record_);
    if (!record.Available()) {
        throw std::logic_error(detail::kUnregistered);
    }
    return ServiceReferenceBase(record_,
                                interfaceId.empty() ? record.interfaceIds.front() : interfaceId);
}

bool ServiceRegistrationBase::operator<(ServiceRegistrationBase const& o) const {
    if (!o.record_) {
        return false;
    }
    if (!record_) {
        return true;
    }
    return detail::Outranks(*o.record_, *record_);
}

bool ServiceRegistrationBase::operator==(ServiceRegistrationBase const& o) const {
    return record_ == o.record_;
}

}  // namespace cppmicroservices
