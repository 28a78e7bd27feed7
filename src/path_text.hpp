// Turning a text into a path, shared by the path and stack-frame conversions
// so that a frame's file reads exactly as to_upath would read it.
#pragma once

#include <fl/filesystem/path.hpp>
#include <kelvor/core/ustring.hpp>

namespace klf::detail {

/// The empty path for empty text (the native form is asked only of a real
/// path text), otherwise the path of the text's native form.
fl::filesystem::upath path_from_text(const ustring& text);

}  // namespace klf::detail
