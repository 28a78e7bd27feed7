// The typed-access rejections: the host's own errors, with texts that name
// what was asked and what was found.
#include <boost/core/demangle.hpp>
#include <string>

#include "array.hpp"

namespace matrix::detail {

void rejectInvalidClassId(hyClassID cls) {
    throw HostError("invalid class ID " + std::to_string(static_cast<std::int32_t>(cls)));
}

void rejectClassId(const std::type_info& visitor, hyClassID cls) {
    throw HostError("the visitor " + boost::core::demangle(visitor.name()) +
                    " does not take arrays of class " + host::internal::builtin_class_name(cls) +
                    " (" + std::to_string(static_cast<std::int32_t>(cls)) + ")");
}

void rejectArrayShape(const hyArray* a, const std::type_info& view) {
    std::string shape;
    if (is_sparse(a))
        shape += "sparse ";
    if (is_complex(a))
        shape += "complex ";
    const std::size_t* d = dims(a);
    std::string size;
    for (std::size_t i = 0; i < number_of_dims(a); ++i) {
        if (i != 0)
            size += 'x';
        size += std::to_string(d[i]);
    }
    throw HostError("a " + shape + hyGetClassName(a) + " array of size " +
                    (size.empty() ? "(no dimensions)" : size) + " does not fit the typed view " +
                    boost::core::demangle(view.name()));
}

}  // namespace matrix::detail
