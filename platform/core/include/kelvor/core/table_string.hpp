// Identifiers of the family: interned 8-bit strings, one pointer wide.
//
// Each distinct text is stored once for the life of the process, so a
// BasicTableString is a pointer: cheap to copy and hash, equal exactly when
// the pointers are. A BasicTxIdPath is a dotted name such as a
// package-qualified class name, one TxId per component.
//
//     klf::TxId field("velocity");
//     klf::BasicTxIdPath<1> cls{klf::TxId("pkg"), klf::TxId("Model")};
//     klf::TxId checked = klf::detail::TxIdCheck{}(u"x_1", 3);   // validated
#pragma once

#include <cstddef>
#include <initializer_list>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

namespace klf {

template <class Char>
class BasicTableString;

/// The 8-bit interned string.
template <>
class BasicTableString<char> {
public:
    using value_type = char;
    using const_iterator = const char*;

    /// The empty string.
    BasicTableString() noexcept;
    /// Interns `text` (one hash look-up; stored on first sight).
    explicit BasicTableString(std::string_view text);

    const char* data() const noexcept { return text_->data(); }
    std::size_t size() const noexcept { return text_->size(); }
    bool empty() const noexcept { return text_->empty(); }
    const char* begin() const noexcept { return data(); }
    const char* end() const noexcept { return data() + size(); }
    std::string_view view() const noexcept { return *text_; }
    operator std::string() const { return *text_; }

    /// Bytewise three-way comparison: negative, 0 when equal, positive.
    int compare_(const BasicTableString& other) const noexcept;

    friend bool operator==(BasicTableString a, BasicTableString b) noexcept {
        return a.text_ == b.text_;
    }
    /// Bytewise order of the texts.
    friend bool operator<(BasicTableString a, BasicTableString b) noexcept {
        return a.compare_(b) < 0;
    }

private:
    const std::string* text_;
};

static_assert(std::is_trivially_copyable_v<BasicTableString<char>>);
static_assert(sizeof(BasicTableString<char>) == sizeof(void*));

/// An identifier: an interned string that passed detail::TxIdCheck or was
/// made directly by code that knows its text is valid.
using TxId = BasicTableString<char>;

/// A path of identifiers (e.g. a package-qualified name), in order.
template <int N>
class BasicTxIdPath {
public:
    using value_type = TxId;
    using const_iterator = std::vector<TxId>::const_iterator;

    BasicTxIdPath() = default;
    BasicTxIdPath(std::initializer_list<TxId> components) : components_(components) {}
    explicit BasicTxIdPath(std::vector<TxId> components) : components_(std::move(components)) {}

    std::size_t size() const noexcept { return components_.size(); }
    bool empty() const noexcept { return components_.empty(); }
    const TxId& operator[](std::size_t i) const noexcept { return components_[i]; }
    const_iterator begin() const noexcept { return components_.begin(); }
    const_iterator end() const noexcept { return components_.end(); }

    friend bool operator==(const BasicTxIdPath&, const BasicTxIdPath&) = default;

private:
    std::vector<TxId> components_;
};

namespace detail {

/// Validates identifier text: an ASCII letter, then ASCII letters, digits and
/// underscores, at most 63 units in all. Throws klf::MessageException
/// ("kelvor:core:identifier", "InvalidIdentifier", the text as ustr) otherwise.
struct TxIdCheck {
    TxId operator()(const char16_t* text, std::size_t length) const;
};

}  // namespace detail
}  // namespace klf
