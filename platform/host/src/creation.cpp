// Making arrays: numeric, logical and char arrays, cells, structs, sparse
// arrays, and arrays of classes the host has no storage for.
#include <algorithm>
#include <cstring>
#include <new>
#include <set>
#include <string>

#include "array.hpp"

namespace matrix::host::internal {

std::size_t element_size(hyClassID cls) {
    switch (cls) {
        case hyLOGICAL_CLASS:
        case hyINT8_CLASS:
        case hyUINT8_CLASS:
            return 1;
        case hyCHAR_CLASS:
        case hyINT16_CLASS:
        case hyUINT16_CLASS:
            return 2;
        case hySINGLE_CLASS:
        case hyINT32_CLASS:
        case hyUINT32_CLASS:
            return 4;
        case hyDOUBLE_CLASS:
        case hyINT64_CLASS:
        case hyUINT64_CLASS:
            return 8;
        default:
            return 0;
    }
}

bool has_elements(hyClassID cls) {
    return element_size(cls) != 0;
}

const char* builtin_class_name(hyClassID cls) {
    switch (cls) {
        case hyUNKNOWN_CLASS:
            return "unknown";
        case hyCELL_CLASS:
            return "cell";
        case hySTRUCT_CLASS:
            return "struct";
        case hyLOGICAL_CLASS:
            return "logical";
        case hyCHAR_CLASS:
            return "char";
        case hyVOID_CLASS:
            return "void";
        case hyDOUBLE_CLASS:
            return "double";
        case hySINGLE_CLASS:
            return "single";
        case hyINT8_CLASS:
            return "int8";
        case hyUINT8_CLASS:
            return "uint8";
        case hyINT16_CLASS:
            return "int16";
        case hyUINT16_CLASS:
            return "uint16";
        case hyINT32_CLASS:
            return "int32";
        case hyUINT32_CLASS:
            return "uint32";
        case hyINT64_CLASS:
            return "int64";
        case hyUINT64_CLASS:
            return "uint64";
        case hyFUNCTION_CLASS:
            return "function_handle";
        case hyOPAQUE_CLASS:
            return "opaque";
        case hyOBJECT_CLASS:
            return "object";
        default:
            return "unknown";
    }
}

namespace {

Owned numeric(std::span<const std::size_t> dims, hyClassID cls, hyComplexity c, bool zero) {
    if (!has_elements(cls))
        throw HostError(std::string("cannot create a numeric array of class ") +
                        builtin_class_name(cls) + " (" + std::to_string(cls) + ")");
    if (c != hyREAL && c != hyCOMPLEX)
        throw HostError("invalid complexity " + std::to_string(c));
    if (c == hyCOMPLEX && (cls == hyLOGICAL_CLASS || cls == hyCHAR_CLASS))
        throw HostError(std::string("a ") + builtin_class_name(cls) + " array cannot be complex");
    const std::size_t bytes = allocation_size(dims, element_size(cls) * (c == hyCOMPLEX ? 2 : 1));
    Owned a = make_array(cls, c, false, dims);
    // Unfilled logicals read as true: any other byte is not a valid bool.
    const unsigned char fill = zero ? 0 : cls == hyLOGICAL_CLASS ? 1 : kNoise;
    allocate_elements(*a->block, bytes, fill);
    return a;
}

Owned container(std::span<const std::size_t> dims, hyClassID cls,
                std::span<const char* const> names) {
    std::set<std::string_view> seen;
    for (const char* n : names) {
        if (n == nullptr || *n == '\0')
            throw HostError("a struct field name is null or empty");
        if (!seen.insert(n).second)
            throw HostError(std::string("duplicate struct field name ") + n);
    }
    const std::size_t slots =
        allocation_size(dims, cls == hySTRUCT_CLASS ? names.size() : std::size_t{1});
    Owned a = make_array(cls, hyREAL, false, dims);
    Block& b = *a->block;
    b.names.assign(names.begin(), names.end());
    b.refresh_name_ptrs();
    b.slots.assign(slots, nullptr);
    return a;
}

}  // namespace
}  // namespace matrix::host::internal

using namespace matrix::host::internal;

