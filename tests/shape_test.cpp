#include <cstdint>
#include <memory>
#include <optional>
#include <string>
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

unique_hyarray_ptr one_to_six(const Dims& dims) {
    const std::vector<double> values{1, 2, 3, 4, 5, 6};
    return mt::numeric<double>(dims, values);
}

TEST(Reshape, ChangesTheDimensionsInPlace) {
    const mt::LiveArrays live;
    unique_hyarray_ptr a = one_to_six({2, 3});
    hyArray* const handle = a.get();
    const void* const data = matrix::data(static_cast<const hyArray*>(handle));
    a = klf::reshape(std::move(a), klf::ArraySize{3, 2});
    EXPECT_EQ(a.get(), handle);
    EXPECT_EQ(matrix::data(static_cast<const hyArray*>(a.get())), data);
    EXPECT_EQ(mt::dims_of(a.get()), (Dims{3, 2}));
    EXPECT_EQ(mt::values_of<double>(a.get()), (std::vector<double>{1, 2, 3, 4, 5, 6}));
    // Beyond the three dimensions held inline.
    a = klf::reshape(std::move(a), klf::ArraySize{1, 2, 1, 3, 1});
    EXPECT_EQ(a.get(), handle);
    EXPECT_EQ(mt::dims_of(a.get()), (Dims{1, 2, 1, 3, 1}));
    a = klf::reshape(std::move(a), mt::doubles({6, 1}, {0, 0, 0, 0, 0, 0}).get());
    EXPECT_EQ(mt::dims_of(a.get()), (Dims{6, 1}));
    a = klf::reshape(std::move(a), klf::SizeVariant(klf::ArraySize{2, 3}));
    EXPECT_EQ(mt::dims_of(a.get()), (Dims{2, 3}));
    a.reset();
    EXPECT_EQ(live.delta(), 0);
}

struct ShapeRow {
    const char* name;
    std::function<unique_hyarray_ptr(unique_hyarray_ptr)> op;
    Dims input;
    Dims expected;
};

TEST(Reshape, ListsRowsColumnsAndVectors) {
    using L = std::vector<std::optional<std::size_t>>;
    const ShapeRow rows[] = {
        {"list {_, 2}",
         [](auto a) {
             return klf::reshape(std::move(a), L{std::nullopt, 2});
         },
         {2, 3},
         {3, 2}},
        {"list {3, _, 1}",
         [](auto a) {
             return klf::reshape(std::move(a), L{3, std::nullopt, 1});
         },
         {1, 6},
         {3, 2, 1}},
        {"set_rows 2", [](auto a) { return klf::set_rows(std::move(a), 2); }, {1, 6}, {2, 3}},
        {"set_cols 3", [](auto a) { return klf::set_cols(std::move(a), 3); }, {1, 6}, {2, 3}},
        {"to_row", [](auto a) { return klf::to_row(std::move(a)); }, {3, 2}, {1, 6}},
        {"to_column", [](auto a) { return klf::to_column(std::move(a)); }, {3, 2}, {6, 1}},
    };
    for (const ShapeRow& row : rows) {
        SCOPED_TRACE(row.name);
        unique_hyarray_ptr a = one_to_six(row.input);
        hyArray* const handle = a.get();
        a = row.op(std::move(a));
        EXPECT_EQ(a.get(), handle);
        EXPECT_EQ(mt::dims_of(a.get()), row.expected);
    }
    EXPECT_EQ(mt::dims_of(klf::to_row(mt::doubles({0, 0}, {})).get()), (Dims{1, 0}));
    EXPECT_EQ(mt::dims_of(klf::to_column(mt::doubles({0, 3}, {})).get()), (Dims{0, 1}));
}

