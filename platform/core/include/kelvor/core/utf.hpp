// Conversions between the family's UTF-16 text and 8-bit text.
//
// Malformed input (invalid or truncated UTF-8 sequences, overlong forms,
// encoded surrogates, unpaired UTF-16 surrogates) is never an error: each
// malformed sequence becomes U+FFFD, so a conversion always succeeds and
// well-formed text round-trips exactly. The local 8-bit encoding is UTF-8.
#pragma once

#include <string>
#include <string_view>

#include <kelvor/core/ustring.hpp>

namespace klf {

ustring utf8_string_to_ustring(std::string_view text);
std::string ustring_to_utf8_string(std::u16string_view text);

/// The local encoding is UTF-8: these equal the two conversions above.
ustring local_encoded_string_to_ustring(std::string_view text);
std::string ustring_to_local_encoded_string(std::u16string_view text);

}  // namespace klf
