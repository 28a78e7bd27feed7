#include "message_matchers.hpp"

#include <sstream>

#include <kelvor/core/utf.hpp>

namespace kelvor::testing {
namespace {

std::string describe_argument(const MessageArgument& arg) {
    std::ostringstream out;
    switch (arg.index()) {
        case 0:
            out << "int " << std::get<0>(arg);
            break;
        case 1:
            out << "str \"" << std::get<1>(arg) << '"';
            break;
        default:
            out << "ustr u\"" << klf::ustring_to_utf8_string(std::get<2>(arg)) << '"';
            break;
    }
    return out.str();
}

std::string describe_expected(const ExpectedMessage& m) {
    std::ostringstream out;
    out << m.catalog << ":" << m.key << "(";
    for (std::size_t i = 0; i < m.arguments.size(); ++i) {
        out << (i ? ", " : "") << describe_argument(m.arguments[i]);
    }
    out << ")";
    if (!m.causes.empty()) {
        out << " caused by [";
        for (std::size_t i = 0; i < m.causes.size(); ++i) {
            out << (i ? "; " : "") << describe_expected(m.causes[i]);
        }
        out << "]";
    }
    return out.str();
}

std::string describe_actual(const klf::MessageException& e) {
    std::ostringstream out;
    out << describe(e.message().id());
    if (!e.causes().empty()) {
        out << " caused by [";
        bool first = true;
        for (const auto& cause : e.causes()) {
            out << (first ? "" : "; ");
            first = false;
            if (const auto* m = dynamic_cast<const klf::MessageException*>(cause.get())) {
                out << describe_actual(*m);
            } else {
                out << "non-message exception: " << cause->what();
            }
        }
        out << "]";
    }
    return out.str();
}

bool same(const klf::MessageException& e, const ExpectedMessage& expected) {
    const auto& id = e.message().id();
    if (id.catalog() != expected.catalog || id.key() != expected.key ||
        id.arguments() != expected.arguments || e.causes().size() != expected.causes.size()) {
        return false;
    }
    for (std::size_t i = 0; i < expected.causes.size(); ++i) {
        const auto* cause = dynamic_cast<const klf::MessageException*>(e.causes()[i].get());
        if (cause == nullptr || !same(*cause, expected.causes[i])) {
            return false;
        }
    }
    return true;
}

}  // namespace

ExpectedMessage hy_message(std::string key, std::vector<MessageArgument> arguments,
                           std::vector<ExpectedMessage> causes) {
    return ExpectedMessage{hy_catalog, std::move(key), std::move(arguments), std::move(causes)};
}

std::string describe(const resource_core::BaseMsgID& id) {
    std::ostringstream out;
    out << id.catalog() << ":" << id.key() << "(";
    for (std::size_t i = 0; i < id.arguments().size(); ++i) {
        out << (i ? ", " : "") << describe_argument(id.arguments()[i]);
    }
    out << ")";
    return out.str();
}

::testing::AssertionResult matches_message(const klf::MessageException& e,
                                           const ExpectedMessage& expected) {
    if (same(e, expected)) {
        return ::testing::AssertionSuccess();
    }
    return ::testing::AssertionFailure()
           << "expected " << describe_expected(expected) << "\n  actual " << describe_actual(e);
}

}  // namespace kelvor::testing
