// The registry's internal state, shared by the handle classes.
//
// A FrameworkState owns, while it runs, one ContextState: the registry proper,
// an index from interface id to the services registered under it, kept best
// first. Each registration is a ServiceRecord whose identity, interface ids and
// properties never change after registration; only its service objects and
// availability do, under its own mutex, so GetService never takes the
// registry lock. Lock order: FrameworkState, ContextState, ServiceRecord.
// Service objects are released only after every lock is dropped, since their
// destructors may call back into the registry.
#ifndef CPPMICROSERVICES_SRC_REGISTRY_H
#define CPPMICROSERVICES_SRC_REGISTRY_H

#include "cppmicroservices/BundleContext.h"
#include "cppmicroservices/ServiceProperties.h"

#include <atomic>
#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <shared_mutex>
#include <string>
#include <unordered_map>
#include <vector>

namespace cppmicroservices::detail {

inline constexpr char const* kInvalidContext = "The bundle context is no longer valid";
inline constexpr char const* kUnregistered = "Service is unregistered";

class ContextState;

class ServiceRecord {
public:
    ServiceRecord(long id, int ranking, std::vector<std::string> interfaceIds,
                  ServiceProperties properties, ServiceObjects objects,
                  std::weak_ptr<ContextState> owner);

    long const id;
    int const ranking;
    std::vector<std::string> const interfaceIds;
    ServiceProperties const properties;
    std::weak_ptr<ContextState> const owner;

    bool Available() const { return available_.load(std::memory_order_acquire); }
    bool Implements(std::string const& interfaceId) const;

    // The object registered under `interfaceId`; null once unregistered.
    std::shared_ptr<void> Object(std::string const& interfaceId) const;

    // Marks the record unregistered and hands its objects to the caller;
    // nullopt when it already was.
    std::optional<ServiceObjects> Release();

private:
    mutable std::mutex mutex_;
    std::atomic<bool> available_{true};
    ServiceObjects objects_;
};

// Whether `a` wins over `b`: higher ranking, then lower id.
inline bool Outranks(ServiceRecord const& a, ServiceRecord const& b) {
    return a.ranking != b.ranking ? a.ranking > b.ranking : a.id < b.id;
}

class ContextState : public std::enable_shared_from_this<ContextState> {
public:
    ContextState() = default;
    ContextState(ContextState const&) = delete;
    ContextState& operator=(ContextState const&) = delete;
    ~ContextState();

    bool Valid() const { return valid_.load(std::memory_order_acquire); }

    std::shared_ptr<ServiceRecord> Register(ServiceObjects objects,
                                            ServiceProperties const& properties);
    // Throws std::logic_error(kUnregistered) when already unregistered.
    void Unregister(ServiceRecord& record);

    std::shared_ptr<ServiceRecord> Best(std::string const& interfaceId) const;
    // Best first; every service when `interfaceId` is empty.
    std::vector<std::shared_ptr<ServiceRecord>> All(std::string const& interfaceId) const;

    // Unregisters everything and refuses further registrations; returns the
    // released objects so that the caller destroys them outside its locks.
    std::vector<ServiceObjects> Invalidate();

private:
    mutable std::shared_mutex mutex_;
    std::atomic<bool> valid_{true};
    std::map<long, std::shared_ptr<ServiceRecord>> records_;
    std::unordered_map<std::string, std::vector<std::shared_ptr<ServiceRecord>>> byInterface_;
};

class FrameworkState {
public:
    void Init();
    void Stop();
    // True when stopped, false when `timeout` (zero: none) passed first.
    bool WaitForStop(std::chrono::milliseconds timeout);
    std::shared_ptr<ContextState> Context() const;

private:
    mutable std::mutex mutex_;
    std::condition_variable stopped_;
    std::shared_ptr<ContextState> context_;  // null while not running
};

}  // namespace cppmicroservices::detail

#endif  // CPPMICROSERVICES_SRC_REGISTRY_H
