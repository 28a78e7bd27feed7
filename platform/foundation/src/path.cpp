// Native spelling of path texts.
#include <fl/filesystem/path.hpp>

namespace fl::filesystem::detail {

std::u16string make_native_form(const std::u16string& text, bool) {
    std::u16string out;
    out.reserve(text.size());
    for (char16_t c : text) {
        if (c == u'\\') {
            c = u'/';
        }
        if (c == u'/' && !out.empty() && out.back() == u'/') {
            continue;
        }
        out.push_back(c);
    }
    if (out.size() > 1 && out.back() == u'/') {
        out.pop_back();
    }
    return out;
}

}  // namespace fl::filesystem::detail
