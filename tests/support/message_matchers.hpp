// Exact checks of the library's catalogued errors: catalog, key, every
// argument with its alternative, and the causes in order.
//
//     EXPECT_MESSAGE(klf::to_ustring(nullptr),
//                    hy_message("StringValueExpected", {}, {hy_message("NullHyArray")}));
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include <gtest/gtest.h>

#include <kelvor/core/exception.hpp>
#include <kelvor/core/ustring.hpp>

namespace kelvor::testing {

using MessageArgument =
    std::decay_t<decltype(std::declval<const resource_core::BaseMsgID&>().arguments())>::value_type;

struct ExpectedMessage {
    std::string catalog;
    std::string key;
    std::vector<MessageArgument> arguments;
    std::vector<ExpectedMessage> causes;
    bool operator==(const ExpectedMessage&) const = default;
};

inline constexpr const char* hy_catalog = "kelvor:common:foundation:matrix:hy";

/// An expected message of the library's main catalog.
ExpectedMessage hy_message(std::string key, std::vector<MessageArgument> arguments = {},
                           std::vector<ExpectedMessage> causes = {});

/// Success when `e` carries exactly the expected identifier and causes.
::testing::AssertionResult matches_message(const klf::MessageException& e,
                                           const ExpectedMessage& expected);

/// Readable form of an identifier, for failure output.
std::string describe(const resource_core::BaseMsgID& id);

}  // namespace kelvor::testing

/// Expects `statement` to throw a klf::MessageException equal to `expected`
/// (an ExpectedMessage); any other exception fails the test as unexpected.
#define EXPECT_MESSAGE(statement, expected)                                                 \
    do {                                                                                    \
        try {                                                                               \
            statement;                                                                      \
            ADD_FAILURE() << "expected a klf::MessageException from: " #statement;          \
        } catch (const klf::MessageException& kelvor_message_exception_) {                  \
            EXPECT_TRUE(                                                                    \
                ::kelvor::testing::matches_message(kelvor_message_exception_, (expected))); \
        }                                                                                   \
    } while (false)
