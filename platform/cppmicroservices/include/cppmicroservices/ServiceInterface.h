// Service interface ids: the text a service interface is registered and
// looked up under.
//
// By default the id of an interface T is the readable (demangled) name of
// typeid(T), e.g. "klf::MissingService", computed once per type and kept in a
// function-local static. An interface may declare its own id instead, at
// global scope after its definition:
//
//     namespace acme { struct Clock { virtual ~Clock() = default; }; }
//     CPPMICROSERVICES_DECLARE_SERVICE_INTERFACE(acme::Clock, "acme.Clock/1.0")
//
// The id of void is empty; so is any id declared as "", and the registry
// refuses to look such interfaces up.
#ifndef CPPMICROSERVICES_SERVICEINTERFACE_H
#define CPPMICROSERVICES_SERVICEINTERFACE_H

#include "cppmicroservices/FrameworkExport.h"
#include "cppmicroservices/ServiceException.h"

#include <string>
#include <typeinfo>

template <class T>
std::string const& us_service_interface_iid();

namespace cppmicroservices::detail {

// The demangled name of a type, or its raw name if demangling fails.
US_Framework_EXPORT std::string GetDemangledName(std::type_info const& typeInfo);

}  // namespace cppmicroservices::detail

template <class T>
std::string const& us_service_interface_iid() {
    static std::string const name = cppmicroservices::detail::GetDemangledName(typeid(T));
    return name;
}

template <>
inline std::string const& us_service_interface_iid<void>() {
    static std::string const name;
    return name;
}

#define CPPMICROSERVICES_DECLARE_SERVICE_INTERFACE(_service_interface_type, _service_interface_id) \
    template <>                                                                                    \
    inline std::string const& us_service_interface_iid<_service_interface_type>() {                \
        static std::string const name = _service_interface_id;                                     \
        return name;                                                                               \
    }

#endif  // CPPMICROSERVICES_SERVICEINTERFACE_H
