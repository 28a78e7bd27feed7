// UTF-16 output string streams.
//
// The standard library provides no character classification for char16_t, so
// a std::basic_ostringstream<char16_t> cannot widen characters: padding,
// std::endl and anything else needing the fill character fail. Call
// setup_stream_locale() on such a stream before writing to it.
//
//     std::basic_ostringstream<char16_t> os;
//     klf::setup_stream_locale(os);
//     os << u"name" << u'.' << std::endl;
#pragma once

#include <sstream>

namespace klf {

/// Imbues `os` with a locale holding a std::ctype<char16_t> facet (ASCII
/// classification and case mapping; widen/narrow map ASCII one to one).
/// Numbers are not supported: format them as text before writing.
void setup_stream_locale(std::basic_ostringstream<char16_t>& os);

}  // namespace klf
