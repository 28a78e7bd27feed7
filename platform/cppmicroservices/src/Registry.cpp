// Registrations and the registry index.
#include "Registry.h"

#include "cppmicroservices/Constants.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace cppmicroservices::detail {

namespace {

long NextServiceId() {
    static std::atomic<long> next{1};
    return next.fetch_add(1, std::memory_order_relaxed);
}

int RankingOf(ServiceProperties const& properties) {
    auto it = properties.find(Constants::SERVICE_RANKING);
    if (it == properties.end()) {
        return 0;
    }
    if (it->second.Type() != typeid(int)) {
        throw std::invalid_argument("The " + Constants::SERVICE_RANKING +
                                    " property must be an int, not " +
                                    GetDemangledName(it->second.Type()));
    }
    return any_cast<int>(it->second);
}

bool OutranksPtr(std::shared_ptr<ServiceRecord> const& a, std::shared_ptr<ServiceRecord> const& b) {
    return Outranks(*a, *b);
}

}  // namespace

ServiceRecord::ServiceRecord(long id_, int ranking_, std::vector<std::string> interfaceIds_,
                             ServiceProperties properties_, ServiceObjects objects,
                             std::weak_ptr<ContextState> owner_)
    : id(id_),
      ranking(ranking_),
      interfaceIds(std::move(interfaceIds_)),
      properties(std::move(properties_)),
      owner(std::move(owner_)),
      objects_(std::move(objects)) {}

bool ServiceRecord::Implements(std::string const& interfaceId) const {
    return std::find(interfaceIds.begin(), interfaceIds.end(), interfaceId) != interfaceIds.end();
}

std::shared_ptr<void> ServiceRecord::Object(std::string const& interfaceId) const {
    std::lock_guard lock(mutex_);
    for (auto const& [id_, object] : objects_) {
        if (id_ == interfaceId) {
            return object;
        }
    }
    return nullptr;
}

std::optional<ServiceObjects> ServiceRecord::Release() {
    std::lock_guard lock(mutex_);
    if (!available_.load(std::memory_order_relaxed)) {
        return std::nullopt;
    }
    available_.store(false, std::memory_order_release);
    return std::exchange(objects_, ServiceObjects());
}

ContextState::~ContextState() {
    // The released objects die here, after the (uncontended) lock is gone.
    std::vector<ServiceObjects> released = Invalidate();
}

std::shared_ptr<ServiceRecord> ContextState::Register(ServiceObjects objects,
                                                      ServiceProperties const& properties) {
    ServiceObjects unique;
    std::vector<std::string> interfaceIds;
    for (auto& entry : objects) {
        if (entry.first.empty()) {
            throw std::invalid_argument(
                "Can't register a service under an empty interface id; declare one with "
                "CPPMICROSERVICES_DECLARE_SERVICE_INTERFACE");
        }
        if (!entry.second) {
            throw std::invalid_argument("Can't register a null service object");
        }
        if (std::find(interfaceIds.begin(), interfaceIds.end(), entry.first) ==
            interfaceIds.end()) {
            interfaceIds.push_back(entry.first);
            unique.push_back(std::move(entry));
        }
    }
    int const ranking = RankingOf(properties);
    long const id = NextServiceId();
    ServiceProperties props = properties;
    props[Constants::SERVICE_ID] = id;
    props[Constants::OBJECTCLASS] = interfaceIds;
    props[Constants::SERVICE_SCOPE] = Constants::SCOPE_SINGLETON;
    auto record = std::make_shared<ServiceRecord>(id, ranking, interfaceIds, std::move(props),
                                                  std::move(unique), weak_from_this());

    std::unique_lock lock(mutex_);
    if (!Valid()) {
        throw std::runtime_error(kInvalidContext);
    }
    records_.emplace(id, record);
    for (auto const& interfaceId : interfaceIds) {
        auto& list = byInterface_[interfaceId];
        list.insert(std::upper_bound(list.begin(), list.end(), record, OutranksPtr), record);
    }
    return record;
}

void ContextState::Unregister(ServiceRecord& record) {
    std::optional<ServiceObjects> released;  // destroyed after the lock
    std::unique_lock lock(mutex_);
    released = record.Release();
    if (!released) {
        throw std::logic_error(kUnregistered);
    }
    records_.erase(record.id);
    for (auto const& interfaceId : record.interfaceIds) {
        auto it = byInterface_.find(interfaceId);
        if (it == byInterface_.end()) {
            continue;
        }
        std::erase_if(it->second, [&](auto const& r) { return r.get() == &record; });
        if (it->second.empty()) {
            byInterface_.erase(it);
        }
    }
}

std::shared_ptr<ServiceRecord> ContextState::Best(std::string const& interfaceId) const {
    std::shared_lock lock(mutex_);
    auto it = byInterface_.find(interfaceId);
    return it == byInterface_.end() ? nullptr : it->second.front();
}

std::vector<std::shared_ptr<ServiceRecord>> ContextState::All(
    std::string const& interfaceId) const {
    std::shared_lock lock(mutex_);
    if (!interfaceId.empty()) {
        auto it = byInterface_.find(interfaceId);
        return it == byInterface_.end() ? std::vector<std::shared_ptr<ServiceRecord>>()
                                        : it->second;
    }
    std::vector<std::shared_ptr<ServiceRecord>> all;
    all.reserve(records_.size());
    for (auto const& entry : records_) {
        all.push_back(entry.second);
    }
    lock.unlock();
    std::sort(all.begin(), all.end(), OutranksPtr);
    return all;
}

std::vector<ServiceObjects> ContextState::Invalidate() {
    std::vector<ServiceObjects> released;
    std::unique_lock lock(mutex_);
    valid_.store(false, std::memory_order_release);
    for (auto const& entry : records_) {
        if (auto objects = entry.second->Release()) {
            released.push_back(std::move(*objects));
        }
    }
    records_.clear();
    byInterface_.clear();
    return released;
}

}  // namespace cppmicroservices::detail
