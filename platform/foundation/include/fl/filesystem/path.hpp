// File paths of the foundation layer, kept as UTF-16 text.
//
// A path stores the text it was made from, unchanged: callers that want the
// canonical spelling pass the text through detail::make_native_form() first,
// so that comparing two paths is comparing their texts.
//
//     fl::filesystem::upath p(fl::filesystem::detail::make_native_form(u"a\\b//c/", true));
//     p.native();   // u"a/b/c"
#pragma once

#include <string>
#include <utility>

namespace fl::filesystem {

namespace detail {

/// Character types of a path: 8-bit for narrow interfaces, Wide for storage.
template <class Narrow, class Wide>
struct path_traits {
    using narrow_char = Narrow;
    using value_type = Wide;
    using string_type = std::basic_string<Wide>;
};

/// The native spelling of a path text: backslashes become "/", runs of "/"
/// collapse to one, and a trailing "/" is dropped unless the whole path is the
/// root "/". The flag is accepted for interface compatibility; both values
/// give the same result.
std::u16string make_native_form(const std::u16string& text, bool);

}  // namespace detail

template <class Narrow, class Wide, class Traits = detail::path_traits<Narrow, Wide>>
class basic_path {
public:
    using value_type = Wide;
    using string_type = typename Traits::string_type;

    /// The empty path.
    basic_path() = default;
    /// A path holding `text` as given; marks the path as made from text.
    basic_path(string_type text) : text_(std::move(text)), from_text_(true) {}

    /// The stored text.
    const string_type& native() const noexcept { return text_; }
    bool empty() const noexcept { return text_.empty(); }
    /// True when the path was made from a text, false when default-constructed.
    bool from_text() const noexcept { return from_text_; }

    /// Paths are equal when their texts are.
    friend bool operator==(const basic_path& a, const basic_path& b) noexcept {
        return a.text_ == b.text_;
    }

private:
    string_type text_;
    bool from_text_ = false;
};

/// The path over UTF-16 text used throughout the family.
using upath = basic_path<char, char16_t, detail::path_traits<char, char16_t>>;

}  // namespace fl::filesystem
