#include "message_matchers.hpp"

#include <sstream>

#include <kelvor/core/utf.hpp>

namespace kelvor::testing {
namespace {

// "catalog:key(int 3, str "a", ustr u"b")"
std::string describe(const std::string& catalog, const std::string& key,
                     const std::vector<MessageArgument>& arguments) {
    std::ostringstream out;
    out << catalog << ":" << key << "(";
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        out << (i ? ", " : "");
        if (const auto* n = std::get_if<0>(&arguments[i]))
            out << "int " << *n;
        else if (const auto* s = std::get_if<1>(&arguments[i]))
            out << "str \"" << *s << '"';
        else
            out << "ustr u\"" << klf::ustring_to_utf8_string(std::get<2>(arguments[i])) << '"';
    }
    out << ")";
    return out.str();
}

// The exception in the expected form, so that comparing and describing are one thing each.
ExpectedMessage as_expected(const klf::MessageException& e) {
    const auto& id = e.message().id();
    ExpectedMessage m{id.catalog(), id.key(), id.arguments(), {}};
    for (const auto& cause : e.causes()) {
        if (const auto* c = dynamic_cast<const klf::MessageException*>(cause.get()))
            m.causes.push_back(as_expected(*c));
        else
            m.causes.push_back({"non-message exception", cause->what(), {}, {}});
    }
    return m;
}

std::string describe(const ExpectedMessage& m) {
    std::string out = describe(m.catalog, m.key, m.arguments);
    for (std::size_t i = 0; i < m.causes.size(); ++i)
        out += (i ? "; " : " caused by [") + describe(m.causes[i]);
    return m.causes.empty() ? out : out + "]";
}

}  // namespace

ExpectedMessage hy_message(std::string key, std::vector<MessageArgument> arguments,
                           std::vector<ExpectedMessage> causes) {
    return ExpectedMessage{hy_catalog, std::move(key), std::move(arguments), std::move(causes)};
}

std::string describe(const resource_core::BaseMsgID& id) {
    return describe(id.catalog(), id.key(), id.arguments());
}

::testing::AssertionResult matches_message(const klf::MessageException& e,
                                           const ExpectedMessage& expected) {
    const ExpectedMessage actual = as_expected(e);
    if (actual == expected)
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure()
           << "expected " << describe(expected) << "\n  actual " << describe(actual);
}

}  // namespace kelvor::testing
