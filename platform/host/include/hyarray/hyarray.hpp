// The host array API: the opaque `hyArray` handle through which every value of
// the host numeric environment is read, checked, built and converted.
//
// The pieces, from the bottom up:
//  - the handle (`hyArray`), its class table (`hyClassID`) and complexity;
//  - ownership: `matrix::unique_hyarray_ptr` owns one holder of an array; a
//    raw `hyArray*` returned by a `hy…` creator is owned by the caller and is
//    wrapped at once; `const hyArray*` is borrowed;
//  - queries in namespace `matrix` (class, complexity, dimensions, data);
//  - the C-style `hy…` operations (fields, cells, creation, conversion …);
//  - typed dispatch: `matrix::apply_visitor(a, visitor)` hands the visitor the
//    one typed view (`typed_array<T>` or `typed_sparse_matrix<T>`) that fits
//    the array, once, so loops over elements run on plain pointers;
//  - `matrix::host`: values the C-style API cannot make (objects, function
//    handles, sparse arrays of every kind) and holder control.
//
// Storage: an array is a header (class, complexity, sparsity, dimensions,
// holders) over a reference-counted data block. A shared copy is a new header
// over the same block; the first change through either header copies the
// block. Containers copy on write the same way, their element handles being
// duplicated as shared copies only when a shared container is changed, or
// when one of its elements is borrowed (a borrowed element may be changed in
// place, so it must belong to this container alone). Borrowing only reads the
// container: the header keeps the block it leaves until the container is
// changed or destroyed, so an element borrowed earlier stays valid.
//
// Threads: different arrays may be used from different threads at once, and
// one array may be read (elements borrowed included) by several threads at
// once; one array is never changed by two threads at once, nor read while it
// is changed.
//
//   matrix::unique_hyarray_ptr a = matrix::detail::do_create_numeric(dims, hyDOUBLE_CLASS, hyREAL);
//   matrix::apply_visitor(a.get(), [](matrix::typed_array<double> v) { ... });
#pragma once

#include <complex>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <typeinfo>
#include <vector>

#ifndef KELVOR_USTRING_DECLARED
#define KELVOR_USTRING_DECLARED
// UTF-16 text; the core layer declares the same alias.
using ustring = std::u16string;
#endif

// ---------------------------------------------------------------------------
// Class table

// Any 32-bit value is representable; valid classes are 1 to 18 except 5.
enum hyClassID : std::int32_t {
    hyUNKNOWN_CLASS = 0,
    hyCELL_CLASS = 1,
    hySTRUCT_CLASS = 2,
    hyLOGICAL_CLASS = 3,
    hyCHAR_CLASS = 4,
    hyVOID_CLASS = 5,
    hyDOUBLE_CLASS = 6,
    hySINGLE_CLASS = 7,
    hyINT8_CLASS = 8,
    hyUINT8_CLASS = 9,
    hyINT16_CLASS = 10,
    hyUINT16_CLASS = 11,
    hyINT32_CLASS = 12,
    hyUINT32_CLASS = 13,
    hyINT64_CLASS = 14,
    hyUINT64_CLASS = 15,
    hyFUNCTION_CLASS = 16,
    hyOPAQUE_CLASS = 17,
    hyOBJECT_CLASS = 18,
};

enum hyComplexity : std::int32_t { hyREAL = 0, hyCOMPLEX = 1 };

// The handle. Arrays are made only by the host; the members below are the
// part of the header the library may call directly.
struct hyArray_tag {
    hyArray_tag(const hyArray_tag&) = delete;
    hyArray_tag& operator=(const hyArray_tag&) = delete;

    // Field names of a struct array in field-number order (null for any other
    // class). Valid until the struct's fields change or it is destroyed.
    const char* const* get_struct_field_names() const;
    // Number of fields of a struct array; 0 for any other class.
    int get_number_of_struct_fields() const;
    // Computes dimensions an object holds back until asked; no-op otherwise.
    void _complete_opaque_dimensions() const;
    // The class of an array whose stored ID is 17 or above.
    hyClassID _get_class_id_non_trivial() const;

protected:
    hyArray_tag() = default;
    ~hyArray_tag() = default;
};
using hyArray = hyArray_tag;

