// FrameworkEvent: what Framework::WaitForStop reports.
#ifndef CPPMICROSERVICES_FRAMEWORKEVENT_H
#define CPPMICROSERVICES_FRAMEWORKEVENT_H

#include "cppmicroservices/FrameworkExport.h"

#include <cstdint>
#include <exception>
#include <memory>
#include <string>

namespace cppmicroservices {

class US_Framework_EXPORT FrameworkEvent {
public:
    enum Type : std::uint32_t {
        FRAMEWORK_STARTED = 0x00000001,
        FRAMEWORK_ERROR = 0x00000002,
        FRAMEWORK_WARNING = 0x00000010,
        FRAMEWORK_INFO = 0x00000020,
        FRAMEWORK_STOPPED = 0x00000040,
        FRAMEWORK_STOPPED_UPDATE = 0x00000080,
        FRAMEWORK_WAIT_TIMEDOUT = 0x00000200
    };

    // An invalid event.
    FrameworkEvent();

    explicit operator bool() const;

    std::string GetMessage() const;
    std::exception_ptr GetThrowable() const;
    Type GetType() const;

private:
    friend class Framework;
    struct Data;

    FrameworkEvent(Type type, std::string message, std::exception_ptr exception = nullptr);

    std::shared_ptr<Data const> d_;
};

}  // namespace cppmicroservices

#endif  // CPPMICROSERVICES_FRAMEWORKEVENT_H
