#include <optional>
#include <string>

#include <gtest/gtest.h>
#include <boost/numeric/conversion/converter_policies.hpp>

#include <hyarray/testing.hpp>
#include <kelvor/common/foundation/matrix/checks.hpp>

#include "message_matchers.hpp"

using kelvor::testing::hy_message;
using kelvor::testing::matches_message;
namespace mt = matrix::testing;

namespace {

// nullopt: the check passes; otherwise the key it raises (no arguments).
struct CountRow {
    klf::Count least, most, given;
    std::optional<std::string> inputs_key;
    std::optional<std::string> outputs_key;
};

TEST(Checks, CountsAreComparedAsSizesTooFewFirst) {
    const CountRow rows[] = {
        {0, 0, 0, {}, {}},
        {1, 3, 0, "InsufficientInputs", "InsufficientOutputs"},
        {1, 3, 4, "ExcessiveInputs", "ExcessiveOutputs"},
        {1, 3, 3, {}, {}},
        {1, 3, 1, {}, {}},
        // least > most: below least reports too few, above both too many.
        {5, 2, 4, "InsufficientInputs", "InsufficientOutputs"},
        {5, 2, 6, "ExcessiveInputs", "ExcessiveOutputs"},
        {5, 2, 5, "ExcessiveInputs", "ExcessiveOutputs"},
        // int and size alternatives mix freely.
        {2, 5ul, 6, "ExcessiveInputs", "ExcessiveOutputs"},
        {2ul, 5, 2ul, {}, {}},
        {0, ~0ul, ~0ul, {}, {}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << row.least << " " << row.most << " " << row.given);
        for (bool outputs : {false, true}) {
            const auto& key = outputs ? row.outputs_key : row.inputs_key;
            auto call = [&] {
                outputs ? klf::check_num_outputs(row.least, row.most, row.given)
                        : klf::check_num_arguments(row.least, row.most, row.given);
            };
            if (!key) {
                EXPECT_NO_THROW(call());
            } else {
                EXPECT_MESSAGE(call(), hy_message(*key));
            }
        }
    }
}

TEST(Checks, CheckNumInputsTakesInts) {
    EXPECT_NO_THROW(klf::check_num_inputs(0, 0, 0));
    EXPECT_MESSAGE(klf::check_num_inputs(1, 3, 0), hy_message("InsufficientInputs"));
    EXPECT_MESSAGE(klf::check_num_inputs(1, 3, 4), hy_message("ExcessiveInputs"));
    EXPECT_NO_THROW(klf::check_num_inputs(1, 3, 3));
}

TEST(Checks, NegativeIntCountIsANegativeOverflowBeforeAnyComparison) {
    // The negative count is converted before the others are compared: even a
    // count that would be too few reports the overflow.
    const klf::Count rows[][3] = {{-1, 3, 2}, {1, -3, 0}, {1, 3, -2}, {-1, -1, -1}};
    for (const auto& row : rows) {
        try {
            klf::check_num_outputs(row[0], row[1], row[2]);
            ADD_FAILURE() << "no exception";
        } catch (const boost::numeric::negative_overflow& e) {
            EXPECT_STREQ(e.what(), "bad numeric conversion: negative overflow");
        }
    }
    EXPECT_THROW(klf::check_num_inputs(-1, 3, 2), boost::numeric::negative_overflow);
}

TEST(Checks, ScalarMeansExactlyOneElement) {
    const mt::LiveArrays live;
    EXPECT_NO_THROW(klf::check_hyarray_is_scalar(mt::scalar(3).get()));
    EXPECT_NO_THROW(klf::check_hyarray_is_scalar(mt::doubles({}, {7}).get()));
    EXPECT_NO_THROW(klf::check_hyarray_is_scalar(mt::cell({1, 1}, {mt::scalar(1)}).get()));
    EXPECT_NO_THROW(klf::check_hyarray_is_scalar(mt::doubles({1, 1, 1}, {7}).get()));
    {
        const matrix::unique_hyarray_ptr not_scalars[] = {mt::doubles({1, 2}, {1, 2}),
                                                          mt::doubles({0, 0}, {}), mt::text(u"ab"),
                                                          mt::doubles({1, 0}, {})};
        for (const auto& value : not_scalars) {
            EXPECT_MESSAGE(klf::check_hyarray_is_scalar(value.get()),
                           hy_message("ScalarValueExpected"));
        }
    }
    EXPECT_EQ(live.delta(), 0);
}

TEST(Checks, RequireClassAcceptsTheClassAndItsDescendants) {
    matrix::host::define_class("pkg.sub.Name", {}, {});
    matrix::host::define_class("pkg.sub.Derived", {"pkg.sub.Name"}, {});
    matrix::host::define_class("pkg.Leaf", {"pkg.sub.Derived"}, {});
    const klf::BasicTxIdPath<1> name{klf::TxId("pkg"), klf::TxId("sub"), klf::TxId("Name")};
    EXPECT_NO_THROW(klf::require_class(name, mt::object("pkg.sub.Name").get()));
    EXPECT_NO_THROW(klf::require_class(name, mt::object("pkg.Leaf").get()));
    EXPECT_NO_THROW(klf::require_class({klf::TxId("double")}, mt::scalar(1).get()));
}

TEST(Checks, RequireClassNamesTheDottedPathAndTheActualClass) {
    const mt::LiveArrays live;
    const klf::BasicTxIdPath<1> name{klf::TxId("pkg"), klf::TxId("sub"), klf::TxId("Name")};
    EXPECT_MESSAGE(klf::require_class(name, mt::scalar(1).get()),
                   hy_message("UnexpectedClass", {ustring(u"pkg.sub.Name"), "double"}));
    EXPECT_MESSAGE(klf::require_class({klf::TxId("cell")}, mt::text(u"x").get()),
                   hy_message("UnexpectedClass", {ustring(u"cell"), "char"}));
    EXPECT_MESSAGE(klf::require_class(klf::BasicTxIdPath<1>{}, mt::logical(true).get()),
                   hy_message("UnexpectedClass", {ustring(), "logical"}));
    EXPECT_EQ(live.delta(), 0);
}

}  // namespace
