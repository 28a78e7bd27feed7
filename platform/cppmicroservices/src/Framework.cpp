// Framework lifecycle: one registry per run, contexts handed out from it.
#include "cppmicroservices/Framework.h"

#include "Registry.h"
#include "cppmicroservices/FrameworkFactory.h"

#include <utility>

namespace cppmicroservices {

namespace detail {

void FrameworkState::Init() {
    std::lock_guard lock(mutex_);
    if (!context_) {
        context_ = std::make_shared<ContextState>();
    }
}

void FrameworkState::Stop() {
    std::vector<ServiceObjects> released;  // destroyed after the lock
    {
        std::lock_guard lock(mutex_);
        if (!context_) {
            return;
        }
        released = context_->Invalidate();
        context_.reset();
    }
    stopped_.notify_all();
}

bool FrameworkState::WaitForStop(std::chrono::milliseconds timeout) {
    std::unique_lock lock(mutex_);
    auto isStopped = [this] { return context_ == nullptr; };
    if (timeout.count() <= 0) {
        stopped_.wait(lock, isStopped);
        return true;
    }
    return stopped_.wait_for(lock, timeout, isStopped);
}

std::shared_ptr<ContextState> FrameworkState::Context() const {
    std::lock_guard lock(mutex_);
    return context_;
}

}  // namespace detail

struct FrameworkEvent::Data {
    Type type;
    std::string message;
    std::exception_ptr exception;
};

FrameworkEvent::FrameworkEvent() = default;

FrameworkEvent::FrameworkEvent(Type type, std::string message, std::exception_ptr exception)
    : d_(std::make_shared<Data const>(Data{type, std::move(message), std::move(exception)})) {}

FrameworkEvent::operator bool() const {
    return d_ != nullptr;
}

std::string FrameworkEvent::GetMessage() const {
    return d_ ? d_->message : std::string();
}

std::exception_ptr FrameworkEvent::GetThrowable() const {
    return d_ ? d_->exception : nullptr;
}

FrameworkEvent::Type FrameworkEvent::GetType() const {
    return d_ ? d_->type : FRAMEWORK_ERROR;
}

Framework::Framework(std::shared_ptr<detail::FrameworkState> d) : d_(std::move(d)) {}

Framework::~Framework() = default;

Framework::operator bool() const {
    return d_ != nullptr;
}

void Framework::Init() {
    d_->Init();
}

void Framework::Start() {
    d_->Init();
}

void Framework::Stop() {
    d_->Stop();
}

FrameworkEvent Framework::WaitForStop(std::chrono::milliseconds const& timeout) {
    if (d_->WaitForStop(timeout)) {
        return FrameworkEvent(FrameworkEvent::FRAMEWORK_STOPPED, "Framework stopped");
    }
    return FrameworkEvent(FrameworkEvent::FRAMEWORK_WAIT_TIMEDOUT,
                          "Timed out waiting for the framework to stop");
}

BundleContext Framework::GetBundleContext() const {
    return BundleContext(d_->Context());
}

Framework FrameworkFactory::NewFramework(FrameworkConfiguration const&, std::ostream*) {
    return NewFramework();
}

Framework FrameworkFactory::NewFramework() {
    return Framework(std::make_shared<detail::FrameworkState>());
}

Framework FrameworkFactory::NewFramework(std::map<std::string, Any> const&, std::ostream*) {
    return NewFramework();
}

}  // namespace cppmicroservices
