// Framework: one service registry with a lifecycle.
//
// Init() (or Start(), which implies it) makes the registry live and
// GetBundleContext() return a valid context; Stop() unregisters every service
// still registered and invalidates every context handed out. A stopped
// framework may be started again; it then hands out new contexts. Stop() is
// synchronous here, so WaitForStop() returns at once after it. Copies of a
// Framework are handles on the same framework.
#ifndef CPPMICROSERVICES_FRAMEWORK_H
#define CPPMICROSERVICES_FRAMEWORK_H

#include "cppmicroservices/BundleContext.h"
#include "cppmicroservices/FrameworkEvent.h"
#include "cppmicroservices/FrameworkExport.h"

#include <chrono>
#include <memory>

namespace cppmicroservices {

namespace detail {
class FrameworkState;
}

class US_Framework_EXPORT Framework {
public:
    Framework(Framework const&) = default;
    Framework(Framework&&) noexcept = default;
    Framework& operator=(Framework const&) = default;
    Framework& operator=(Framework&&) noexcept = default;
    ~Framework();

    explicit operator bool() const;

    // Makes the registry live; nothing happens when it already is.
    void Init();
    void Start();
    // Unregisters all services and invalidates the contexts; nothing happens
    // when the framework does not run.
    void Stop();

    // Waits until the framework is stopped (a zero timeout waits without
    // limit): FRAMEWORK_STOPPED, or FRAMEWORK_WAIT_TIMEDOUT when the timeout
    // passed first. A framework that never ran counts as stopped.
    FrameworkEvent WaitForStop(std::chrono::milliseconds const& timeout);

    // A valid context while the framework runs, an invalid one otherwise.
    BundleContext GetBundleContext() const;

private:
    friend class FrameworkFactory;

    explicit Framework(std::shared_ptr<detail::FrameworkState> d);

    std::shared_ptr<detail::FrameworkState> d_;
};

}  // namespace cppmicroservices

#endif  // CPPMICROSERVICES_FRAMEWORK_H
