// Size values and their text.
#include <kelvor/common/foundation/matrix/sizes.hpp>

#include <ostream>
#include <string>

namespace klf {
namespace {

// Keeps the low 8 bits of every code unit; size texts are ASCII.
std::string narrow(const ustring& text) {
    std::string out(text.size(), '\0');
    for (std::size_t i = 0; i < text.size(); ++i) {
        out[i] = static_cast<char>(text[i] & 0xFF);
    }
    return out;
}

}  // namespace

const ustring& to_ustring(const ScalarSize&) {
    // Never destroyed: references handed out stay valid during static destruction.
    static const ustring* const text = new ustring(u"<scalar>");
    return *text;
}

std::ostream& operator<<(std::ostream& os, const ScalarSize& size) {
    return os << narrow(to_ustring(size));
}

ustring to_ustring(const SizeVariant& size) {
    if (std::holds_alternative<ScalarSize>(size)) {
        return to_ustring(std::get<ScalarSize>(size));
    }
    return to_user_string(std::get<ArraySize>(size));
}

std::ostream& operator<<(std::ostream& os, const SizeVariant& size) {
    return os << narrow(to_ustring(size));
}

bool is_scalar(const SizeVariant& size) {
    return std::visit([](const auto& s) { return std::is_same_v<std::decay_t<decltype(s)>, ScalarSize>; },
                      size);
}

std::size_t num_elements(const SizeVariant& size) {
    return std::visit(
        [](const auto& s) -> std::size_t {
            if constexpr (std::is_same_v<std::decay_t<decltype(s)>, ScalarSize>) {
                return 1;
            } else {
                return s.numElements();
            }
        },
        size);
}

ArraySize to_array_size(const SizeVariant& size) {
    return std::visit(
        [](const auto& s) -> ArraySize {
            if constexpr (std::is_same_v<std::decay_t<decltype(s)>, ScalarSize>) {
                return ArraySize{1, 1};
            } else {
                return s;
            }
        },
        size);
}

}  // namespace klf
