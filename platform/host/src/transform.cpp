// Whole-array operations: transpose, dimension changes and deep equality.
#include <algorithm>
#include <cmath>
#include <complex>
#include <cstring>
#include <string>

#include "array.hpp"

using namespace matrix::host::internal;
using matrix::HostError;

namespace {

Owned transpose_sparse(const Array& x, std::size_t m, std::size_t n) {
    const Block& b = *x.block;
    const std::size_t nnz = b.jc[n];
    const std::size_t es = element_size(x.cls) * (x.complexity == hyCOMPLEX ? 2 : 1);
    Owned t(impl(matrix::host::create_sparse(n, m, nnz, x.cls, x.complexity).release()));
    Block& tb = *t->block;
    // Counting sort of the stored values by row: rows of x are columns of t.
    for (std::size_t k = 0; k < nnz; ++k)
        ++tb.jc[b.ir[k] + 1];
    for (std::size_t i = 0; i < m; ++i)
        tb.jc[i + 1] += tb.jc[i];
    std::vector<std::size_t> next(tb.jc.begin(), tb.jc.end() - 1);
    for (std::size_t j = 0; j < n; ++j)
        for (std::size_t k = b.jc[j]; k < b.jc[j + 1]; ++k) {
            const std::size_t dst = next[b.ir[k]]++;
            tb.ir[dst] = j;
            std::memcpy(tb.bytes.get() + dst * es, b.bytes.get() + k * es, es);
        }
    return t;
}

Owned transpose_slots(const Array& x, std::size_t m, std::size_t n) {
    const std::size_t dims[] = {n, m};
    Owned t = make_array(x.cls, hyREAL, false, dims);
    Block& tb = *t->block;
    const Block& b = *x.block;
    const std::size_t f = x.cls == hySTRUCT_CLASS ? b.names.size() : 1;
    tb.names = b.names;
    tb.refresh_name_ptrs();
    tb.slots.assign(b.slots.size(), nullptr);
    for (std::size_t i = 0; i < m; ++i)
        for (std::size_t j = 0; j < n; ++j)
            for (std::size_t k = 0; k < f; ++k)
                if (const Array* e = b.slots[(i + j * m) * f + k])
                    tb.slots[(j + i * n) * f + k] = shared_copy(*e).release();
    return t;
}

template <class T>
bool same_values(const std::byte* a, const std::byte* b, std::size_t n) {
    const T* x = reinterpret_cast<const T*>(a);
    const T* y = reinterpret_cast<const T*>(b);
    return std::equal(x, x + n, y);  // NaN differs from itself; -0 equals 0
}

bool same_elements(hyClassID cls, bool cplx, const std::byte* a, const std::byte* b,
                   std::size_t n) {
    const std::size_t k = cplx ? 2 * n : n;
    switch (cls) {
        case hyDOUBLE_CLASS:
            return same_values<double>(a, b, k);
        case hySINGLE_CLASS:
            return same_values<float>(a, b, k);
        default:
            return n == 0 || std::memcmp(a, b, k * element_size(cls)) == 0;
    }
}

bool equal(const Array* a, const Array* b);

bool same_slots(const Array& a, const Array& b) {
    const Block& x = *a.block;
    const Block& y = *b.block;
    if (a.cls == hyCELL_CLASS) {
        for (std::size_t i = 0; i < x.slots.size(); ++i)
            if (!equal(x.slots[i], y.slots[i]))
                return false;
        return true;
    }
    // Structs: the same names in any order, equal values name by name.
    const std::size_t f = x.names.size();
    if (f != y.names.size())
        return false;
    for (std::size_t k = 0; k < f; ++k) {
        const auto it = std::find(y.names.begin(), y.names.end(), x.names[k]);
        if (it == y.names.end())
            return false;
        const auto l = static_cast<std::size_t>(it - y.names.begin());
        for (std::size_t i = 0; i < a.count(); ++i)
            if (!equal(x.slots[i * f + k], y.slots[i * f + l]))
                return false;
    }
    return true;
}

bool equal(const Array* a, const Array* b) {
    if (a == nullptr || b == nullptr)
        return a == b;
    a->_complete_opaque_dimensions();
    b->_complete_opaque_dimensions();
    if (a->cls != b->cls || a->complexity != b->complexity || a->sparse != b->sparse ||
        a->dims != b->dims || a->class_name != b->class_name)
        return false;
    const Block& x = *a->block;
    const Block& y = *b->block;
    if (a->sparse) {
        const std::size_t n = a->dims[1];
        const std::size_t nnz = x.jc[n];
        return x.jc == y.jc &&
               std::equal(x.ir.begin(), x.ir.begin() + static_cast<std::ptrdiff_t>(nnz),
                          y.ir.begin()) &&
               same_elements(a->cls, a->complexity, x.bytes.get(), y.bytes.get(), nnz);
    }
    if (has_elements(a->cls))
        return same_elements(a->cls, a->complexity, x.bytes.get(), y.bytes.get(), a->count());
    if (a->cls == hyCELL_CLASS || a->cls == hySTRUCT_CLASS)
        return same_slots(*a, *b);
    if (a->cls == hyFUNCTION_CLASS)
        return equal(x.saved, y.saved);
    return true;  // objects and opaque arrays: class and dimensions
}

bool reshape_sparse(Array& x, std::span<const std::size_t> to) {
    if (to.size() != 2)
        return false;
    const std::size_t m = x.dims[0];
    const std::size_t n = x.dims[1];
    const std::size_t m2 = to[0];
    const std::size_t n2 = to[1];
    unshare(x);
    Block& b = *x.block;
    // Stored values keep their column-major order, so only indices move.
    std::vector<std::size_t> jc(n2 + 1, 0);
    std::vector<std::size_t> ir(b.ir.size(), 0);
    for (std::size_t j = 0; j < n; ++j)
        for (std::size_t k = b.jc[j]; k < b.jc[j + 1]; ++k) {
            const std::size_t linear = b.ir[k] + j * m;
            ir[k] = linear % m2;
            ++jc[linear / m2 + 1];
        }
    for (std::size_t j = 0; j < n2; ++j)
        jc[j + 1] += jc[j];
    b.jc.swap(jc);
    b.ir.swap(ir);
    return true;
}

}  // namespace

