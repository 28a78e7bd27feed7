// Tests of the service registry: interface ids, registration, lookup and
// ranking, unregistration, service lifetime, the framework's contexts and
// concurrency.
#include <gtest/gtest.h>

#include <atomic>
#include <optional>
#include <stdexcept>
#include <thread>
#include <utility>

#include "cppmicroservices/Constants.h"
#include "cppmicroservices/FrameworkFactory.h"

namespace acme {
struct Greeter {
    virtual ~Greeter() = default;
};
struct Clock {
    virtual ~Clock() = default;
};
// Declared with an empty id, as an interface that lost its declaration would be.
struct NoId {
    virtual ~NoId() = default;
};
template <class T>
struct Box {};

// Counts live instances, so tests see exactly when the registry lets go.
struct Impl : Greeter, Clock, NoId {
    Impl() { ++live; }
    ~Impl() override { --live; }
    static inline std::atomic<int> live{0};
};
}  // namespace acme
CPPMICROSERVICES_DECLARE_SERVICE_INTERFACE(acme::NoId, "")
CPPMICROSERVICES_DECLARE_SERVICE_INTERFACE(acme::Clock, "acme.Clock/1.0")

namespace acme {
namespace {

namespace cms = cppmicroservices;
using std::make_shared;
constexpr auto& kRanking = cms::Constants::SERVICE_RANKING;

// The what() of the E that `f` throws; "(nothing thrown)" when it throws nothing.
template <class E, class F>
std::string what_of(F&& f) try {
    f();
    return "(nothing thrown)";
} catch (E const& e) {
    return e.what();
}

// A running framework per test; its registry starts empty.
class RegistryTest : public ::testing::Test {
protected:
    void TearDown() override {
        framework_.Stop();
        EXPECT_EQ(Impl::live.load(), 0) << "a service object outlived its users";
    }
    cms::Framework framework_ = cms::FrameworkFactory().NewFramework();
    cms::BundleContext context_ = (framework_.Start(), framework_.GetBundleContext());
};

TEST(ServiceInterfaceId, DemangledOrDeclaredAndComputedOnce) {
    std::string const& (*const iids[])() = {
        &us_service_interface_iid<Greeter>, &us_service_interface_iid<Box<int>>,
        &us_service_interface_iid<double>,  &us_service_interface_iid<Clock>,
        &us_service_interface_iid<NoId>,    &us_service_interface_iid<void>};
    char const* const expected[] = {
        "acme::Greeter", "acme::Box<int>", "double", "acme.Clock/1.0", "", ""};
    for (std::size_t i = 0; i < std::size(iids); ++i) {
        EXPECT_EQ(iids[i](), expected[i]);
        EXPECT_EQ(&iids[i](), &iids[i]()) << expected[i];
    }
}

TEST_F(RegistryTest, RegisteredServiceIsFoundUnderEachInterfaceWithItsProperties) {
    auto impl = make_shared<Impl>();
    auto reg = context_.RegisterService<Greeter, Clock>(impl, {{"colour", std::string("red")}});
    auto ref = context_.GetServiceReference<Greeter>();
    EXPECT_EQ(ref, reg.GetReference());
    EXPECT_EQ(ref, context_.GetServiceReference("acme.Clock/1.0"));  // one registration
    EXPECT_EQ(context_.GetService(ref), impl);
    EXPECT_EQ(context_.GetService(context_.GetServiceReference<Clock>()).get(),
              static_cast<Clock*>(impl.get()));
    EXPECT_EQ(cms::any_cast<std::string>(ref.GetProperty("colour")), "red");
    EXPECT_EQ(cms::any_cast<std::vector<std::string>>(ref.GetProperty(cms::Constants::OBJECTCLASS)),
              (std::vector<std::string>{"acme::Greeter", "acme.Clock/1.0"}));
    reg.Unregister();
}

TEST_F(RegistryTest, HighestRankingThenLowestIdWins) {
    using R = std::optional<int>;
    // Rankings in registration order; registration indices, best first.
    const std::pair<std::vector<R>, std::vector<std::size_t>> rows[] = {
        {{R{}, R{}, R{}}, {0, 1, 2}}, {{R{}, 1}, {1, 0}}, {{-1, R{}}, {1, 0}},
        {{5, 5, 5}, {0, 1, 2}},       {{R{}, 0}, {0, 1}}, {{3, 7, R{}, 7, -2}, {1, 3, 0, 2, 4}}};
    for (auto const& [rankings, best_first] : rows) {
        SCOPED_TRACE(::testing::PrintToString(best_first));
        std::vector<std::shared_ptr<Impl>> impls;
        std::vector<cms::ServiceRegistration<Greeter>> regs;
        for (R ranking : rankings) {
            impls.push_back(make_shared<Impl>());
            regs.push_back(context_.RegisterService<Greeter>(
                impls.back(),
                ranking ? cms::ServiceProperties{{kRanking, *ranking}} : cms::ServiceProperties{}));
        }
        auto refs = context_.GetServiceReferences<Greeter>();
        ASSERT_EQ(refs.size(), best_first.size());
        for (std::size_t i = 0; i < refs.size(); ++i) {
            EXPECT_EQ(context_.GetService(refs[i]), impls[best_first[i]]) << i;
            EXPECT_TRUE(i == 0 || (refs[i] < refs[i - 1] && !(refs[i - 1] < refs[i]))) << i;
        }
        EXPECT_EQ(context_.GetServiceReference<Greeter>(), refs[0]);
        regs[best_first[0]].Unregister();  // promotes the runner-up
        EXPECT_EQ(context_.GetServiceReference<Greeter>(), refs[1]);
        for (std::size_t i = 1; i < best_first.size(); ++i)
            regs[best_first[i]].Unregister();
    }
}

TEST_F(RegistryTest, UnregisterInvalidatesReferencesOnce) {
    auto reg = context_.RegisterService<Greeter>(make_shared<Impl>());
    auto ref = context_.GetServiceReference<Greeter>();
    reg.Unregister();
    EXPECT_FALSE(ref);
    EXPECT_FALSE(context_.GetServiceReference<Greeter>());
    EXPECT_EQ(what_of<std::invalid_argument>([&] { context_.GetService(ref); }),
              "The ServiceReference refers to an unregistered service.");
    EXPECT_EQ(what_of<std::invalid_argument>(
                  [&] { context_.GetService(cms::ServiceReference<Greeter>()); }),
              "Default constructed ServiceReference is not a valid input to GetService.");
    EXPECT_EQ(what_of<std::logic_error>([&] { reg.Unregister(); }), "Service is unregistered");
    EXPECT_EQ(what_of<std::logic_error>([] { cms::ServiceRegistration<Greeter>().Unregister(); }),
              "ServiceRegistrationBase object invalid");
}

// Unregister releases the object at once unless a caller still holds it.
TEST_F(RegistryTest, ServiceObjectLivesWhileACallerHoldsIt) {
    for (bool held : {true, false}) {
        auto impl = make_shared<Impl>();
        std::weak_ptr<Impl> watch = impl;
        auto reg = context_.RegisterService<Greeter>(std::exchange(impl, nullptr));
        std::shared_ptr<Greeter> caller =
            held ? context_.GetService(context_.GetServiceReference<Greeter>()) : nullptr;
        reg.Unregister();
        EXPECT_EQ(watch.expired(), !held);
        caller.reset();
        EXPECT_TRUE(watch.expired());
    }
}

TEST_F(RegistryTest, InterfaceWithoutIdIsRefused) {
    for (int many = 0; many < 2; ++many) {
        try {
            many ? (void)context_.GetServiceReferences<NoId>()
                 : (void)context_.GetServiceReference<NoId>();
            ADD_FAILURE() << "nothing thrown";
        } catch (cms::ServiceException const& e) {
            EXPECT_STREQ(e.what(),
                         "The service interface class has no "
                         "CPPMICROSERVICES_DECLARE_SERVICE_INTERFACE macro");
            EXPECT_EQ(e.GetType(), cms::ServiceException::UNSPECIFIED);
        }
    }
    EXPECT_EQ(what_of<std::invalid_argument>(
                  [&] { context_.RegisterService<Greeter, NoId>(make_shared<Impl>()); }),
              "Can't register a service under an empty interface id; declare one with "
              "CPPMICROSERVICES_DECLARE_SERVICE_INTERFACE");
    EXPECT_TRUE(context_.GetServiceReferences("").empty());
}

TEST(Framework, StopReleasesServicesAndInvalidatesContexts) {
    auto framework = cms::FrameworkFactory().NewFramework();
    framework.Start();
    auto stale = framework.GetBundleContext();
    stale.RegisterService<Greeter>(make_shared<Impl>());
    auto ref = stale.GetServiceReference<Greeter>();
    framework.Stop();
    EXPECT_FALSE(ref);                // Stop unregisters what was left
    EXPECT_EQ(Impl::live.load(), 0);  // and releases it
    for (cms::BundleContext ctx : {cms::BundleContext(), stale}) {
        EXPECT_FALSE(ctx);
        std::function<void()> const calls[] = {
            [&] { ctx.RegisterService<Greeter>(make_shared<Impl>()); },
            [&] { ctx.GetServiceReference<Greeter>(); }, [&] { ctx.GetServiceReferences(""); },
            [&] { ctx.GetService(cms::ServiceReference<Greeter>()); }};
        for (auto const& call : calls)
            EXPECT_EQ(what_of<std::runtime_error>(call), "The bundle context is no longer valid");
    }
}

// Registrations, lookups and unregistrations race on one interface; every
// lookup sees a live service or the unregistered reference's error, and nothing leaks.
TEST_F(RegistryTest, ConcurrentRegistrationAndLookup) {
    constexpr int kThreads = 4, kRounds = 300;
    std::atomic<int> found{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < kRounds; ++i) {
                auto reg = context_.RegisterService<Greeter, Clock>(make_shared<Impl>(),
                                                                    {{kRanking, i % 3}});
                for (auto const& ref : context_.GetServiceReferences<Clock>()) {
                    try {
                        found += context_.GetService(ref) != nullptr;
                    } catch (const std::invalid_argument&) {
                        // unregistered by another thread since it was found
                    }
                }
                reg.Unregister();
            }
        });
    }
    for (auto& thread : threads)
        thread.join();
    EXPECT_GE(found.load(), kThreads * kRounds);  // each thread sees at least its own
    EXPECT_TRUE(context_.GetServiceReferences("").empty());
}

}  // namespace
}  // namespace acme
