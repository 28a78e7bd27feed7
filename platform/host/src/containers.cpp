// Cells and structs: slots, fields, and the copy on write of their element
// handles. Borrowing an element unshares the container first: the borrower
// may change the element in place, which must not reach other copies. A
// borrow only reads the container, so it keeps the block it leaves: elements
// borrowed before stay valid until the container itself is changed.
#include <cstring>
#include <string>

#include "array.hpp"

using namespace matrix::host::internal;
using matrix::HostError;

namespace {

Array& container_of(const hyArray* a, hyClassID cls, const char* op) {
    Array* x = impl(a);
    if (x->cls != cls)
        throw HostError(std::string(op) + ": expected a " + builtin_class_name(cls) +
                        " array, got " + hyGetClassName(a));
    return *x;
}

void check_index(const Array& x, std::size_t index, const char* op) {
    if (index >= x.count())
        throw HostError(std::string(op) + ": index " + std::to_string(index) +
                        " is out of range for " + std::to_string(x.count()) + " elements");
}

int find_field(const Array& x, const char* name) {
    if (name == nullptr)
        return -1;
    const auto& names = x.block->names;
    for (std::size_t i = 0; i < names.size(); ++i)
        if (names[i] == name)
            return static_cast<int>(i);
    return -1;
}

// A value already in the slot is not destroyed: it belongs to the caller, who
// took it out. In a shared container it belongs to the other copies, and the
// copy unsharing makes here is ours to destroy.
void replace_slot(Array& x, std::size_t slot, Owned& value) {
    const bool was_shared = x.block->sharers.load() > 1;
    unshare(x);
    Array*& s = x.block->slots[slot];
    if (was_shared)
        destroy(s);
    s = value.release();
}

}  // namespace

hyArray* hyGetCell(const hyArray* a, std::size_t index) {
    Array& x = container_of(a, hyCELL_CLASS, "hyGetCell");
    check_index(x, index, "hyGetCell");
    unshare_to_borrow(x);
    return x.block->slots[index];
}

void hySetCell(hyArray* a, std::size_t index, hyArray* value) {
    Owned v(value ? impl(value) : nullptr);
    Array& x = container_of(a, hyCELL_CLASS, "hySetCell");
    check_index(x, index, "hySetCell");
    replace_slot(x, index, v);
}

int hyGetFieldNumber(const hyArray* a, const char* name) {
    const Array* x = impl(a);
    return x->cls == hySTRUCT_CLASS ? find_field(*x, name) : -1;
}

hyArray* hyGetField(const hyArray* a, std::size_t index, const char* name) {
    Array* x = impl(a);
    if (x->cls != hySTRUCT_CLASS || index >= x->count())
        return nullptr;
    const int f = find_field(*x, name);
    if (f < 0)
        return nullptr;
    unshare_to_borrow(*x);
    return x->block->slots[index * x->fields() + static_cast<std::size_t>(f)];
}

void hySetFieldByNumber(hyArray* a, std::size_t index, int field, hyArray* value) {
    Owned v(value ? impl(value) : nullptr);
    Array& x = container_of(a, hySTRUCT_CLASS, "hySetFieldByNumber");
    check_index(x, index, "hySetFieldByNumber");
    if (field < 0 || static_cast<std::size_t>(field) >= x.fields())
        throw HostError("hySetFieldByNumber: no field number " + std::to_string(field));
    replace_slot(x, index * x.fields() + static_cast<std::size_t>(field), v);
}

int hyAddField(hyArray* a, const char* name) {
    Array& x = container_of(a, hySTRUCT_CLASS, "hyAddField");
    if (name == nullptr || *name == '\0')
        return -1;
    if (const int f = find_field(x, name); f >= 0)
        return f;
    unshare(x);
    charge();
    Block& b = *x.block;
    const std::size_t n = x.count();
    const std::size_t f = b.names.size();
    std::vector<Array*> slots(n * (f + 1), nullptr);
    for (std::size_t i = 0; i < n; ++i)
        std::copy_n(b.slots.begin() + static_cast<std::ptrdiff_t>(i * f), f,
                    slots.begin() + static_cast<std::ptrdiff_t>(i * (f + 1)));
    b.names.reserve(f + 1);
    b.name_ptrs.reserve(f + 1);
    b.names.emplace_back(name);
    b.slots.swap(slots);
    b.refresh_name_ptrs();
    return static_cast<int>(f);
}

void hyRemoveField(hyArray* a, int field) {
    Array& x = container_of(a, hySTRUCT_CLASS, "hyRemoveField");
    if (field < 0 || static_cast<std::size_t>(field) >= x.fields())
        throw HostError("hyRemoveField: no field number " + std::to_string(field));
    // The values of a field of an unshared struct pass to the caller. When the
    // struct shares its block, the values in it belong to the other copies and
    // the copies unsharing makes here are ours to destroy.
    const bool was_shared = x.block->sharers.load() > 1;
    unshare(x);
    Block& b = *x.block;
    const std::size_t n = x.count();
    const std::size_t f = b.names.size();
    const auto k = static_cast<std::size_t>(field);
    std::vector<Array*> slots;
    slots.reserve(n * (f - 1));
    std::vector<Array*> removed;
    for (std::size_t i = 0; i < n; ++i)
        for (std::size_t j = 0; j < f; ++j)
            (j == k ? removed : slots).push_back(b.slots[i * f + j]);
    b.names.erase(b.names.begin() + field);
    b.slots.swap(slots);
    b.refresh_name_ptrs();
    if (was_shared)
        for (Array* r : removed)
            destroy(r);
}
