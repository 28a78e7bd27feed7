// Interned identifier strings and identifier validation.
#include <kelvor/core/table_string.hpp>

#include <algorithm>

#include <boost/container_hash/hash.hpp>

#include <kelvor/core/exception.hpp>

#include "intern.hpp"

namespace klf {
namespace {

struct TextHash {
    using is_transparent = void;
    std::size_t operator()(std::string_view s) const noexcept {
        return boost::hash_range(s.begin(), s.end());
    }
    std::size_t operator()(const std::string* s) const noexcept { return (*this)(*s); }
};

struct TextEq {
    using is_transparent = void;
    bool operator()(const std::string* a, const std::string* b) const noexcept { return a == b; }
    bool operator()(std::string_view a, const std::string* b) const noexcept { return a == *b; }
    bool operator()(const std::string* a, std::string_view b) const noexcept { return *a == b; }
};

const std::string* intern(std::string_view text) {
    static const std::string* const empty = new std::string;
    if (text.empty()) {
        return empty;
    }
    using Table = detail::InternTable<const std::string*, TextHash, TextEq, 4>;
    static Table* const table = new Table;  // never destroyed: handles outlive statics
    const std::size_t hash = TextHash{}(text);
    return table->intern(text, hash,
                         [&] { return static_cast<const std::string*>(new std::string(text)); });
}

bool is_ascii_letter(char16_t c) {
    return (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z');
}

bool is_identifier(const char16_t* text, std::size_t length) {
    constexpr std::size_t max_length = 63;
    if (text == nullptr || length == 0 || length > max_length || !is_ascii_letter(text[0])) {
        return false;
    }
    return std::all_of(text + 1, text + length, [](char16_t c) {
        return is_ascii_letter(c) || (c >= u'0' && c <= u'9') || c == u'_';
    });
}

}  // namespace

BasicTableString<char>::BasicTableString() noexcept : text_(intern({})) {}

BasicTableString<char>::BasicTableString(std::string_view text) : text_(intern(text)) {}

int BasicTableString<char>::compare_(const BasicTableString& other) const noexcept {
    if (text_ == other.text_) {
        return 0;
    }
    const int c = text_->compare(*other.text_);
    return c < 0 ? -1 : (c > 0 ? 1 : 0);
}

namespace detail {

TxId TxIdCheck::operator()(const char16_t* text, std::size_t length) const {
    if (!is_identifier(text, length)) {
        ustring given = text != nullptr ? ustring(text, length) : ustring();
        throw MessageException(Message(resource_core::BaseMsgID(
            "kelvor:core:identifier", "InvalidIdentifier", {std::move(given)})));
    }
    // Valid identifiers are ASCII: each unit is one byte of the same value.
    std::string narrow(length, '\0');
    std::transform(text, text + length, narrow.begin(),
                   [](char16_t c) { return static_cast<char>(c); });
    return TxId(narrow);
}

}  // namespace detail
}  // namespace klf
