// Well-known service property keys and values.
#ifndef CPPMICROSERVICES_CONSTANTS_H
#define CPPMICROSERVICES_CONSTANTS_H

#include "cppmicroservices/FrameworkExport.h"

#include <string>

namespace cppmicroservices::Constants {

// "objectclass": the interface ids a service is registered under
// (std::vector<std::string>), set by the registry.
US_Framework_EXPORT extern std::string const OBJECTCLASS;

// "service.id": the registration's unique id (long), set by the registry from
// a process-wide counter starting at 1.
US_Framework_EXPORT extern std::string const SERVICE_ID;

// "service.ranking": an int chosen by the registering code; among services of
// one interface the highest ranking wins, then the lowest id. Absent means 0.
US_Framework_EXPORT extern std::string const SERVICE_RANKING;

// "service.scope" and its only value here, "singleton": every caller of
// GetService shares the one registered object.
US_Framework_EXPORT extern std::string const SERVICE_SCOPE;
US_Framework_EXPORT extern std::string const SCOPE_SINGLETON;

}  // namespace cppmicroservices::Constants

#endif  // CPPMICROSERVICES_CONSTANTS_H