namespace matrix {

// The host's own error: misuse of the API and the typed-access rejections.
class HostError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

void destroyArray(hyArray* a);

namespace detail {
// Releases one holder: drops it when another holder remains, destroys the
// array otherwise. Never throws; a destroy that throws terminates.
struct hyDestroy_deleter {
    void operator()(hyArray* a) const noexcept;
};
}  // namespace detail

using unique_hyarray_ptr = std::unique_ptr<hyArray, detail::hyDestroy_deleter>;

}  // namespace matrix

// What the host knows of an array's class. Owned by the host and valid for
// the life of the process (a redefined class keeps its old record alive).
struct hyClassInfo {
    virtual ~hyClassInfo() = default;
    // The class name, as hyGetClassName reports it.
    virtual const char* name() const noexcept = 0;
    // True for the class itself and its bases, transitively.
    virtual bool is_a(std::string_view class_name) const = 0;
    // A function handle for the method when the class or one of its bases
    // (transitively) defines it; null otherwise.
    virtual matrix::unique_hyarray_ptr find_method(std::string_view method) const = 0;
};

// ---------------------------------------------------------------------------
// The C-style API. Creators return a raw array the caller owns.

// Borrowed value of field `name` of element `index`; null for a non-struct,
// an unknown name, a bad index or an empty slot. Valid until the struct is
// changed or destroyed.
hyArray* hyGetField(const hyArray* a, std::size_t index, const char* name);
// Number of the new field, or of the existing field of that name; -1 for a
// null or empty name. HostError for a non-struct.
int hyAddField(hyArray* a, const char* name);
// Removes the field; its values are not destroyed (the caller took them out).
void hyRemoveField(hyArray* a, int field);
// -1 for a non-struct or an unknown name.
int hyGetFieldNumber(const hyArray* a, const char* name);
// The struct takes `value` (it owns it even when the call raises); a value
// already in the slot is not destroyed.
void hySetFieldByNumber(hyArray* a, std::size_t index, int field, hyArray* value);

hyArray* hyCreateCellMatrix(std::size_t m, std::size_t n);
hyArray* hyCreateStructMatrix(std::size_t m, std::size_t n, int nfields, const char** names);
// Classes logical, char and 6-15, zero-filled; complex only for 6-15.
hyArray* hyCreateNumericMatrix(std::size_t m, std::size_t n, hyClassID cls, hyComplexity c);
hyArray* hyCreateSparseLogicalMatrix(std::size_t m, std::size_t n, std::size_t nzmax);

// Converts n elements. Integer targets (and char): round halves away from
// zero, saturate, NaN to 0. Logical targets: non-zero is true. Floating
// targets: plain conversion. Classes: logical, char, 6-15.
void hyConvertBufferToType(void* dst, hyClassID dst_cls, const void* src, hyClassID src_cls,
                           std::size_t n);

// A deep copy of the struct the handle was made from.
hyArray* hyFunctionHandleToSavedStruct(const hyArray* a);

// The array's class name, or a base of an object's class, transitively.
bool hyIsA(const hyArray* a, const char* class_name);
// Product of all dimensions after the first (1 for fewer than two).
std::size_t hyGetN(const hyArray* a);
// Class information of any valid array (null for invalid class IDs).
const hyClassInfo* hyGetInfo(const hyArray* a);
bool hyIsEmpty(const hyArray* a);
// Exactly one element.
bool hyIsScalar(const hyArray* a);
// Two dimensions, one of them 1.
bool hyIsVector(const hyArray* a);
// First element as double (real part); 0 for an empty or non-numeric array.
double hyGetScalar(const hyArray* a);
// Transpose of any two-dimensional array; HostError otherwise.
hyArray* hyTranspose(const hyArray* a);
// Writable element storage of a logical array (full: elements; sparse: the
// stored values); unshares first. HostError for other classes.
bool* hyGetLogicals(const hyArray* a);
// Never null for a valid array; "unknown"/"void" for IDs 0 and 5.
const char* hyGetClassName(const hyArray* a);
// 0 and the new list when the element count is kept; non-zero and nothing
// changed otherwise (also for a sparse array given other than two, and for a
// list whose product does not fit in a size_t).
int hySetDimensions(hyArray* a, const std::size_t* dims, std::size_t ndims);
// Deep equality; with a null argument, true only when both are null.
bool hyAreMatricesEqual(const hyArray* a, const hyArray* b);
// The cell takes `value` (even when the call raises); a value already in the
// slot is not destroyed.
void hySetCell(hyArray* a, std::size_t index, hyArray* value);
// Borrowed content of the slot (null when empty), valid until the cell is
// changed or destroyed; HostError for a non-cell or a bad index.
hyArray* hyGetCell(const hyArray* a, std::size_t index);
std::size_t hyGetNumberOfElements(const hyArray* a);
bool hyIsStruct(const hyArray* a);

