// ServiceProperties: the key/value properties a service is registered with.
//
// Besides the caller's own entries, the registry adds Constants::SERVICE_ID
// (long), Constants::OBJECTCLASS (std::vector<std::string>, the interface ids)
// and Constants::SERVICE_SCOPE; Constants::SERVICE_RANKING (int) orders
// competing services. Keys are compared exactly (case-sensitive).
#ifndef CPPMICROSERVICES_SERVICEPROPERTIES_H
#define CPPMICROSERVICES_SERVICEPROPERTIES_H

#include "cppmicroservices/Any.h"

#include <string>
#include <unordered_map>

namespace cppmicroservices {

using ServiceProperties = std::unordered_map<std::string, Any>;

}  // namespace cppmicroservices

#endif  // CPPMICROSERVICES_SERVICEPROPERTIES_H
