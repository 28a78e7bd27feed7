// ServiceException: a problem with a service interface or registration.
//
// GetType() tells the kind of problem; a missing interface id, for example, is
// thrown with the message "The service interface class has no
// CPPMICROSERVICES_DECLARE_SERVICE_INTERFACE macro" and type UNSPECIFIED.
#ifndef CPPMICROSERVICES_SERVICEEXCEPTION_H
#define CPPMICROSERVICES_SERVICEEXCEPTION_H

#include "cppmicroservices/FrameworkExport.h"

#include <stdexcept>
#include <string>

namespace cppmicroservices {

class US_Framework_EXPORT ServiceException : public std::runtime_error {
public:
    enum Type {
        UNSPECIFIED = 0,
        UNREGISTERED = 1,
        FACTORY_ERROR = 2,
        FACTORY_EXCEPTION = 3,
        REMOTE = 5,
        FACTORY_RECURSION = 6
    };

    ServiceException(std::string const& msg, Type const& type = UNSPECIFIED);
    ServiceException(ServiceException const& o);
    ServiceException& operator=(ServiceException const& o);
    ~ServiceException() override;

    Type GetType() const;

private:
    Type type_;
};

}  // namespace cppmicroservices

#endif  // CPPMICROSERVICES_SERVICEEXCEPTION_H