TEST(Reshape, FailuresReleaseTheArgument) {
    const mt::LiveArrays live;
    EXPECT_MESSAGE(klf::reshape(one_to_six({2, 3}), klf::ArraySize{4, 2}),
                   inconsistent(u"2x3", 6, u"4x2", 8));
    EXPECT_MESSAGE(klf::reshape(mt::doubles({1, 0}, {}), klf::ArraySize{}),
                   inconsistent(u"1x0", 0, u"[]", 1));
    EXPECT_MESSAGE(klf::reshape(one_to_six({2, 3}), mt::doubles({1, 1}, {0}).get()),
                   inconsistent(u"2x3", 6, u"1x1", 1));
    EXPECT_MESSAGE(klf::set_rows(one_to_six({1, 6}), 4),
                   (ExpectedMessage{"kelvor:core:size", "CannotComputeSize", {6, u"4x[]"}, {}}));
    // A requested count of 2^63 does not fit the message's integer.
    EXPECT_THROW(klf::reshape(one_to_six({2, 3}), klf::ArraySize{std::size_t{1} << 62, 2}),
                 boost::numeric::positive_overflow);
    EXPECT_THROW(klf::transpose(mt::numeric<double>(std::vector<std::size_t>{1, 1, 2},
                                                    std::vector<double>{1, 2})),
                 matrix::HostError);
    EXPECT_EQ(live.delta(), 0);
}

TEST(Reshape, ScalarSizeUnwrapsAOneByOneCell) {
    const mt::LiveArrays live;
    unique_hyarray_ptr element = mt::text(u"inside");
    unique_hyarray_ptr cell = mt::cell({1, 1}, {matrix::detail::do_shared_copy(element.get())});
    unique_hyarray_ptr result = klf::reshape(std::move(cell), klf::SizeVariant(klf::ScalarSize{}));
    EXPECT_EQ(matrix::class_id(result.get()), hyCHAR_CLASS);
    EXPECT_TRUE(host::shares_data(result.get(), element.get()));
    result.reset();
    element.reset();
    EXPECT_EQ(live.delta(), 0);  // the cell itself is gone

    unique_hyarray_ptr d = mt::doubles({1, 1, 1}, {4});
    hyArray* const handle = d.get();
    d = klf::reshape(std::move(d), klf::SizeVariant(klf::ScalarSize{}));
    EXPECT_EQ(d.get(), handle);
    EXPECT_EQ(mt::dims_of(d.get()), (Dims{1, 1}));

    EXPECT_MESSAGE(klf::reshape(mt::cell({1, 2}, {mt::scalar(1), mt::scalar(2)}),
                                klf::SizeVariant(klf::ScalarSize{})),
                   inconsistent(u"1x2", 2, u"1x1", 1));
}

TEST(Transpose, MakesANewArrayAndReleasesTheArgument) {
    const mt::LiveArrays live;
    unique_hyarray_ptr t = klf::transpose(one_to_six({2, 3}));
    EXPECT_EQ(mt::dims_of(t.get()), (Dims{3, 2}));
    EXPECT_EQ(mt::values_of<double>(t.get()), (std::vector<double>{1, 3, 5, 2, 4, 6}));
    t.reset();
    EXPECT_EQ(live.delta(), 0);
}

// Answers every size question with 7x7 and records what it was asked.
class FakeShapeService : public klf::ObjectShapeService {
public:
    klf::ArraySize size(const hyArray*) override {
        ++sizes;
        return klf::ArraySize{7, 7};
    }
    unique_hyarray_ptr reshape(unique_hyarray_ptr a, const klf::ArraySize& target) override {
        ++reshapes;
        last_target = target;
        return a;
    }
    int sizes = 0;
    int reshapes = 0;
    klf::ArraySize last_target;
};

unique_hyarray_ptr object_of(const std::string& cls, mt::Dims dims = {1, 1}) {
    const std::vector<std::size_t> d(dims);
    return host::create_object(cls, d);
}