// ---------------------------------------------------------------------------
namespace matrix {

// Full (non-sparse) read view: elements in column-major order.
template <class T>
class typed_array {
public:
    using value_type = T;
    using const_iterator = const T*;
    typed_array(const T* data, std::size_t size) noexcept : data_(data), size_(size) {}
    const T* data() const noexcept { return data_; }
    std::size_t size() const noexcept { return size_; }
    bool empty() const noexcept { return size_ == 0; }
    const T& operator[](std::size_t i) const noexcept { return data_[i]; }
    const T* begin() const noexcept { return data_; }
    const T* end() const noexcept { return data_ + size_; }

private:
    const T* data_;
    std::size_t size_;
};

// Compressed-column read view of a two-dimensional sparse array.
template <class T>
class typed_sparse_matrix {
public:
    using value_type = T;
    typed_sparse_matrix(const T* values, const std::size_t* row_indices,
                        const std::size_t* column_starts, std::size_t rows,
                        std::size_t cols) noexcept
        : values_(values), ir_(row_indices), jc_(column_starts), rows_(rows), cols_(cols) {}
    const T* values() const noexcept { return values_; }
    const std::size_t* row_indices() const noexcept { return ir_; }
    // cols() + 1 entries; column j holds stored values [jc[j], jc[j+1]).
    const std::size_t* column_starts() const noexcept { return jc_; }
    std::size_t rows() const noexcept { return rows_; }
    std::size_t cols() const noexcept { return cols_; }
    std::size_t nnz() const noexcept { return jc_[cols_]; }

private:
    const T* values_;
    const std::size_t* ir_;
    const std::size_t* jc_;
    std::size_t rows_;
    std::size_t cols_;
};

// --- queries ---------------------------------------------------------------
hyClassID class_id(const hyArray* a);
bool is_numeric(const hyArray* a);
bool is_complex(const hyArray* a);
bool is_sparse(const hyArray* a);
const std::size_t* dims(const hyArray* a);
std::size_t number_of_dims(const hyArray* a);
std::size_t number_of_elements(const hyArray* a);
bool is_empty(const hyArray* a);
// First element of a full array (values of a sparse one); null for classes
// without element data. The mutable overload unshares first.
const void* data(const hyArray* a);
void* data(hyArray* a);
// A handle when the object's or opaque array's class (or a base) defines the
// method; null for every other class.
unique_hyarray_ptr find_method(const hyArray* a, std::string_view name);

// Element type of a class's typed view: bool, char16_t, double, float and the
// <cstdint> exact-width integers; void for classes without element data.
template <hyClassID C>
struct element_type {
    using type = void;
};
// clang-format off
template <> struct element_type<hyLOGICAL_CLASS> { using type = bool; };
template <> struct element_type<hyCHAR_CLASS> { using type = char16_t; };
template <> struct element_type<hyDOUBLE_CLASS> { using type = double; };
template <> struct element_type<hySINGLE_CLASS> { using type = float; };
template <> struct element_type<hyINT8_CLASS> { using type = std::int8_t; };
template <> struct element_type<hyUINT8_CLASS> { using type = std::uint8_t; };
template <> struct element_type<hyINT16_CLASS> { using type = std::int16_t; };
template <> struct element_type<hyUINT16_CLASS> { using type = std::uint16_t; };
template <> struct element_type<hyINT32_CLASS> { using type = std::int32_t; };
template <> struct element_type<hyUINT32_CLASS> { using type = std::uint32_t; };
template <> struct element_type<hyINT64_CLASS> { using type = std::int64_t; };
template <> struct element_type<hyUINT64_CLASS> { using type = std::uint64_t; };
// clang-format on
template <hyClassID C>
using element_type_t = typename element_type<C>::type;

// The class whose element type is T (std::complex<T> maps to T's class).
template <class T>
constexpr hyClassID class_of() noexcept;

// Typed element storage; T must be the class's element type, std::complex of
// it for a complex array. HostError otherwise. The mutable form unshares.
template <class T>
T* data_as(hyArray* a);
template <class T>
const T* data_as(const hyArray* a);

// Creators.
unique_hyarray_ptr create(const char16_t* text, std::size_t n);  // 1×n char; 0 gives 0×0
ustring get_ustring(const hyArray* a);                           // HostError for a non-char

// Destroys an array that has no other holder (HostError when it has one).
void destroyArray(hyArray* a);

namespace detail {
// Creators raise std::bad_alloc for dimensions whose element count does not
// fit in a size_t.
unique_hyarray_ptr do_create_numeric(std::span<const std::size_t> dims, hyClassID cls,
                                     hyComplexity c);
// As do_create_numeric, but the elements hold a fill pattern (not zero) for
// the caller to overwrite.
unique_hyarray_ptr do_create_uninitnumeric(std::span<const std::size_t> dims, hyClassID cls,
                                           hyComplexity c);
unique_hyarray_ptr do_create_cell(std::span<const std::size_t> dims);
unique_hyarray_ptr do_create_struct(std::span<const std::size_t> dims,
                                    std::span<const char* const> names);
// O(1): a new header over the same data block. Null gives null.
unique_hyarray_ptr do_shared_copy(const hyArray* a);

[[noreturn]] void rejectInvalidClassId(hyClassID cls);
[[noreturn]] void rejectClassId(const std::type_info& visitor, hyClassID cls);
[[noreturn]] void rejectArrayShape(const hyArray* a, const std::type_info& view);
}  // namespace detail

// --- emulation extensions --------------------------------------------------
namespace host {

// Registers an object class; redefining a name replaces its definition for
// every object of that class, old and new.
void define_class(std::string name, std::vector<std::string> bases,
                  std::vector<std::string> methods);
bool is_class_defined(std::string_view name);
// Class-18 array of a defined class (HostError for an undefined one).
unique_hyarray_ptr create_object(std::string_view class_name, std::span<const std::size_t> dims);
// Class-17 array of a defined class.
unique_hyarray_ptr create_opaque(std::string_view class_name, std::span<const std::size_t> dims);
// Class-18 array whose dimensions are known only after
// _complete_opaque_dimensions (every dimension query does it).
unique_hyarray_ptr create_object_deferred(std::string_view class_name,
                                          std::span<const std::size_t> dims);
// True while an object still holds its dimensions back (for tests).
bool has_pending_dimensions(const hyArray* a);
// Class-16 1×1 array; hyFunctionHandleToSavedStruct returns deep copies of
// `saved` (which must be a struct).
unique_hyarray_ptr create_function_handle(unique_hyarray_ptr saved);
// An array that claims a class ID the host has no storage for (0, 5,
// negative, above 18), to exercise rejections. HostError for other IDs.
unique_hyarray_ptr create_with_class_id(hyClassID cls, std::span<const std::size_t> dims);

// m×n sparse array of class logical (real), double or single with room for
// nzmax stored values (at least 1); column starts all 0.
unique_hyarray_ptr create_sparse(std::size_t m, std::size_t n, std::size_t nzmax, hyClassID cls,
                                 hyComplexity c);
// Row indices (nzmax) and column starts (n + 1); the mutable forms unshare.
std::size_t* ir(hyArray* a);
std::size_t* jc(hyArray* a);
const std::size_t* ir(const hyArray* a);
const std::size_t* jc(const hyArray* a);
std::size_t nzmax(const hyArray* a);
using matrix::data;

// Holder control: a handle is created with one holder; the deleter drops one
// while others remain.
void add_holder(hyArray* a);
std::size_t holders(const hyArray* a);

// True when both headers currently share one data block (for tests).
bool shares_data(const hyArray* a, const hyArray* b);

}  // namespace host

}  // namespace matrix

#include "hyarray/dispatch.hpp"
