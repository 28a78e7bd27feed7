// The process-wide service registry of the family.
#include <kelvor/core/bundle.hpp>

#include <cppmicroservices/Framework.h>
#include <cppmicroservices/FrameworkEvent.h>
#include <cppmicroservices/FrameworkFactory.h>

namespace klf {
namespace {

cppmicroservices::Framework& framework() {
    // Made and started once, thread-safely, and deliberately never stopped or
    // destroyed: services must stay reachable during static destruction.
    static cppmicroservices::Framework* const instance = [] {
        auto* f =
            new cppmicroservices::Framework(cppmicroservices::FrameworkFactory().NewFramework());
        f->Init();
        f->Start();
        return f;
    }();
    return *instance;
}

}  // namespace

void install_and_start_kelvor_core() {
    static_cast<void>(framework());
}

cppmicroservices::BundleContext get_global_bundle_context() {
    return framework().GetBundleContext();
}

}  // namespace klf
