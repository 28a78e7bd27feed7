// The core library's plain vector records to and from host arrays.
//
// Records handed out are allocated with calloc, because their owners release
// them with free, possibly from code that knows nothing of C++. While a record
// is being built every block is held by a unique_ptr with a free deleter, so a
// failure part way (a host error, an index out of range) frees all of it.
#include <kelvor/common/foundation/matrix/interchange.hpp>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

#include <boost/numeric/conversion/cast.hpp>

#include <kelvor/common/foundation/matrix/messages.hpp>

namespace klf {
namespace {

namespace msg = kelvor::common::foundation::matrix::hy;

struct FreeDeleter {
    void operator()(void* p) const noexcept { std::free(p); }
};
template <class T>
using CBlock = std::unique_ptr<T, FreeDeleter>;

// calloc that reports exhaustion the C++ way. A zero-sized block may come back
// null, which is then not a failure.
template <class T>
CBlock<T> zeroed(std::size_t count) {
    void* p = std::calloc(count, sizeof(T));
    if (p == nullptr && count != 0) {
        throw std::bad_alloc();
    }
    return CBlock<T>(static_cast<T*>(p));
}

matrix::unique_hyarray_ptr wrap(hyArray* a) {
    return matrix::unique_hyarray_ptr(a);
}

// The host class and element type that each dense record holds.
template <class Record>
struct DenseTraits;
template <>
struct DenseTraits<KlRealVectorTag> {
    using Element = double;
    static constexpr hyClassID cls = hyDOUBLE_CLASS;
};
template <>
struct DenseTraits<KlIntVectorTag> {
    using Element = std::int32_t;
    static constexpr hyClassID cls = hyINT32_CLASS;
};
template <>
struct DenseTraits<KlBoolVectorTag> {
    using Element = bool;
    static constexpr hyClassID cls = hyLOGICAL_CLASS;
};

template <class Record>
matrix::unique_hyarray_ptr dense_to_hyarray(const Record* r) {
    using Traits = DenseTraits<Record>;
    if (r == nullptr) {
        throw_message<msg::InvalidNullInput>();
    }
    auto a = wrap(hyCreateNumericMatrix(r->n, 1, Traits::cls, hyREAL));
    if (r->n != 0) {
        std::memcpy(matrix::data(a.get()), r->x, r->n * sizeof(typename Traits::Element));
    }
    return a;
}

template <class Record>
Record* dense_from_hyarray(const hyArray* a) {
    using Traits = DenseTraits<Record>;
    using Element = typename Traits::Element;
    if (a == nullptr) {
        throw_message<msg::InvalidNullParam>();
    }
    const hyClassID cls = matrix::class_id(a);
    if (!matrix::is_numeric(a) && cls != hyLOGICAL_CLASS) {
        throw_message<msg::InvalidParamType>();
    }
    if (!hyIsVector(a) && !hyIsEmpty(a)) {
        throw_message<msg::InvalidParamDim>();
    }
    // The record holds dense real elements: the storage of a sparse or
    // complex array is not that, whatever its element count says. A source of
    // the wrong shape has already been reported as such.
    if (matrix::is_sparse(a) || matrix::is_complex(a)) {
        throw_message<msg::InvalidParamType>();
    }
    auto record = zeroed<Record>(1);
    // The record's count is 32 bits wide where it came from; larger counts wrap.
    const std::size_t n = static_cast<std::uint32_t>(matrix::number_of_elements(a));
    auto x = zeroed<Element>(n);
    if (n != 0) {
        hyConvertBufferToType(x.get(), Traits::cls, matrix::data(a), cls, n);
    }
    record->n = n;
    record->x = x.release();
    return record.release();
}

// The sparsity record counts with int32_t, the host with size_t: every index
// crossing between them is range-checked.
template <class To, class From>
To index_cast(From value) {
    return boost::numeric_cast<To>(value);
}

}  // namespace

matrix::unique_hyarray_ptr to_hyarray(const KlRealVectorTag* r) {
    return dense_to_hyarray(r);
}
matrix::unique_hyarray_ptr to_hyarray(const KlIntVectorTag* r) {
    return dense_to_hyarray(r);
}
matrix::unique_hyarray_ptr to_hyarray(const KlBoolVectorTag* r) {
    return dense_to_hyarray(r);
}

matrix::unique_hyarray_ptr to_hyarray(const KlSparsityPatternTag* p) {
    if (p == nullptr) {
        throw_message<msg::InvalidNullInput>();
    }
    const std::size_t nnz = index_cast<std::size_t>(p->jc[p->n]);
    auto a = wrap(hyCreateSparseLogicalMatrix(p->m, p->n, nnz));
    if (nnz > 0) {
        std::size_t* ir = matrix::host::ir(a.get());
        for (std::size_t k = 0; k < nnz; ++k) {
            ir[k] = index_cast<std::size_t>(p->ir[k]);
        }
        bool* values = hyGetLogicals(a.get());
        std::fill(values, values + nnz, true);
    }
    std::size_t* jc = matrix::host::jc(a.get());
    if (p->n == 0) {
        jc[0] = 0;
    } else {
        for (std::size_t k = 0; k <= p->n; ++k) {
            jc[k] = index_cast<std::size_t>(p->jc[k]);
        }
    }
    return a;
}

template <CoreVectorRecord T>
T* from_hyarray(const hyArray* a) {
    if constexpr (!std::same_as<T, KlSparsityPatternTag>) {
        return dense_from_hyarray<T>(a);
    } else {
        if (a == nullptr) {
            throw_message<msg::InvalidNullParam>();
        }
        if (!matrix::is_sparse(a)) {
            throw_message<msg::InvalidParamType>();
        }
        auto record = zeroed<KlSparsityPatternTag>(1);
        const std::size_t n = hyGetN(a);
        record->n = n;
        record->m = matrix::dims(a)[0];

        auto jc = zeroed<std::int32_t>(n + 1);
        const std::size_t* host_jc = matrix::host::jc(a);
        for (std::size_t k = 0; k <= n; ++k) {
            jc.get()[k] = index_cast<std::int32_t>(host_jc[k]);
        }
        const auto nnz = static_cast<std::size_t>(jc.get()[n]);
        auto ir = zeroed<std::int32_t>(nnz);
        const std::size_t* host_ir = matrix::host::ir(a);
        for (std::size_t k = 0; k < nnz; ++k) {
            ir.get()[k] = index_cast<std::int32_t>(host_ir[k]);
        }
        record->jc = jc.release();
        record->ir = ir.release();
        return record.release();
    }
}

template KELVOR_MATRIX_EXPORT KlRealVectorTag* from_hyarray<KlRealVectorTag>(const hyArray* a);
template KELVOR_MATRIX_EXPORT KlIntVectorTag* from_hyarray<KlIntVectorTag>(const hyArray* a);
template KELVOR_MATRIX_EXPORT KlBoolVectorTag* from_hyarray<KlBoolVectorTag>(const hyArray* a);
template KELVOR_MATRIX_EXPORT KlSparsityPatternTag* from_hyarray<KlSparsityPatternTag>(
    const hyArray* a);

}  // namespace klf
