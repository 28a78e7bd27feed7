// UTF-8 <-> UTF-16 conversion with U+FFFD for malformed input.
#include <kelvor/core/utf.hpp>

#include <cstdint>

namespace klf {
namespace {

constexpr char32_t replacement = 0xFFFD;

void put_utf16(ustring& out, char32_t cp) {
    if (cp < 0x10000) {
        out.push_back(static_cast<char16_t>(cp));
    } else {
        cp -= 0x10000;
        out.push_back(static_cast<char16_t>(0xD800 + (cp >> 10)));
        out.push_back(static_cast<char16_t>(0xDC00 + (cp & 0x3FF)));
    }
}

void put_utf8(std::string& out, char32_t cp) {
    auto byte = [&](char32_t b) { out.push_back(static_cast<char>(static_cast<std::uint8_t>(b))); };
    if (cp < 0x80) {
        byte(cp);
    } else if (cp < 0x800) {
        byte(0xC0 | (cp >> 6));
        byte(0x80 | (cp & 0x3F));
    } else if (cp < 0x10000) {
        byte(0xE0 | (cp >> 12));
        byte(0x80 | ((cp >> 6) & 0x3F));
        byte(0x80 | (cp & 0x3F));
    } else {
        byte(0xF0 | (cp >> 18));
        byte(0x80 | ((cp >> 12) & 0x3F));
        byte(0x80 | ((cp >> 6) & 0x3F));
        byte(0x80 | (cp & 0x3F));
    }
}

/// Length of the sequence a lead byte opens and the allowed range of its
/// first continuation byte (narrower after E0, ED, F0 and F4, which rules out
/// overlong forms, surrogates and values above U+10FFFF); length 0 when the
/// byte cannot start a sequence.
struct Lead {
    int length;
    std::uint8_t low, high;
};

Lead lead_of(std::uint8_t b) {
    if (b >= 0xC2 && b <= 0xDF)
        return {2, 0x80, 0xBF};
    if (b == 0xE0)
        return {3, 0xA0, 0xBF};
    if (b == 0xED)
        return {3, 0x80, 0x9F};
    if (b >= 0xE1 && b <= 0xEF)
        return {3, 0x80, 0xBF};
    if (b == 0xF0)
        return {4, 0x90, 0xBF};
    if (b >= 0xF1 && b <= 0xF3)
        return {4, 0x80, 0xBF};
    if (b == 0xF4)
        return {4, 0x80, 0x8F};
    return {0, 0, 0};
}

}  // namespace

ustring utf8_string_to_ustring(std::string_view text) {
    ustring out;
    out.reserve(text.size());
    std::size_t i = 0;
    while (i < text.size()) {
        const auto b = static_cast<std::uint8_t>(text[i]);
        if (b < 0x80) {
            out.push_back(b);
            ++i;
            continue;
        }
        const Lead lead = lead_of(b);
        if (lead.length == 0) {
            out.push_back(replacement);
            ++i;
            continue;
        }
        char32_t cp = b & (0x7F >> lead.length);
        int taken = 1;
        for (; taken < lead.length && i + taken < text.size(); ++taken) {
            const auto c = static_cast<std::uint8_t>(text[i + taken]);
            const bool ok = taken == 1 ? (c >= lead.low && c <= lead.high) : (c & 0xC0) == 0x80;
            if (!ok) {
                break;
            }
            cp = (cp << 6) | (c & 0x3F);
        }
        // A truncated or broken sequence is replaced as a whole (its maximal
        // valid prefix), and decoding resumes at the offending byte.
        put_utf16(out, taken == lead.length ? cp : replacement);
        i += taken;
    }
    return out;
}

std::string ustring_to_utf8_string(std::u16string_view text) {
    std::string out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char16_t u = text[i];
        if (u >= 0xD800 && u <= 0xDBFF && i + 1 < text.size() && text[i + 1] >= 0xDC00 &&
            text[i + 1] <= 0xDFFF) {
            put_utf8(out, 0x10000 + ((char32_t(u) - 0xD800) << 10) + (text[i + 1] - 0xDC00));
            ++i;
        } else if (u >= 0xD800 && u <= 0xDFFF) {
            put_utf8(out, replacement);
        } else {
            put_utf8(out, u);
        }
    }
    return out;
}

ustring local_encoded_string_to_ustring(std::string_view text) {
    return utf8_string_to_ustring(text);
}

std::string ustring_to_local_encoded_string(std::u16string_view text) {
    return ustring_to_utf8_string(text);
}

}  // namespace klf
