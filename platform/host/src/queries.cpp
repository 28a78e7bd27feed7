// Reading a handle: class, complexity, dimensions, element storage and the
// small predicates of the C-style API.
#include <cstring>
#include <mutex>

#include "array.hpp"

using namespace matrix::host::internal;

namespace {
std::mutex g_completion;

template <class T>
double first_as_double(const void* p) {
    return static_cast<double>(*static_cast<const T*>(p));
}
}  // namespace

void hyArray_tag::_complete_opaque_dimensions() const {
    const Array& a = static_cast<const Array&>(*this);
    if (!a.pending.load(std::memory_order_acquire))
        return;
    const std::lock_guard lock(g_completion);
    if (!a.pending.load(std::memory_order_relaxed))
        return;
    a.dims = a.hidden_dims;
    a.pending.store(false, std::memory_order_release);
}

hyClassID hyArray_tag::_get_class_id_non_trivial() const {
    return static_cast<const Array&>(*this).cls;
}

const char* const* hyArray_tag::get_struct_field_names() const {
    const Array& a = static_cast<const Array&>(*this);
    return a.cls == hySTRUCT_CLASS ? a.block->name_ptrs.data() : nullptr;
}

int hyArray_tag::get_number_of_struct_fields() const {
    const Array& a = static_cast<const Array&>(*this);
    return a.cls == hySTRUCT_CLASS ? static_cast<int>(a.fields()) : 0;
}

namespace matrix {

hyClassID class_id(const hyArray* a) {
    const Array* x = impl(a);
    return x->cls < hyOPAQUE_CLASS ? x->cls : a->_get_class_id_non_trivial();
}

bool is_numeric(const hyArray* a) {
    const hyClassID c = class_id(a);
    return c >= hyDOUBLE_CLASS && c <= hyUINT64_CLASS;
}

bool is_complex(const hyArray* a) {
    return impl(a)->complexity == hyCOMPLEX;
}
bool is_sparse(const hyArray* a) {
    return impl(a)->sparse;
}

const std::size_t* dims(const hyArray* a) {
    const Array* x = impl(a);
    x->_complete_opaque_dimensions();
    return x->dims.data();
}

std::size_t number_of_dims(const hyArray* a) {
    const Array* x = impl(a);
    x->_complete_opaque_dimensions();
    return x->dims.size();
}

std::size_t number_of_elements(const hyArray* a) {
    return impl(a)->count();
}
bool is_empty(const hyArray* a) {
    return number_of_elements(a) == 0;
}

const void* data(const hyArray* a) {
    const Array* x = impl(a);
    return x->block->bytes.get();
}

void* data(hyArray* a) {
    Array* x = impl(a);
    if (!x->block->bytes)
        return nullptr;
    unshare(*x);
    return x->block->bytes.get();
}

void detail::check_element_type(const hyArray* a, hyClassID cls, bool complex) {
    const Array* x = impl(a);
    if (x->cls != cls || (x->complexity == hyCOMPLEX) != complex)
        throw HostError(std::string("typed access: a ") + (x->complexity ? "complex " : "") +
                        hyGetClassName(a) + " array does not hold " + (complex ? "complex " : "") +
                        host::internal::builtin_class_name(cls) + " elements");
}

}  // namespace matrix

std::size_t hyGetN(const hyArray* a) {
    const std::size_t* d = matrix::dims(a);
    const std::size_t n = matrix::number_of_dims(a);
    return n < 2 ? 1 : product({d + 1, n - 1});
}

bool hyIsEmpty(const hyArray* a) {
    return matrix::number_of_elements(a) == 0;
}
bool hyIsScalar(const hyArray* a) {
    return matrix::number_of_elements(a) == 1;
}

bool hyIsVector(const hyArray* a) {
    const std::size_t* d = matrix::dims(a);
    return matrix::number_of_dims(a) == 2 && (d[0] == 1 || d[1] == 1);
}

double hyGetScalar(const hyArray* a) {
    const Array* x = impl(a);
    if (!has_elements(x->cls) || x->count() == 0)
        return 0;
    const void* p = x->block->bytes.get();
    if (x->sparse) {
        const auto& jc = x->block->jc;
        if (jc.size() < 2 || jc[1] == 0 || x->block->ir[0] != 0)
            return 0;
    }
    switch (x->cls) {
        case hyLOGICAL_CLASS:
            return first_as_double<bool>(p);
        case hyCHAR_CLASS:
            return first_as_double<char16_t>(p);
        case hyDOUBLE_CLASS:
            return first_as_double<double>(p);
        case hySINGLE_CLASS:
            return first_as_double<float>(p);
        case hyINT8_CLASS:
            return first_as_double<std::int8_t>(p);
        case hyUINT8_CLASS:
            return first_as_double<std::uint8_t>(p);
        case hyINT16_CLASS:
            return first_as_double<std::int16_t>(p);
        case hyUINT16_CLASS:
            return first_as_double<std::uint16_t>(p);
        case hyINT32_CLASS:
            return first_as_double<std::int32_t>(p);
        case hyUINT32_CLASS:
            return first_as_double<std::uint32_t>(p);
        case hyINT64_CLASS:
            return first_as_double<std::int64_t>(p);
        case hyUINT64_CLASS:
            return first_as_double<std::uint64_t>(p);
        default:
            return 0;
    }
}

bool* hyGetLogicals(const hyArray* a) {
    Array* x = impl(a);
    if (x->cls != hyLOGICAL_CLASS)
        throw matrix::HostError(std::string("hyGetLogicals: expected a logical array, got ") +
                                hyGetClassName(a));
    unshare_to_borrow(*x);
    return reinterpret_cast<bool*>(x->block->bytes.get());
}

const char* hyGetClassName(const hyArray* a) {
    const Array* x = impl(a);
    if (x->cls == hyOBJECT_CLASS || x->cls == hyOPAQUE_CLASS)
        return x->class_name.c_str();
    return builtin_class_name(x->cls);
}

std::size_t hyGetNumberOfElements(const hyArray* a) {
    return matrix::number_of_elements(a);
}
bool hyIsStruct(const hyArray* a) {
    return impl(a)->cls == hySTRUCT_CLASS;
}
