#include <cstdint>
#include <functional>
#include <memory>
#include <numeric>
#include <optional>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>
#include <boost/numeric/conversion/converter_policies.hpp>

#include <hyarray/testing.hpp>
#include <kelvor/common/foundation/matrix/services.hpp>
#include <kelvor/common/foundation/matrix/shape.hpp>
#include <kelvor/core/bundle.hpp>

#include "message_matchers.hpp"

using kelvor::testing::ExpectedMessage;
using kelvor::testing::hy_message;
namespace mt = matrix::testing;
namespace host = matrix::host;
using matrix::unique_hyarray_ptr;
using Dims = std::vector<std::size_t>;

namespace {

ExpectedMessage inconsistent(const char16_t* current, std::int64_t n, const char16_t* requested,
                             std::int64_t m) {
    return hy_message("InconsistentSizesForReshape", {ustring(current), n, ustring(requested), m});
}

// Doubles 1, 2, 3 ... of the given dimensions.
unique_hyarray_ptr counting(const Dims& dims) {
    std::vector<double> values(
        std::accumulate(dims.begin(), dims.end(), std::size_t{1}, std::multiplies<>()));
    std::iota(values.begin(), values.end(), 1.0);
    return mt::numeric<double>(dims, values);
}

TEST(Reshape, ChangesTheDimensionsInPlaceWithoutCopying) {
    using Step = std::function<unique_hyarray_ptr(unique_hyarray_ptr)>;
    using L = std::vector<std::optional<std::size_t>>;
    const auto to = [](auto size) -> Step {
        return [size](unique_hyarray_ptr a) { return klf::reshape(std::move(a), size); };
    };
    const unique_hyarray_ptr column = counting({6, 1});
    // A row with input dimensions starts from a new array; one without goes on
    // with the previous row's result.
    const struct {
        const char* name;
        Dims input, expected;
        Step step;
    } rows[] = {
        {"ArraySize", {2, 3}, {3, 2}, to(klf::ArraySize{3, 2})},
        {"beyond inline capacity", {}, {1, 2, 1, 3, 1}, to(klf::ArraySize{1, 2, 1, 3, 1})},
        {"back inline, to another array's size", {}, {6, 1}, to(column.get())},
        {"SizeVariant", {}, {2, 3}, to(klf::SizeVariant(klf::ArraySize{2, 3}))},
        {"list {_, 2}", {}, {3, 2}, to(L{std::nullopt, 2})},
        {"to_row", {}, {1, 6}, [](auto a) { return klf::to_row(std::move(a)); }},
        {"list {3, _, 1}", {}, {3, 2, 1}, to(L{3, std::nullopt, 1})},
        {"set_rows 2", {1, 6}, {2, 3}, [](auto a) { return klf::set_rows(std::move(a), 2); }},
        {"set_cols 3", {1, 6}, {2, 3}, [](auto a) { return klf::set_cols(std::move(a), 3); }},
        {"to_column", {3, 2}, {6, 1}, [](auto a) { return klf::to_column(std::move(a)); }},
        {"to_row of 0x0", {0, 0}, {1, 0}, [](auto a) { return klf::to_row(std::move(a)); }},
        {"to_column of 0x3", {0, 3}, {0, 1}, [](auto a) { return klf::to_column(std::move(a)); }},
        {"ScalarSize", {1, 1, 1}, {1, 1}, to(klf::SizeVariant(klf::ScalarSize{}))},
    };
    const mt::LiveArrays live;
    unique_hyarray_ptr a;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        if (!row.input.empty()) {
            a = counting(row.input);
        }
        hyArray* const handle = a.get();
        const void* const data = matrix::data(static_cast<const hyArray*>(a.get()));
        const std::vector<double> values = mt::values_of<double>(a.get());
        a = row.step(std::move(a));
        EXPECT_EQ(a.get(), handle);
        EXPECT_EQ(matrix::data(static_cast<const hyArray*>(a.get())), data);
        EXPECT_EQ(mt::values_of<double>(a.get()), values);
        EXPECT_EQ(mt::dims_of(a.get()), row.expected);
    }
    a.reset();
    EXPECT_EQ(live.delta(), 0);
}

TEST(Reshape, UnwrapsACellTransposesAndReleasesTheArgumentOnFailure) {
    const mt::LiveArrays live;
    EXPECT_MESSAGE(klf::reshape(counting({2, 3}), klf::ArraySize{4, 2}),
                   inconsistent(u"2x3", 6, u"4x2", 8));
    EXPECT_MESSAGE(klf::reshape(mt::doubles({1, 0}, {}), klf::ArraySize{}),
                   inconsistent(u"1x0", 0, u"[]", 1));
    EXPECT_MESSAGE(klf::reshape(counting({2, 3}), mt::doubles({1, 1}, {0}).get()),
                   inconsistent(u"2x3", 6, u"1x1", 1));
    EXPECT_MESSAGE(klf::reshape(mt::cell({1, 2}, {mt::scalar(1), mt::scalar(2)}),
                                klf::SizeVariant(klf::ScalarSize{})),
                   inconsistent(u"1x2", 2, u"1x1", 1));
    EXPECT_MESSAGE(klf::set_rows(counting({1, 6}), 4),
                   (ExpectedMessage{"kelvor:core:size", "CannotComputeSize", {6, u"4x[]"}, {}}));
    // A requested count of 2^63 does not fit the message's integer.
    EXPECT_THROW(klf::reshape(counting({2, 3}), klf::ArraySize{std::size_t{1} << 62, 2}),
                 boost::numeric::positive_overflow);
    EXPECT_THROW(klf::transpose(counting({1, 1, 2})), matrix::HostError);
    // ScalarSize unwraps a 1x1 cell (a shared copy of the element); transposing makes a new array.
    unique_hyarray_ptr element = mt::text(u"inside");
    unique_hyarray_ptr result =
        klf::reshape(mt::cell({1, 1}, {matrix::detail::do_shared_copy(element.get())}),
                     klf::SizeVariant(klf::ScalarSize{}));
    EXPECT_TRUE(host::shares_data(result.get(), element.get()));
    EXPECT_TRUE(hyAreMatricesEqual(klf::transpose(counting({2, 3})).get(),
                                   mt::doubles({3, 2}, {1, 3, 5, 2, 4, 6}).get()));
    result.reset();
    element.reset();
    EXPECT_EQ(live.delta(), 0);  // the cell and the transposed argument are gone
}

