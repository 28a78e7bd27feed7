// Message identifiers, message formatting and the family's exceptions.
#include <kelvor/core/exception.hpp>

#include <string>
#include <utility>

#include <kelvor/core/utf.hpp>

namespace resource_core {

BaseMsgID::BaseMsgID(std::string catalog, std::string key, std::vector<Argument> arguments)
    : catalog_(std::move(catalog)), key_(std::move(key)), arguments_(std::move(arguments)) {}

}  // namespace resource_core

namespace klf {
namespace {

ustring argument_text(const resource_core::BaseMsgID::Argument& arg) {
    switch (arg.index()) {
        case 0: {
            const std::string digits = std::to_string(std::get<0>(arg));
            return ustring(digits.begin(), digits.end());
        }
        case 1:
            return utf8_string_to_ustring(std::get<1>(arg));
        default:
            return std::get<2>(arg);
    }
}

/// Replaces each "{n}" by argument n; a placeholder without an argument, and
/// any other brace, stays as written.
ustring fill_placeholders(const ustring& pattern,
                          const std::vector<resource_core::BaseMsgID::Argument>& args) {
    ustring out;
    out.reserve(pattern.size());
    std::size_t i = 0;
    while (i < pattern.size()) {
        if (pattern[i] == u'{') {
            std::size_t j = i + 1;
            std::size_t n = 0;
            while (j < pattern.size() && pattern[j] >= u'0' && pattern[j] <= u'9' && j - i < 6) {
                n = n * 10 + (pattern[j] - u'0');
                ++j;
            }
            if (j > i + 1 && j < pattern.size() && pattern[j] == u'}' && n < args.size()) {
                out += argument_text(args[n]);
                i = j + 1;
                continue;
            }
        }
        out.push_back(pattern[i]);
        ++i;
    }
    return out;
}

ustring uncatalogued_text(const resource_core::BaseMsgID& id) {
    ustring out = utf8_string_to_ustring(id.catalog() + ":" + id.key());
    if (!id.arguments().empty()) {
        out += u" (";
        for (std::size_t i = 0; i < id.arguments().size(); ++i) {
            out += (i != 0 ? u", " : u"") + argument_text(id.arguments()[i]);
        }
        out += u')';
    }
    return out;
}

}  // namespace

Message::Message(const resource_core::BaseMsgID& id) : id_(id) {}

ustring Message::text() const {
    if (const ustring* pattern = find_catalog_text(id_.catalog(), id_.key())) {
        return fill_placeholders(*pattern, id_.arguments());
    }
    return uncatalogued_text(id_);
}

void AttributedException::addCause(const Exception& cause) {
    causes_.push_back(cause.clone());
    causeAdded(*causes_.back());
}

void AttributedException::causeAdded(const Exception&) {}

MessageException::MessageException(const Message& message)
    : message_(message), what_(ustring_to_utf8_string(message.text())) {}

std::unique_ptr<Exception> MessageException::clone() const {
    return std::make_unique<MessageException>(*this);
}

void MessageException::causeAdded(const Exception& cause) {
    // The cause's own causes are already in its text; indenting every line of
    // it once more keeps the nesting visible.
    std::string text = cause.what();
    for (std::size_t at = text.find('\n'); at != std::string::npos; at = text.find('\n', at + 3)) {
        text.insert(at + 1, "  ");
    }
    what_ += "\n  caused by: ";
    what_ += text;
}

}  // namespace klf