// The object-shape service is looked up once per process and kept, so the
// whole story runs in one test, in order.
TEST(ObjectShape, ServiceIsLookedUpOnFirstNeedAndKept) {
    host::define_class("ShapeSized", {}, {"size"});
    host::define_class("ShapeBoth", {}, {"size", "reshape"});
    host::define_class("ShapeDerived", {"ShapeBoth"}, {});
    const mt::LiveArrays live;

    // Only "size", or not a scalar: native, with or without a service.
    const auto native_cases = [] {
        EXPECT_EQ(klf::size(object_of("ShapeSized").get()), (klf::ArraySize{1, 1}));
        EXPECT_EQ(klf::size(object_of("ShapeBoth", {2, 1}).get()), (klf::ArraySize{2, 1}));
        unique_hyarray_ptr pair =
            klf::reshape(object_of("ShapeBoth", {2, 1}), klf::ArraySize{1, 2});
        EXPECT_EQ(mt::dims_of(pair.get()), (Dims{1, 2}));
        EXPECT_EQ(klf::size(mt::scalar(1).get()), (klf::ArraySize{1, 1}));
        const std::vector<std::size_t> d{2, 1};
        EXPECT_EQ(klf::size(host::create_object_deferred("ShapeBoth", d).get()),
                  (klf::ArraySize{2, 1}));
    };
    native_cases();

    // Both methods and no service registered.
    try {
        (void)klf::size(object_of("ShapeBoth").get());
        ADD_FAILURE() << "expected NoObjectShapeService";
    } catch (const klf::NoObjectShapeService& e) {
        EXPECT_STREQ(e.what(), "No ObjectShapeService available.");
    }
    EXPECT_THROW(klf::reshape(object_of("ShapeBoth"), klf::ArraySize{1, 1}),
                 klf::NoObjectShapeService);
    EXPECT_THROW(klf::to_row(object_of("ShapeDerived")), klf::NoObjectShapeService);
    EXPECT_EQ(live.delta(), 0);

    auto service = std::make_shared<FakeShapeService>();
    auto registration =
        klf::get_global_bundle_context().RegisterService<klf::ObjectShapeService>(service);
    EXPECT_EQ(klf::size(object_of("ShapeBoth").get()), (klf::ArraySize{7, 7}));
    EXPECT_EQ(service->sizes, 1);
    // to_row asks the service for the count, then has it reshape.
    unique_hyarray_ptr obj = object_of("ShapeDerived");
    hyArray* const handle = obj.get();
    obj = klf::to_row(std::move(obj));
    EXPECT_EQ(obj.get(), handle);
    EXPECT_EQ(service->sizes, 2);
    EXPECT_EQ(service->reshapes, 1);
    EXPECT_EQ(service->last_target, (klf::ArraySize{1, 49}));
    // The list form completes the missing entry from the service's count, and
    // a reshape to an object's size asks the service for that size.
    obj = klf::set_cols(std::move(obj), 7);
    EXPECT_EQ(obj.get(), handle);
    EXPECT_EQ(service->last_target, (klf::ArraySize{7, 7}));
    EXPECT_EQ(mt::dims_of(klf::reshape(mt::numeric<double>(Dims{1, 49}, std::vector<double>(49)),
                                       object_of("ShapeBoth").get())
                              .get()),
              (Dims{7, 7}));
    EXPECT_EQ(service->sizes, 4);
    EXPECT_EQ(service->reshapes, 2);
    const std::vector<std::size_t> one{1, 1};
    host::define_class("ShapeOpaque", {}, {"reshape", "size"});
    EXPECT_EQ(klf::size(host::create_opaque("ShapeOpaque", one).get()), (klf::ArraySize{7, 7}));
    native_cases();
    EXPECT_EQ(service->sizes, 5);

    registration.Unregister();
    EXPECT_EQ(klf::size(object_of("ShapeBoth").get()), (klf::ArraySize{7, 7}));
    EXPECT_EQ(service->sizes, 6);
    obj.reset();
    EXPECT_EQ(live.delta(), 0);
}

}  // namespace
