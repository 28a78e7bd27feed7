// FrameworkFactory: creates frameworks.
//
//     auto framework = cppmicroservices::FrameworkFactory().NewFramework();
//     framework.Start();
//     cppmicroservices::BundleContext context = framework.GetBundleContext();
//
// The configuration and the logger are accepted for compatibility; this
// registry has no settings and logs nothing.
#ifndef CPPMICROSERVICES_FRAMEWORKFACTORY_H
#define CPPMICROSERVICES_FRAMEWORKFACTORY_H

#include "cppmicroservices/Any.h"
#include "cppmicroservices/Framework.h"
#include "cppmicroservices/FrameworkExport.h"

#include <iosfwd>
#include <map>
#include <string>
#include <unordered_map>

namespace cppmicroservices {

using FrameworkConfiguration = std::unordered_map<std::string, Any>;

class US_Framework_EXPORT FrameworkFactory {
public:
    Framework NewFramework(FrameworkConfiguration const& configuration,
                           std::ostream* logger = nullptr);
    Framework NewFramework();
    Framework NewFramework(std::map<std::string, Any> const& configuration,
                           std::ostream* logger = nullptr);
};

}  // namespace cppmicroservices

#endif  // CPPMICROSERVICES_FRAMEWORKFACTORY_H