namespace matrix {

unique_hyarray_ptr detail::do_create_numeric(std::span<const std::size_t> dims, hyClassID cls,
                                             hyComplexity c) {
    return wrap(numeric(dims, cls, c, true));
}

unique_hyarray_ptr detail::do_create_uninitnumeric(std::span<const std::size_t> dims, hyClassID cls,
                                                   hyComplexity c) {
    return wrap(numeric(dims, cls, c, false));
}

unique_hyarray_ptr detail::do_create_cell(std::span<const std::size_t> dims) {
    return wrap(container(dims, hyCELL_CLASS, {}));
}

unique_hyarray_ptr detail::do_create_struct(std::span<const std::size_t> dims,
                                            std::span<const char* const> names) {
    return wrap(container(dims, hySTRUCT_CLASS, names));
}

unique_hyarray_ptr create(const char16_t* text, std::size_t n) {
    const std::size_t row[] = {1, n};
    const std::size_t none[] = {0, 0};
    Owned a = numeric(n == 0 ? none : row, hyCHAR_CLASS, hyREAL, false);
    if (n != 0)
        std::memcpy(a->block->bytes.get(), text, n * sizeof(char16_t));
    return wrap(std::move(a));
}

ustring get_ustring(const hyArray* a) {
    const Array* x = impl(a);
    if (x->cls != hyCHAR_CLASS || x->sparse)
        throw HostError(std::string("get_ustring: expected a char array, got ") +
                        hyGetClassName(a));
    const std::size_t n = x->count();
    return ustring(reinterpret_cast<const char16_t*>(x->block->bytes.get()), n);
}

unique_hyarray_ptr host::create_sparse(std::size_t m, std::size_t n, std::size_t nzmax,
                                       hyClassID cls, hyComplexity c) {
    if (cls != hyLOGICAL_CLASS && cls != hyDOUBLE_CLASS && cls != hySINGLE_CLASS)
        throw HostError(std::string("a sparse array cannot be of class ") +
                        builtin_class_name(cls));
    if (c != hyREAL && (c != hyCOMPLEX || cls == hyLOGICAL_CLASS))
        throw HostError("invalid complexity for a sparse array");
    if (n == static_cast<std::size_t>(-1))
        throw std::bad_alloc();  // n + 1 column starts
    nzmax = std::max<std::size_t>(nzmax, 1);
    const std::size_t dims[] = {m, n};
    Owned a = make_array(cls, c, true, dims);
    Block& b = *a->block;
    allocate_elements(b, nzmax * element_size(cls) * (c == hyCOMPLEX ? 2 : 1), 0);
    b.ir.assign(nzmax, 0);
    b.jc.assign(n + 1, 0);
    return wrap(std::move(a));
}

namespace {
Array& sparse_of(const hyArray* a) {
    Array* x = impl(a);
    if (!x->sparse)
        throw HostError("expected a sparse array");
    return *x;
}
}  // namespace

std::size_t* host::ir(hyArray* a) {
    Array& x = sparse_of(a);
    unshare(x);
    return x.block->ir.data();
}
std::size_t* host::jc(hyArray* a) {
    Array& x = sparse_of(a);
    unshare(x);
    return x.block->jc.data();
}
const std::size_t* host::ir(const hyArray* a) {
    return sparse_of(a).block->ir.data();
}
const std::size_t* host::jc(const hyArray* a) {
    return sparse_of(a).block->jc.data();
}
std::size_t host::nzmax(const hyArray* a) {
    return sparse_of(a).block->ir.size();
}

unique_hyarray_ptr host::create_with_class_id(hyClassID cls, std::span<const std::size_t> dims) {
    if (cls >= hyCELL_CLASS && cls <= hyOBJECT_CLASS && cls != hyVOID_CLASS)
        throw HostError("create_with_class_id is for class IDs the host has no storage for");
    return wrap(make_array(cls, hyREAL, false, dims));
}

}  // namespace matrix

hyArray* hyCreateCellMatrix(std::size_t m, std::size_t n) {
    const std::size_t dims[] = {m, n};
    return matrix::detail::do_create_cell(dims).release();
}

hyArray* hyCreateStructMatrix(std::size_t m, std::size_t n, int nfields, const char** names) {
    if (nfields < 0 || (nfields > 0 && names == nullptr))
        throw matrix::HostError("hyCreateStructMatrix: invalid field list");
    const std::size_t dims[] = {m, n};
    return matrix::detail::do_create_struct(dims, {names, static_cast<std::size_t>(nfields)})
        .release();
}

hyArray* hyCreateNumericMatrix(std::size_t m, std::size_t n, hyClassID cls, hyComplexity c) {
    const std::size_t dims[] = {m, n};
    return matrix::detail::do_create_numeric(dims, cls, c).release();
}

hyArray* hyCreateSparseLogicalMatrix(std::size_t m, std::size_t n, std::size_t nzmax) {
    return matrix::host::create_sparse(m, n, nzmax, hyLOGICAL_CLASS, hyREAL).release();
}
