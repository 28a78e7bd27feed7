// Registration, lookup, ranking, unregistration and service lifetime.
#include <gtest/gtest.h>

#include <optional>
#include <stdexcept>
#include <thread>
#include <vector>

#include "cppmicroservices/Constants.h"
#include "test_services.h"

namespace cppms_test {
namespace {

namespace cms = cppmicroservices;
using cms::any_cast;

TEST_F(RegistryTest, RegisteredServiceIsFoundWithItsProperties) {
    auto impl = std::make_shared<GreeterImpl>("one");
    auto reg = context_.RegisterService<Greeter>(impl, {{"colour", std::string("red")}});

    auto ref = context_.GetServiceReference<Greeter>();
    ASSERT_TRUE(ref);
    EXPECT_EQ(ref.GetInterfaceId(), "cppms_test::Greeter");
    EXPECT_TRUE(ref.IsConvertibleTo("cppms_test::Greeter"));
    EXPECT_FALSE(ref.IsConvertibleTo("cppms_test::Counter"));
    EXPECT_EQ(context_.GetService(ref), impl);
    EXPECT_EQ(ref, reg.GetReference());
    EXPECT_EQ(ref, context_.GetServiceReference("cppms_test::Greeter"));

    EXPECT_EQ(any_cast<std::string>(ref.GetProperty("colour")), "red");
    EXPECT_GE(any_cast<long>(ref.GetProperty(cms::Constants::SERVICE_ID)), 1);
    EXPECT_EQ(any_cast<std::vector<std::string>>(ref.GetProperty(cms::Constants::OBJECTCLASS)),
              std::vector<std::string>{"cppms_test::Greeter"});
    EXPECT_TRUE(ref.GetProperty(cms::Constants::SERVICE_RANKING).Empty());
    EXPECT_TRUE(ref.GetProperty("absent").Empty());

    EXPECT_FALSE(context_.GetServiceReference<Unused>());
    EXPECT_FALSE(context_.GetServiceReference("cppms_test::Unused"));
    EXPECT_TRUE(context_.GetServiceReferences<Unused>().empty());
    reg.Unregister();
}

TEST_F(RegistryTest, OneObjectUnderSeveralInterfaces) {
    auto impl = std::make_shared<GreeterImpl>("multi");
    auto reg = context_.RegisterService<Greeter, Counter>(impl);

    auto greeter = context_.GetServiceReference<Greeter>();
    auto counter = context_.GetServiceReference<Counter>();
    ASSERT_TRUE(greeter && counter);
    EXPECT_EQ(greeter, counter);  // one registration
    EXPECT_EQ(context_.GetService(counter)->Count(), 7);
    EXPECT_EQ(context_.GetService(greeter)->Name(), "multi");
    EXPECT_EQ(reg.GetReference<Counter>().GetInterfaceId(), "cppms_test::Counter");

    // Converting between the registered interfaces keeps the service; to
    // any other interface it gives an invalid reference.
    cms::ServiceReference<Counter> converted = cms::ServiceReferenceU(greeter);
    EXPECT_TRUE(converted);
    EXPECT_EQ(converted.GetInterfaceId(), "cppms_test::Counter");
    EXPECT_EQ(context_.GetService(converted).get(), static_cast<Counter*>(impl.get()));
    EXPECT_FALSE(cms::ServiceReference<Unused>(greeter));
    reg.Unregister();
}

struct RankingRow {
    char const* name;
    std::vector<std::optional<int>> rankings;  // in registration order
    std::vector<int> best_first;               // registration indices
};

TEST_F(RegistryTest, HighestRankingThenLowestIdWins) {
    RankingRow const rows[] = {
        {"no rankings: first registered", {std::nullopt, std::nullopt, std::nullopt}, {0, 1, 2}},
        {"ranking beats id", {std::nullopt, 1}, {1, 0}},
        {"negative below missing", {-1, std::nullopt}, {1, 0}},
        {"equal rankings: lowest id", {5, 5, 5}, {0, 1, 2}},
        {"mixed", {3, 7, std::nullopt, 7, -2}, {1, 3, 0, 2, 4}},
        {"explicit zero equals missing", {std::nullopt, 0}, {0, 1}},
    };
    for (auto const& row : rows) {
        SCOPED_TRACE(row.name);
        std::vector<std::shared_ptr<GreeterImpl>> impls;
        std::vector<cms::ServiceRegistration<Greeter>> regs;
        for (std::size_t i = 0; i < row.rankings.size(); ++i) {
            impls.push_back(std::make_shared<GreeterImpl>(std::to_string(i)));
            cms::ServiceProperties props;
            if (row.rankings[i]) {
                props[cms::Constants::SERVICE_RANKING] = *row.rankings[i];
            }
            regs.push_back(context_.RegisterService<Greeter>(impls.back(), props));
        }
        auto best = context_.GetServiceReference<Greeter>();
        EXPECT_EQ(context_.GetService(best), impls[row.best_first.front()]);

        auto refs = context_.GetServiceReferences<Greeter>();
        ASSERT_EQ(refs.size(), row.best_first.size());
        for (std::size_t i = 0; i < refs.size(); ++i) {
            EXPECT_EQ(context_.GetService(refs[i]), impls[row.best_first[i]]) << "position " << i;
            if (i > 0) {
                EXPECT_TRUE(refs[i] < refs[i - 1]) << "position " << i;
                EXPECT_FALSE(refs[i - 1] < refs[i]) << "position " << i;
            }
        }
        // Ids follow registration order.
        for (std::size_t i = 1; i < regs.size(); ++i) {
            EXPECT_LT(any_cast<long>(regs[i - 1].GetReference().GetProperty("service.id")),
                      any_cast<long>(regs[i].GetReference().GetProperty("service.id")));
        }
        // Unregistering the best promotes the runner-up.
        regs[row.best_first[0]].Unregister();
        EXPECT_EQ(context_.GetService(context_.GetServiceReference<Greeter>()),
                  impls[row.best_first[1]]);
        for (std::size_t i = 1; i < row.best_first.size(); ++i) {
            regs[row.best_first[i]].Unregister();
        }
        EXPECT_FALSE(context_.GetServiceReference<Greeter>());
    }
}

TEST_F(RegistryTest, UnregisterInvalidatesReferencesOnce) {
    auto reg = context_.RegisterService<Greeter>(std::make_shared<GreeterImpl>("gone"));
    auto ref = context_.GetServiceReference<Greeter>();
    ASSERT_TRUE(ref);
    long const id = any_cast<long>(ref.GetProperty(cms::Constants::SERVICE_ID));
    reg.Unregister();

    EXPECT_FALSE(ref);
    EXPECT_TRUE(reg);  // the handle itself stays set
    EXPECT_EQ(any_cast<long>(ref.GetProperty(cms::Constants::SERVICE_ID)), id);
    EXPECT_FALSE(context_.GetServiceReference<Greeter>());
    EXPECT_TRUE(context_.GetServiceReferences<Greeter>().empty());
    EXPECT_EQ(context_.GetService(ref), nullptr);
    ExpectThrowWhat<std::logic_error>([&] { reg.Unregister(); }, "Service is unregistered");
    ExpectThrowWhat<std::logic_error>([&] { reg.GetReference(); }, "Service is unregistered");

    cms::ServiceRegistration<Greeter> unset;
    EXPECT_FALSE(unset);
    ExpectThrowWhat<std::logic_error>([&] { unset.Unregister(); },
                                      "ServiceRegistrationBase object invalid");
    ExpectThrowWhat<std::invalid_argument>(
        [&] { context_.GetService(cms::ServiceReference<Greeter>()); },
        "Default constructed ServiceReference is not a valid input to GetService.");
}

TEST_F(RegistryTest, ServiceObjectLivesWhileACallerHoldsIt) {
    auto impl = std::make_shared<GreeterImpl>("held");
    std::weak_ptr<GreeterImpl> watch = impl;
    auto reg = context_.RegisterService<Greeter>(impl);
    impl.reset();  // the registry holds the only share
    std::shared_ptr<Greeter> held = context_.GetService(context_.GetServiceReference<Greeter>());

    reg.Unregister();
    ASSERT_FALSE(watch.expired());
    EXPECT_EQ(held->Name(), "held");
    held.reset();
    EXPECT_TRUE(watch.expired());

    // Without a caller's share, Unregister releases the object at once.
    auto other = std::make_shared<GreeterImpl>("dropped");
    watch = other;
    auto reg2 = context_.RegisterService<Greeter>(other);
    other.reset();
    EXPECT_FALSE(watch.expired());
    reg2.Unregister();
    EXPECT_TRUE(watch.expired());
}

TEST_F(RegistryTest, BadRegistrationsAreRefusedAndRegisterNothing) {
    ExpectThrowWhat<std::invalid_argument>(
        [&] { context_.RegisterService<Greeter>(std::shared_ptr<GreeterImpl>()); },
        "Can't register a null service object");
    ExpectThrowWhat<std::invalid_argument>(
        [&] {
            context_.RegisterService<Greeter>(std::make_shared<GreeterImpl>("r"),
                                              {{cms::Constants::SERVICE_RANKING, 2L}});
        },
        "The service.ranking property must be an int, not long");
    ExpectThrowWhat<std::invalid_argument>(
        [&] { context_.RegisterService<Greeter, NoId>(std::make_shared<GreeterImpl>("n")); },
        "Can't register a service under an empty interface id; declare one with "
        "CPPMICROSERVICES_DECLARE_SERVICE_INTERFACE");
    EXPECT_TRUE(context_.GetServiceReferences<Greeter>().empty());
    EXPECT_TRUE(context_.GetServiceReferences("").empty());
}

TEST_F(RegistryTest, ListingAndFilters) {
    auto a = context_.RegisterService<Greeter>(std::make_shared<GreeterImpl>("a"));
    auto b = context_.RegisterService<Counter>(std::make_shared<GreeterImpl>("b"),
                                               {{cms::Constants::SERVICE_RANKING, 1}});
    auto all = context_.GetServiceReferences("");
    ASSERT_EQ(all.size(), 2u);
    EXPECT_EQ(all[0].GetInterfaceId(), "cppms_test::Counter");  // ranked 1
    EXPECT_EQ(all[1].GetInterfaceId(), "cppms_test::Greeter");
    ExpectThrowWhat<std::invalid_argument>(
        [&] { context_.GetServiceReferences<Greeter>("(colour=red)"); }, "filters not supported");
    a.Unregister();
    b.Unregister();
}

// Registrations, lookups and unregistrations race on one interface; every
// lookup sees either a live service or a clean refusal, and nothing leaks.
TEST_F(RegistryTest, ConcurrentRegistrationAndLookup) {
    constexpr int kThreads = 4;
    constexpr int kRounds = 300;
    std::atomic<int> found{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < kRounds; ++i) {
                auto reg = context_.RegisterService<Greeter, Counter>(
                    std::make_shared<GreeterImpl>(std::to_string(t)),
                    {{cms::Constants::SERVICE_RANKING, i % 3}});
                // A service may be unregistered by another thread meanwhile.
                for (auto const& ref : context_.GetServiceReferences<Counter>()) {
                    if (auto service = context_.GetService(ref); service && service->Count() == 7) {
                        ++found;
                    }
                }
                if (auto ref = context_.GetServiceReference<Greeter>()) {
                    if (auto service = context_.GetService(ref)) {
                        EXPECT_FALSE(service->Name().empty());
                    }
                }
                reg.Unregister();
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_GE(found.load(), kThreads * kRounds);  // each thread sees at least its own
    EXPECT_TRUE(context_.GetServiceReferences("").empty());
}

}  // namespace
}  // namespace cppms_test
