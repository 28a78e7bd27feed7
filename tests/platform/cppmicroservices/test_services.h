// Service interfaces and helpers shared by the registry tests.
#ifndef KELVOR_TESTS_CPPMICROSERVICES_TEST_SERVICES_H
#define KELVOR_TESTS_CPPMICROSERVICES_TEST_SERVICES_H

#include <gtest/gtest.h>

#include <atomic>
#include <string>

#include "cppmicroservices/BundleContext.h"
#include "cppmicroservices/Framework.h"
#include "cppmicroservices/FrameworkFactory.h"

namespace cppms_test {

struct Greeter {
    virtual ~Greeter() = default;
    virtual std::string Name() const = 0;
};

struct Counter {
    virtual ~Counter() = default;
    virtual int Count() const = 0;
};

// Registered by no one: lookups find nothing.
struct Unused {
    virtual ~Unused() = default;
};

// Declared with an empty id, as an interface that lost its declaration would be.
struct NoId {
    virtual ~NoId() = default;
};

template <class T>
struct Box {};

// Counts live instances, so tests see exactly when the registry lets go.
struct GreeterImpl : Greeter, Counter, NoId {
    explicit GreeterImpl(std::string name) : name_(std::move(name)) { ++live; }
    GreeterImpl(GreeterImpl const&) = delete;
    GreeterImpl& operator=(GreeterImpl const&) = delete;
    ~GreeterImpl() override { --live; }
    std::string Name() const override { return name_; }
    int Count() const override { return 7; }

    static inline std::atomic<int> live{0};

private:
    std::string name_;
};

// A running framework per test; its registry starts empty.
class RegistryTest : public ::testing::Test {
protected:
    void SetUp() override {
        framework_.Start();
        context_ = framework_.GetBundleContext();
        ASSERT_TRUE(context_);
        live_before_ = GreeterImpl::live.load();
    }
    void TearDown() override {
        framework_.Stop();
        EXPECT_EQ(GreeterImpl::live.load(), live_before_) << "a service object outlived its users";
    }

    cppmicroservices::Framework framework_ = cppmicroservices::FrameworkFactory().NewFramework();
    cppmicroservices::BundleContext context_;
    int live_before_ = 0;
};

// Runs `f` and checks that it throws E with exactly `what`.
template <class E, class F>
void ExpectThrowWhat(F&& f, std::string const& what) {
    try {
        f();
        ADD_FAILURE() << "nothing thrown; expected \"" << what << "\"";
    } catch (E const& e) {
        EXPECT_EQ(std::string(e.what()), what);
    }
}

}  // namespace cppms_test

CPPMICROSERVICES_DECLARE_SERVICE_INTERFACE(cppms_test::NoId, "")

#endif  // KELVOR_TESTS_CPPMICROSERVICES_TEST_SERVICES_H
