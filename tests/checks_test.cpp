#include <array>
#include <functional>
#include <string>
#include <tuple>

#include <gtest/gtest.h>
#include <boost/numeric/conversion/converter_policies.hpp>

#include <hyarray/testing.hpp>
#include <kelvor/common/foundation/matrix/checks.hpp>

#include "message_matchers.hpp"

using kelvor::testing::hy_message;
namespace mt = matrix::testing;

namespace {

// `call` passes when `key` is empty and otherwise raises exactly that key with `arguments`.
void expect_check(const std::function<void()>& call, const std::string& key,
                  std::vector<kelvor::testing::MessageArgument> arguments = {}) {
    if (key.empty())
        EXPECT_NO_THROW(call());
    else
        EXPECT_MESSAGE(call(), hy_message(key, std::move(arguments)));
}

TEST(Checks, CountsAreComparedAsSizesTooFewFirst) {
    // (least, most, given) by the key's first word ("Inputs" or "Outputs" follows; empty:
    // passes). With least > most, below least is too few and above it too many.
    const std::pair<std::string, std::vector<std::array<klf::Count, 3>>> rows[] = {
        {"", {{0, 0, 0}, {1, 3, 3}, {1, 3, 1}, {2ul, 5, 2ul}, {0, ~0ul, ~0ul}}},
        {"Insufficient", {{1, 3, 0}, {5, 2, 4}}},
        {"Excessive", {{1, 3, 4}, {5, 2, 6}, {5, 2, 5}, {2, 5ul, 6}}}};
    for (const auto& [word, counts] : rows) {
        const std::string in = word.empty() ? "" : word + "Inputs";
        const std::string out = word.empty() ? "" : word + "Outputs";
        for (const auto& c : counts) {
            SCOPED_TRACE(testing::Message() << c[0] << " " << c[1] << " " << c[2]);
            expect_check([&c] { klf::check_num_arguments(c[0], c[1], c[2]); }, in);
            expect_check([&c] { klf::check_num_outputs(c[0], c[1], c[2]); }, out);
            const int *lo = boost::get<int>(&c[0]), *hi = boost::get<int>(&c[1]),
                      *n = boost::get<int>(&c[2]);
            if (lo && hi && n)  // check_num_inputs takes ints
                expect_check([=] { klf::check_num_inputs(*lo, *hi, *n); }, in);
        }
    }
}

TEST(Checks, NegativeIntCountIsANegativeOverflowBeforeAnyComparison) {
    // Even a count that would be too few reports the overflow.
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
    {
        const matrix::unique_hyarray_ptr scalars[] = {mt::scalar(3), mt::doubles({}, {7}),
                                                      mt::cell({1, 1}, {mt::scalar(1)}),
                                                      mt::doubles({1, 1, 1}, {7})};
        const matrix::unique_hyarray_ptr others[] = {mt::doubles({1, 2}, {1, 2}),
                                                     mt::doubles({0, 0}, {}), mt::text(u"ab"),
                                                     mt::doubles({1, 0}, {})};
        for (const auto& value : scalars)
            EXPECT_NO_THROW(klf::check_hyarray_is_scalar(value.get()));
        for (const auto& value : others)
            EXPECT_MESSAGE(klf::check_hyarray_is_scalar(value.get()),
                           hy_message("ScalarValueExpected"));
    }
    EXPECT_EQ(live.delta(), 0);
}

TEST(Checks, RequireClassAcceptsTheClassAndItsDescendantsAndNamesTheDottedPath) {
    matrix::host::define_class("pkg.sub.Name", {}, {});
    matrix::host::define_class("pkg.sub.Derived", {"pkg.sub.Name"}, {});
    matrix::host::define_class("pkg.Leaf", {"pkg.sub.Derived"}, {});
    const klf::BasicTxIdPath<1> name{klf::TxId("pkg"), klf::TxId("sub"), klf::TxId("Name")};
    const mt::LiveArrays live;
    {
        // The class wanted, the value, and the arguments of UnexpectedClass (none: accepted).
        const struct {
            klf::BasicTxIdPath<1> cls;
            matrix::unique_hyarray_ptr value;
            std::vector<kelvor::testing::MessageArgument> arguments;
        } rows[] = {{name, mt::object("pkg.sub.Name"), {}},
                    {name, mt::object("pkg.Leaf"), {}},
                    {{klf::TxId("double")}, mt::scalar(1), {}},
                    {name, mt::scalar(1), {ustring(u"pkg.sub.Name"), "double"}},
                    {{klf::TxId("cell")}, mt::text(u"x"), {ustring(u"cell"), "char"}},
                    {{}, mt::logical(true), {ustring(), "logical"}}};
        for (const auto& [cls, value, arguments] : rows)
            expect_check([&c = cls, &v = value] { klf::require_class(c, v.get()); },
                         arguments.empty() ? "" : "UnexpectedClass", arguments);
    }
    EXPECT_EQ(live.delta(), 0);
}

}  // namespace
