// Several threads using the process-wide state of the library at once: the
// class-name cache, the converter table and the service lookups.
#include <array>
#include <atomic>
#include <latch>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <hyarray/testing.hpp>
#include <kelvor/common/foundation/matrix/missing.hpp>
#include <kelvor/common/foundation/matrix/numeric.hpp>
#include <kelvor/common/foundation/matrix/services.hpp>
#include <kelvor/core/bundle.hpp>

namespace {

namespace mt = matrix::testing;

constexpr std::array<int, 12> real_classes = {3, 4, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15};

/// Agrees with the default on every value, and counts its calls.
class CountingMissing final : public klf::MissingService {
public:
    matrix::unique_hyarray_ptr make_missing() override {
        ++calls;
        return klf::make_nan();
    }
    bool is_missing(const hyArray* a) override {
        ++calls;
        return matrix::class_id(a) == hyDOUBLE_CLASS && matrix::number_of_elements(a) == 1;
    }
    std::atomic<int> calls{0};
};

// Must run first in this program: the class names are not cached yet.
TEST(Concurrency, ClassNamesConversionsAndLookupsFromManyThreads) {
    constexpr int threads = 8;
    std::array<std::array<const std::string*, real_classes.size()>, threads> seen{};
    std::array<int, threads> wrong{};
    std::latch start(threads + 1);
    const auto source = mt::doubles({2, 2}, {1.5, -2.5, 1e10, -1e10});
    std::vector<std::thread> pool;
    for (int t = 0; t < threads; ++t) {
        pool.emplace_back([&, t] {
            start.arrive_and_wait();
            for (std::size_t i = 0; i < real_classes.size(); ++i) {
                // Each thread walks the classes from a different place.
                const std::size_t k = (i + static_cast<std::size_t>(t) * 5) % real_classes.size();
                seen[t][k] = &klf::semi_numeric_class_name(static_cast<hyClassID>(real_classes[k]));
            }
            for (int round = 0; round < 50; ++round) {
                const auto n = klf::convert_numeric(source.get(), hyINT32_CLASS, hyCOMPLEX);
                const auto* parts = static_cast<const std::int32_t*>(matrix::data(n.get()));
                wrong[t] += parts[0] != 2 || parts[2] != -3 || parts[4] != 2147483647 ||
                            parts[6] != -2147483647 - 1 || parts[7] != 0;
                wrong[t] += !klf::is_semi_numeric(hyUINT64_CLASS, hyCOMPLEX);
                try {
                    wrong[t] += !klf::is_missing(klf::make_missing().get());
                } catch (const std::invalid_argument&) {
                    // The registry's answer when the service found a moment ago was
                    // unregistered before it could be taken; the library passes it on.
                }
            }
        });
    }
    // Meanwhile a service comes and goes.
    auto impl = std::make_shared<CountingMissing>();
    start.arrive_and_wait();
    for (int round = 0; round < 20; ++round) {
        auto registration =
            klf::get_global_bundle_context().RegisterService<klf::MissingService>(impl);
        std::this_thread::yield();
        registration.Unregister();
    }
    for (auto& thread : pool)
        thread.join();

    for (int t = 0; t < threads; ++t) {
        EXPECT_EQ(wrong[t], 0) << "thread " << t;
    }
    for (std::size_t k = 0; k < real_classes.size(); ++k) {
        SCOPED_TRACE(real_classes[k]);
        const std::size_t dims[] = {1, 1};
        const auto probe = matrix::detail::do_create_numeric(
            dims, static_cast<hyClassID>(real_classes[k]), hyREAL);
        EXPECT_EQ(*seen[0][k], hyGetClassName(probe.get()));
        for (int t = 1; t < threads; ++t) {
            EXPECT_EQ(seen[t][k], seen[0][k]) << "thread " << t;
        }
    }
}

}  // namespace
