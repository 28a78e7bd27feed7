// Service lookup against the real process-wide registry: services are
// registered and withdrawn while the tests run.
#include <memory>
#include <stdexcept>
#include <utility>

#include <gtest/gtest.h>

#include <hyarray/testing.hpp>
#include <kelvor/common/foundation/matrix/missing.hpp>

#include "../src/service_lookup.hpp"

namespace services_test {
struct Undeclared {
    virtual ~Undeclared() = default;
};
}  // namespace services_test
CPPMICROSERVICES_DECLARE_SERVICE_INTERFACE(services_test::Undeclared, "")

namespace {

namespace mt = matrix::testing;

/// A registration withdrawn at the latest when the test ends, also on failure.
template <class Interface>
struct Registered {
    explicit Registered(std::shared_ptr<Interface> impl)
        : registration(klf::get_global_bundle_context().RegisterService<Interface>(impl)) {}
    ~Registered() { withdraw(); }
    void withdraw() {
        if (std::exchange(live, false))
            registration.Unregister();
    }
    cppmicroservices::ServiceRegistration<Interface> registration;
    bool live = true;
};

struct Greeter {
    virtual ~Greeter() = default;
    virtual int id() const { return 0; }  // the default's answer
};
struct RegisteredGreeter final : Greeter {
    int id() const override { return 7; }
};

TEST(ServiceLookup, DefaultIsOneObjectAndARegisteredServiceWinsWhileRegistered) {
    using klf::detail::get_service;
    const auto lookup = klf::detail::service_or_default<Greeter, Greeter>;
    EXPECT_EQ(get_service<Greeter>(), nullptr);
    const std::shared_ptr<Greeter> fallback = lookup();
    ASSERT_NE(fallback, nullptr);
    EXPECT_EQ(fallback->id(), 0);
    EXPECT_EQ(lookup(), fallback);
    {
        const auto impl = std::make_shared<RegisteredGreeter>();
        Registered<Greeter> registered(impl);
        EXPECT_EQ(get_service<Greeter>(), impl);
        EXPECT_EQ(lookup(), impl);
        registered.withdraw();
        EXPECT_EQ(get_service<Greeter>(), nullptr);
    }
    EXPECT_EQ(lookup(), fallback);
}

TEST(ServiceLookup, InterfaceWithoutAnIdentifierIsAServiceException) {
    try {
        klf::detail::get_service<services_test::Undeclared>();
        ADD_FAILURE() << "no exception";
    } catch (const cppmicroservices::ServiceException& e) {
        EXPECT_STREQ(e.what(),
                     "The service interface class has no "
                     "CPPMICROSERVICES_DECLARE_SERVICE_INTERFACE macro");
        EXPECT_EQ(e.GetType(), cppmicroservices::ServiceException::UNSPECIFIED);
    }
}

/// Makes 1x1 logicals and answers a fixed verdict, remembering what it saw.
struct RecordingMissing final : klf::MissingService {
    matrix::unique_hyarray_ptr make_missing() override {
        auto a = mt::logical(true);
        made = a.get();
        return a;
    }
    bool is_missing(const hyArray* a) override {
        seen = a;
        return verdict;
    }
    const hyArray *made = nullptr, *seen = nullptr;
    bool verdict = true;
};

struct ThrowingMissing final : klf::MissingService {
    matrix::unique_hyarray_ptr make_missing() override {
        throw std::runtime_error("no missing value here");
    }
    bool is_missing(const hyArray*) override { throw std::out_of_range("cannot tell"); }
};

TEST(MissingServiceLookup, ServiceRegisteredAfterAFailedLookupIsUsedUntilWithdrawn) {
    const auto cell = mt::cell({1, 1}, {nullptr});
    EXPECT_FALSE(klf::is_missing(cell.get()));  // the lookup finds nothing
    auto impl = std::make_shared<RecordingMissing>();
    const std::weak_ptr<RecordingMissing> watch = impl;
    {
        Registered<klf::MissingService> registered(impl);
        EXPECT_TRUE(klf::is_missing(cell.get()));
        EXPECT_EQ(impl->seen, cell.get());
        impl->verdict = false;
        const auto nan = klf::make_nan();
        EXPECT_FALSE(klf::is_missing(nan.get()));
        EXPECT_EQ(impl->seen, nan.get());
        const auto made = klf::make_missing();
        EXPECT_EQ(made.get(), impl->made);
        EXPECT_EQ(matrix::class_id(made.get()), hyLOGICAL_CLASS);
    }
    // Withdrawn: the default answers again, and no share of the service is kept.
    const auto missing = klf::make_missing();
    EXPECT_EQ(matrix::class_id(missing.get()), hyDOUBLE_CLASS);
    EXPECT_TRUE(klf::is_missing(missing.get()));
    EXPECT_FALSE(klf::is_missing(cell.get()));
    impl.reset();
    EXPECT_TRUE(watch.expired());
}

TEST(MissingServiceLookup, ErrorsOfTheServicePassUnchanged) {
    auto impl = std::make_shared<ThrowingMissing>();
    const std::weak_ptr<ThrowingMissing> watch = impl;
    {
        Registered<klf::MissingService> registered(impl);
        const mt::LiveArrays live;
        try {
            (void)klf::make_missing();
            ADD_FAILURE() << "no exception";
        } catch (const std::runtime_error& e) {
            EXPECT_STREQ(e.what(), "no missing value here");
        }
        EXPECT_THROW(klf::is_missing(nullptr), std::out_of_range);
        EXPECT_EQ(live.delta(), 0);
    }
    impl.reset();
    EXPECT_TRUE(watch.expired());
}

}  // namespace
