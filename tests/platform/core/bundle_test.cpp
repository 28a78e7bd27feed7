#include <memory>
#include <set>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/ServiceInterface.h>
#include <cppmicroservices/ServiceRegistration.h>
#include <kelvor/core/bundle.hpp>

namespace core_test {
struct Greeter {
    virtual ~Greeter() = default;
    virtual int answer() const = 0;
};
struct FortyTwo : Greeter {
    int answer() const override { return 42; }
};
}  // namespace core_test

namespace {

TEST(Bundle, OneStartedContextForTheProcess) {
    klf::install_and_start_kelvor_core();
    std::vector<std::thread> pool;
    std::vector<bool> valid(8);
    for (std::size_t i = 0; i < valid.size(); ++i) {
        pool.emplace_back(
            [&, i] { valid[i] = static_cast<bool>(klf::get_global_bundle_context()); });
    }
    for (auto& t : pool) {
        t.join();
    }
    EXPECT_EQ(std::count(valid.begin(), valid.end(), true), 8);

    // A service registered through one call's context is found through another's.
    auto registration = klf::get_global_bundle_context().RegisterService<core_test::Greeter>(
        std::make_shared<core_test::FortyTwo>());
    cppmicroservices::BundleContext other = klf::get_global_bundle_context();
    auto ref = other.GetServiceReference<core_test::Greeter>();
    ASSERT_TRUE(ref);
    EXPECT_EQ(other.GetService(ref)->answer(), 42);
    registration.Unregister();
    EXPECT_FALSE(other.GetServiceReference<core_test::Greeter>());
}

}  // namespace
