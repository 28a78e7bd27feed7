// Framework lifecycle, context validity, interface ids and the value types.
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <stdexcept>
#include <thread>

#include "cppmicroservices/Any.h"
#include "cppmicroservices/ServiceException.h"
#include "test_services.h"

namespace acme {
struct Clock {
    virtual ~Clock() = default;
};
}  // namespace acme
CPPMICROSERVICES_DECLARE_SERVICE_INTERFACE(acme::Clock, "acme.Clock/1.0")

namespace cppms_test {
namespace {

namespace cms = cppmicroservices;
using namespace std::chrono_literals;

constexpr char const* kNoMacro =
    "The service interface class has no CPPMICROSERVICES_DECLARE_SERVICE_INTERFACE macro";

TEST(ServiceInterfaceId, DemangledOrDeclared) {
    struct Row {
        char const* name;
        std::string const& (*iid)();
        char const* expected;
    };
    Row const rows[] = {
        {"namespaced class", &us_service_interface_iid<Greeter>, "cppms_test::Greeter"},
        {"template", &us_service_interface_iid<Box<int>>, "cppms_test::Box<int>"},
        {"builtin", &us_service_interface_iid<double>, "double"},
        {"declared id", &us_service_interface_iid<acme::Clock>, "acme.Clock/1.0"},
        {"declared empty", &us_service_interface_iid<NoId>, ""},
        {"void", &us_service_interface_iid<void>, ""},
    };
    for (auto const& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(row.iid(), row.expected);
        EXPECT_EQ(&row.iid(), &row.iid());  // computed once, then shared
    }
}

TEST_F(RegistryTest, InterfaceWithoutIdIsRefused) {
    for (auto const& lookup :
         std::vector<std::function<void()>>{[&] { context_.GetServiceReference<NoId>(); },
                                            [&] { context_.GetServiceReferences<NoId>(); }}) {
        try {
            lookup();
            ADD_FAILURE() << "nothing thrown";
        } catch (cms::ServiceException const& e) {
            EXPECT_EQ(std::string(e.what()), kNoMacro);
            EXPECT_EQ(e.GetType(), cms::ServiceException::UNSPECIFIED);
        }
    }
}

TEST_F(RegistryTest, DeclaredIdIsTheRegistryKey) {
    struct SystemClock : acme::Clock {};
    auto reg = context_.RegisterService<acme::Clock>(std::make_shared<SystemClock>());
    EXPECT_TRUE(context_.GetServiceReference("acme.Clock/1.0"));
    EXPECT_EQ(context_.GetServiceReference<acme::Clock>().GetInterfaceId(), "acme.Clock/1.0");
    reg.Unregister();
}

TEST(Framework, ContextsLiveFromInitUntilStop) {
    auto framework = cms::FrameworkFactory().NewFramework();
    EXPECT_FALSE(framework.GetBundleContext());  // not started yet
    framework.Init();
    auto first = framework.GetBundleContext();
    ASSERT_TRUE(first);
    framework.Start();  // already running: same registry
    EXPECT_EQ(framework.GetBundleContext(), first);

    std::weak_ptr<GreeterImpl> watch;
    {
        auto impl = std::make_shared<GreeterImpl>("stopped");
        watch = impl;
        first.RegisterService<Greeter>(impl);
    }
    auto ref = first.GetServiceReference<Greeter>();

    framework.Stop();
    EXPECT_FALSE(first);
    EXPECT_FALSE(ref);             // Stop unregisters what was left
    EXPECT_TRUE(watch.expired());  // and releases it
    EXPECT_FALSE(framework.GetBundleContext());
    framework.Stop();  // nothing left to stop

    framework.Start();  // a new run hands out new contexts
    auto second = framework.GetBundleContext();
    EXPECT_TRUE(second);
    EXPECT_FALSE(first);
    EXPECT_FALSE(second.GetServiceReference<Greeter>());
    framework.Stop();
}

TEST(Framework, InvalidContextRefusesEverything) {
    auto stopped = cms::FrameworkFactory().NewFramework();
    stopped.Start();
    auto stale = stopped.GetBundleContext();
    stopped.Stop();

    struct Row {
        char const* name;
        cms::BundleContext context;
    };
    Row rows[] = {{"default-constructed", cms::BundleContext()}, {"after Stop", stale}};
    for (auto& row : rows) {
        SCOPED_TRACE(row.name);
        auto& ctx = row.context;
        EXPECT_FALSE(ctx);
        std::function<void()> const calls[] = {
            [&] { ctx.RegisterService<Greeter>(std::make_shared<GreeterImpl>("x")); },
            [&] { ctx.GetServiceReference<Greeter>(); },
            [&] { ctx.GetServiceReference("cppms_test::Greeter"); },
            [&] { ctx.GetServiceReferences<Greeter>(); },
            [&] { ctx.GetServiceReferences(""); },
            [&] { ctx.GetService(cms::ServiceReference<Greeter>()); },
        };
        for (std::size_t i = 0; i < std::size(calls); ++i) {
            SCOPED_TRACE("call " + std::to_string(i));
            ExpectThrowWhat<std::runtime_error>(calls[i], "The bundle context is no longer valid");
        }
    }
    EXPECT_EQ(GreeterImpl::live.load(), 0);
}

TEST(Framework, WaitForStop) {
    auto framework = cms::FrameworkFactory().NewFramework();
    EXPECT_EQ(framework.WaitForStop(0ms).GetType(), cms::FrameworkEvent::FRAMEWORK_STOPPED);
    framework.Start();
    auto timedOut = framework.WaitForStop(1ms);
    EXPECT_TRUE(timedOut);
    EXPECT_EQ(timedOut.GetType(), cms::FrameworkEvent::FRAMEWORK_WAIT_TIMEDOUT);

    std::thread stopper([&] { framework.Stop(); });
    auto stopped = framework.WaitForStop(0ms);  // no limit
    stopper.join();
    EXPECT_EQ(stopped.GetType(), cms::FrameworkEvent::FRAMEWORK_STOPPED);
    EXPECT_EQ(stopped.GetThrowable(), nullptr);
    EXPECT_FALSE(cms::FrameworkEvent());
}

TEST(Any, HoldsAndCastsValues) {
    cms::Any empty;
    EXPECT_TRUE(empty.Empty());
    EXPECT_EQ(empty.Type(), typeid(void));

    cms::Any value = 5;
    EXPECT_EQ(value.Type(), typeid(int));
    EXPECT_EQ(cms::any_cast<int>(value), 5);
    EXPECT_TRUE(value == 5);
    EXPECT_FALSE(value == 5L);  // same number, other type
    EXPECT_EQ(cms::any_cast<long>(&value), nullptr);
    cms::ref_any_cast<int>(value) = 6;
    EXPECT_EQ(*cms::any_cast<int>(&value), 6);

    cms::Any copy = value;
    value = std::string("text");
    EXPECT_EQ(cms::any_cast<int>(copy), 6);
    copy.Swap(value);
    EXPECT_EQ(cms::any_cast<std::string const&>(copy), "text");

    ExpectThrowWhat<cms::BadAnyCastException>([&] { cms::any_cast<double>(value); },
                                              "any_cast: the value is a int, not a double");
    ExpectThrowWhat<cms::BadAnyCastException>([&] { cms::any_cast<int>(empty); },
                                              "any_cast: the value is a (empty), not a int");
}

TEST(ServiceException, KeepsMessageAndType) {
    cms::ServiceException plain("plain");
    cms::ServiceException typed("typed", cms::ServiceException::FACTORY_RECURSION);
    EXPECT_EQ(plain.GetType(), cms::ServiceException::UNSPECIFIED);
    plain = typed;
    EXPECT_EQ(std::string(plain.what()), "typed");
    EXPECT_EQ(cms::ServiceException(plain).GetType(), 6);
    static_assert(std::is_base_of_v<std::runtime_error, cms::ServiceException>);
}

}  // namespace
}  // namespace cppms_test
