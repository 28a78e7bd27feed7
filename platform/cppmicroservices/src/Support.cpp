// The small value types: Any's cast failure, ServiceException, the property
// key constants and interface-id demangling.
#include "cppmicroservices/Any.h"
#include "cppmicroservices/Constants.h"
#include "cppmicroservices/ServiceException.h"
#include "cppmicroservices/ServiceInterface.h"

#include <cxxabi.h>

#include <cstdlib>
#include <memory>
#include <utility>

namespace cppmicroservices {

namespace Constants {
std::string const OBJECTCLASS = "objectclass";
std::string const SERVICE_ID = "service.id";
std::string const SERVICE_RANKING = "service.ranking";
std::string const SERVICE_SCOPE = "service.scope";
std::string const SCOPE_SINGLETON = "singleton";
}  // namespace Constants

namespace detail {

std::string GetDemangledName(std::type_info const& typeInfo) {
    int status = 0;
    std::unique_ptr<char, decltype(&std::free)> demangled(
        abi::__cxa_demangle(typeInfo.name(), nullptr, nullptr, &status), &std::free);
    return status == 0 && demangled ? std::string(demangled.get()) : std::string(typeInfo.name());
}

void ThrowBadAnyCast(std::type_info const& held, std::type_info const& wanted) {
    throw BadAnyCastException(
        "any_cast: the value is a " +
        (held == typeid(void) ? std::string("(empty)") : GetDemangledName(held)) + ", not a " +
        GetDemangledName(wanted));
}

}  // namespace detail

BadAnyCastException::BadAnyCastException(std::string msg) : message_(std::move(msg)) {}

char const* BadAnyCastException::what() const noexcept {
    return message_.c_str();
}

ServiceException::ServiceException(std::string const& msg, Type const& type)
    : std::runtime_error(msg), type_(type) {}

ServiceException::ServiceException(ServiceException const& o) = default;

ServiceException& ServiceException::operator=(ServiceException const& o) = default;

ServiceException::~ServiceException() = default;

ServiceException::Type ServiceException::GetType() const {
    return type_;
}

}  // namespace cppmicroservices
