// File paths to and from host text.
#include <kelvor/common/foundation/matrix/interchange.hpp>

#include <kelvor/common/foundation/matrix/cells.hpp>
#include <kelvor/common/foundation/matrix/strings.hpp>

#include "path_text.hpp"

namespace klf {

namespace detail {

fl::filesystem::upath path_from_text(const ustring& text) {
    if (text.empty()) {
        return fl::filesystem::upath();
    }
    return fl::filesystem::upath(fl::filesystem::detail::make_native_form(text, true));
}

}  // namespace detail

fl::filesystem::upath to_upath(const hyArray* value) {
    return detail::path_from_text(klf::to_ustring(value));
}

fl::filesystem::upath to_upath(const matrix::unique_hyarray_ptr& value) {
    return to_upath(value.get());
}

}  // namespace klf

namespace fl::filesystem {

matrix::unique_hyarray_ptr to_hyarray(const upath& path) {
    const ustring text = path.native();
    return klf::detail::to_hyarray_impl(text);
}

}  // namespace fl::filesystem