// Answers every size question with 7x7 and records what it was asked.
struct FakeShapeService : klf::ObjectShapeService {
    klf::ArraySize size(const hyArray*) override {
        ++sizes;
        return klf::ArraySize{7, 7};
    }
    unique_hyarray_ptr reshape(unique_hyarray_ptr a, const klf::ArraySize& target) override {
        ++reshapes;
        last_target = target;
        return a;
    }
    // Calls to size and reshape so far, and the last reshape's target.
    auto calls() const { return std::tuple(sizes, reshapes, last_target); }
    int sizes = 0, reshapes = 0;
    klf::ArraySize last_target;
};

// The object-shape service is looked up once per process and kept, so the
// whole story runs in one test, in order.
TEST(ObjectShape, ServiceIsLookedUpOnFirstNeedAndKept) {
    host::define_class("ShapeSized", {}, {"size"});
    host::define_class("ShapeBoth", {}, {"size", "reshape"});
    host::define_class("ShapeDerived", {"ShapeBoth"}, {});
    const mt::LiveArrays live;
    // Only "size", or not a scalar: native, with or without a service.
    const auto native_cases = [] {
        EXPECT_EQ(klf::size(mt::object("ShapeSized").get()), (klf::ArraySize{1, 1}));
        EXPECT_EQ(klf::size(mt::object("ShapeBoth", {2, 1}).get()), (klf::ArraySize{2, 1}));
        EXPECT_EQ(
            mt::dims_of(klf::reshape(mt::object("ShapeBoth", {2, 1}), klf::ArraySize{1, 2}).get()),
            (Dims{1, 2}));
        EXPECT_EQ(klf::size(mt::scalar(1).get()), (klf::ArraySize{1, 1}));
        EXPECT_EQ(klf::size(host::create_object_deferred("ShapeBoth", Dims{2, 1}).get()),
                  (klf::ArraySize{2, 1}));
    };
    native_cases();
    // Both methods and no service registered.
    try {
        (void)klf::size(mt::object("ShapeBoth").get());
        ADD_FAILURE() << "expected NoObjectShapeService";
    } catch (const klf::NoObjectShapeService& e) {
        EXPECT_STREQ(e.what(), "No ObjectShapeService available.");
    }
    EXPECT_THROW(klf::reshape(mt::object("ShapeBoth"), klf::ArraySize{1, 1}),
                 klf::NoObjectShapeService);
    EXPECT_THROW(klf::to_row(mt::object("ShapeDerived")), klf::NoObjectShapeService);
    EXPECT_EQ(live.delta(), 0);

    auto service = std::make_shared<FakeShapeService>();
    auto registration =
        klf::get_global_bundle_context().RegisterService<klf::ObjectShapeService>(service);
    EXPECT_EQ(klf::size(mt::object("ShapeBoth").get()), (klf::ArraySize{7, 7}));
    EXPECT_EQ(service->sizes, 1);
    // to_row asks the service for the count, then has it reshape.
    unique_hyarray_ptr obj = mt::object("ShapeDerived");
    hyArray* const handle = obj.get();
    obj = klf::to_row(std::move(obj));
    EXPECT_EQ(obj.get(), handle);
    EXPECT_EQ(service->calls(), std::tuple(2, 1, klf::ArraySize{1, 49}));
    // The list form completes the missing entry from the service's count, and
    // a reshape to an object's size asks the service for that size.
    obj = klf::set_cols(std::move(obj), 7);
    EXPECT_EQ(obj.get(), handle);
    EXPECT_EQ(mt::dims_of(klf::reshape(counting({1, 49}), mt::object("ShapeBoth").get()).get()),
              (Dims{7, 7}));
    EXPECT_EQ(service->calls(), std::tuple(4, 2, klf::ArraySize{7, 7}));
    host::define_class("ShapeOpaque", {}, {"reshape", "size"});
    EXPECT_EQ(klf::size(host::create_opaque("ShapeOpaque", Dims{1, 1}).get()),
              (klf::ArraySize{7, 7}));
    native_cases();
    EXPECT_EQ(service->sizes, 5);

    registration.Unregister();
    EXPECT_EQ(klf::size(mt::object("ShapeBoth").get()), (klf::ArraySize{7, 7}));
    EXPECT_EQ(service->sizes, 6);
    obj.reset();
    EXPECT_EQ(live.delta(), 0);
}

}  // namespace