hyArray* hyTranspose(const hyArray* a) {
    const Array& x = *impl(a);
    x._complete_opaque_dimensions();
    if (x.dims.size() != 2)
        throw HostError("hyTranspose: the array has " + std::to_string(x.dims.size()) +
                        " dimensions, not 2");
    const std::size_t m = x.dims[0];
    const std::size_t n = x.dims[1];
    if (x.sparse)
        return transpose_sparse(x, m, n).release();
    if (x.cls == hyCELL_CLASS || x.cls == hySTRUCT_CLASS)
        return transpose_slots(x, m, n).release();
    if (!has_elements(x.cls)) {
        Owned t = shared_copy(x);
        t->dims = {n, m};
        return t.release();
    }
    const std::size_t dims[] = {n, m};
    const std::size_t es = element_size(x.cls) * (x.complexity == hyCOMPLEX ? 2 : 1);
    Owned t = make_array(x.cls, x.complexity, false, dims);
    allocate_elements(*t->block, m * n * es, 0);
    const std::byte* src = x.block->bytes.get();
    std::byte* dst = t->block->bytes.get();
    for (std::size_t j = 0; j < n; ++j)
        for (std::size_t i = 0; i < m; ++i)
            std::memcpy(dst + (j + i * n) * es, src + (i + j * m) * es, es);
    return t.release();
}

int hySetDimensions(hyArray* a, const std::size_t* dims, std::size_t ndims) {
    Array& x = *impl(a);
    const std::span<const std::size_t> to(dims, ndims);
    if (ndims != 0 && dims == nullptr)
        return 1;
    if (checked_product(to) != x.count())
        return 1;
    if (x.sparse && !reshape_sparse(x, to))
        return 1;
    x.dims.assign(to.begin(), to.end());
    return 0;
}

bool hyAreMatricesEqual(const hyArray* a, const hyArray* b) {
    return equal(a ? impl(a) : nullptr, b ? impl(b) : nullptr);
}
