// Character classification for char16_t streams.
//
// The standard library declares std::ctype<char16_t> but defines none of its
// members, so no locale carries one and a char16_t stream cannot widen its
// fill character. The members are defined here (ASCII classification through
// the classic char table, ASCII case mapping, byte-for-unit widening), once
// for the process: this library is shared, so every user sees this copy.
#include <kelvor/core/stream_locale.hpp>

#include <locale>

namespace {

const std::ctype<char>& classic_ctype() {
    return std::use_facet<std::ctype<char>>(std::locale::classic());
}

bool is_ascii(char16_t c) {
    return c < 0x80;
}

}  // namespace

namespace std {

template <>
ctype<char16_t>::~ctype() {}

template <>
bool ctype<char16_t>::do_is(mask m, char16_t c) const {
    return is_ascii(c) && classic_ctype().is(m, static_cast<char>(c));
}

template <>
const char16_t* ctype<char16_t>::do_is(const char16_t* lo, const char16_t* hi, mask* vec) const {
    for (; lo < hi; ++lo, ++vec) {
        *vec = is_ascii(*lo) ? classic_ctype().table()[static_cast<unsigned char>(*lo)] : mask();
    }
    return hi;
}

template <>
const char16_t* ctype<char16_t>::do_scan_is(mask m, const char16_t* lo, const char16_t* hi) const {
    while (lo < hi && !do_is(m, *lo)) {
        ++lo;
    }
    return lo;
}

template <>
const char16_t* ctype<char16_t>::do_scan_not(mask m, const char16_t* lo, const char16_t* hi) const {
    while (lo < hi && do_is(m, *lo)) {
        ++lo;
    }
    return lo;
}

template <>
char16_t ctype<char16_t>::do_toupper(char16_t c) const {
    return c >= u'a' && c <= u'z' ? static_cast<char16_t>(c - u'a' + u'A') : c;
}

template <>
const char16_t* ctype<char16_t>::do_toupper(char16_t* lo, const char16_t* hi) const {
    for (; lo < hi; ++lo) {
        *lo = do_toupper(*lo);
    }
    return hi;
}

template <>
char16_t ctype<char16_t>::do_tolower(char16_t c) const {
    return c >= u'A' && c <= u'Z' ? static_cast<char16_t>(c - u'A' + u'a') : c;
}

template <>
const char16_t* ctype<char16_t>::do_tolower(char16_t* lo, const char16_t* hi) const {
    for (; lo < hi; ++lo) {
        *lo = do_tolower(*lo);
    }
    return hi;
}

template <>
char16_t ctype<char16_t>::do_widen(char c) const {
    return static_cast<char16_t>(static_cast<unsigned char>(c));
}

template <>
const char* ctype<char16_t>::do_widen(const char* lo, const char* hi, char16_t* dest) const {
    for (; lo < hi; ++lo, ++dest) {
        *dest = do_widen(*lo);
    }
    return hi;
}

template <>
char ctype<char16_t>::do_narrow(char16_t c, char dfault) const {
    return is_ascii(c) ? static_cast<char>(c) : dfault;
}

template <>
const char16_t* ctype<char16_t>::do_narrow(const char16_t* lo, const char16_t* hi, char dfault,
                                           char* to) const {
    for (; lo < hi; ++lo, ++to) {
        *to = do_narrow(*lo, dfault);
    }
    return hi;
}

}  // namespace std

namespace klf {

void setup_stream_locale(std::basic_ostringstream<char16_t>& os) {
    // One facet for the process, with a reference count that never reaches 0.
    static std::ctype<char16_t>* const facet = new std::ctype<char16_t>(1);
    os.imbue(std::locale(os.getloc(), facet));
}

}  // namespace klf
