// ServiceReferenceBase: read-only views of a registration.
#include "cppmicroservices/ServiceReferenceBase.h"

#include "Registry.h"

#include <functional>
#include <utility>

namespace cppmicroservices {

ServiceReferenceBase::ServiceReferenceBase() = default;

ServiceReferenceBase::ServiceReferenceBase(std::shared_ptr<detail::ServiceRecord> record,
                                           std::string interfaceId)
    : record_(std::move(record)), interfaceId_(std::move(interfaceId)) {}

ServiceReferenceBase::~ServiceReferenceBase() = default;

ServiceReferenceBase::operator bool() const {
    return record_ && record_->Available();
}

ServiceReferenceBase& ServiceReferenceBase::operator=(std::nullptr_t) {
    record_.reset();
    interfaceId_.clear();
    return *this;
}

Any ServiceReferenceBase::GetProperty(std::string const& key) const {
    if (!record_) {
        return Any();
    }
    auto it = record_->properties.find(key);
    return it == record_->properties.end() ? Any() : it->second;
}

void ServiceReferenceBase::GetPropertyKeys(std::vector<std::string>& keys) const {
    if (!record_) {
        return;
    }
    for (auto const& entry : record_->properties) {
        keys.push_back(entry.first);
    }
}

std::vector<std::string> ServiceReferenceBase::GetPropertyKeys() const {
    std::vector<std::string> keys;
    GetPropertyKeys(keys);
    return keys;
}

std::string ServiceReferenceBase::GetInterfaceId() const {
    return interfaceId_;
}

bool ServiceReferenceBase::IsConvertibleTo(std::string const& interfaceId) const {
    return record_ && record_->Implements(interfaceId);
}

void ServiceReferenceBase::SetInterfaceId(std::string const& interfaceId) {
    interfaceId_ = interfaceId;
}

bool ServiceReferenceBase::operator<(ServiceReferenceBase const& reference) const {
    if (!reference.record_) {
        return false;
    }
    if (!record_) {
        return true;
    }
    return detail::Outranks(*reference.record_, *record_);
}

bool ServiceReferenceBase::operator==(ServiceReferenceBase const& reference) const {
    return record_ == reference.record_;
}

std::size_t ServiceReferenceBase::Hash() const {
    return record_ ? std::hash<long>()(record_->id) : 0;
}

}  // namespace cppmicroservices
