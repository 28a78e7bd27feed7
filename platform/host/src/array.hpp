// Inside the host: what a handle is made of and the storage primitives every
// operation is written with (creation, copy on write, shared and deep copies).
#pragma once

#include <atomic>
#include <boost/container/small_vector.hpp>
#include <cstddef>
#include <memory>
#include <new>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "hyarray/hyarray.hpp"

namespace matrix::host::internal {

struct Array;
using DimList = boost::container::small_vector<std::size_t, 4>;

// Element storage starts on a cache line, as vector code reading it expects:
// no load of a 32-byte vector then straddles two lines.
inline constexpr std::align_val_t kElementAlignment{64};
struct AlignedDelete {
    void operator()(std::byte* p) const noexcept { ::operator delete[](p, kElementAlignment); }
};

// The part of an array that shared copies have in common. Element handles
// in `slots` and `saved` belong to the block.
struct Block {
    Block() = default;
    Block(const Block&) = delete;
    Block& operator=(const Block&) = delete;
    ~Block();

    std::atomic<std::size_t> sharers{1};
    std::unique_ptr<std::byte[], AlignedDelete> bytes;  // full elements, or sparse values
    std::size_t byte_count = 0;
    std::vector<std::size_t> ir;     // sparse: nzmax row indices
    std::vector<std::size_t> jc;     // sparse: n + 1 column starts
    std::vector<Array*> slots;       // cell: one per element; struct: element-major
    std::vector<std::string> names;  // struct field names
    std::vector<const char*> name_ptrs;
    Array* saved = nullptr;  // function handle: the struct it was made from

    void refresh_name_ptrs();
};

// The block of a header. Borrowing an element may give the header a block of
// its own while other threads read the header, so the pointer is atomic.
class BlockRef {
public:
    Block* get() const noexcept { return p_.load(std::memory_order_acquire); }
    Block* operator->() const noexcept { return get(); }
    Block& operator*() const noexcept { return *get(); }
    BlockRef& operator=(Block* b) noexcept {
        p_.store(b, std::memory_order_release);
        return *this;
    }

private:
    std::atomic<Block*> p_{nullptr};
};

struct Array final : hyArray_tag {
    Array(hyClassID c, hyComplexity x, bool s, std::span<const std::size_t> d);
    ~Array();

    hyClassID cls;
    hyComplexity complexity;
    bool sparse;
    mutable DimList dims;
    std::atomic<std::size_t> holders{1};
    BlockRef block;
    // Blocks this header left when an element was borrowed. Elements borrowed
    // earlier (by this thread or another) live in them, so they are kept until
    // the header is changed or destroyed. Guarded by the borrow lock.
    std::vector<Block*> retired;
    std::string class_name;                    // objects and opaque arrays
    mutable std::atomic<bool> pending{false};  // dimensions held back
    DimList hidden_dims;

    std::size_t count() const;  // elements, completing dimensions first
    std::size_t fields() const { return block.get() ? block->names.size() : 0; }
};

// Throws std::bad_alloc when the armed failure is due.
void charge();

inline Array* impl(const hyArray* a) {
    if (a == nullptr)
        throw HostError("the host was given a null array");
    return static_cast<Array*>(const_cast<hyArray*>(a));
}

std::size_t element_size(hyClassID cls);
bool has_elements(hyClassID cls);  // logical, char, 6-15
const char* builtin_class_name(hyClassID cls);
std::size_t product(std::span<const std::size_t> dims);
// The product of the dimensions and `factor`, or nothing when it does not fit
// in a size_t (no such array can exist).
std::optional<std::size_t> checked_product(std::span<const std::size_t> dims,
                                           std::size_t factor = 1);
// The same, raising std::bad_alloc for a size no allocation can have.
std::size_t allocation_size(std::span<const std::size_t> dims, std::size_t factor);

// Owning pointer used while building; destroys the whole array on unwind.
struct Destroy {
    void operator()(Array* a) const noexcept;
};
using Owned = std::unique_ptr<Array, Destroy>;

// A header with a fresh empty block (two charged allocations). std::bad_alloc
// for dimensions whose element count does not fit in a size_t.
Owned make_array(hyClassID cls, hyComplexity c, bool sparse, std::span<const std::size_t> dims);
// Element storage of `bytes` bytes, every byte set to `fill`. Storage left
// for the caller to fill gets a pattern rather than zeros, so that a reader
// of unfilled elements sees noise.
void allocate_elements(Block& b, std::size_t bytes, unsigned char fill);
inline constexpr unsigned char kNoise = 0xA5;

void destroy(Array* a) noexcept;
Owned shared_copy(const Array& a);
Owned deep_copy(const Array& a);
// Gives `a` a block of its own before a change (which no other thread may
// overlap); also lets go of the blocks that borrowing left behind.
void unshare(Array& a);
// Gives `a` a block of its own before one of its elements (or its element
// storage) is handed out writable by an operation that only reads `a`. Other
// threads may read `a` at the same time; the block left behind is kept (see
// Array::retired), so nothing borrowed earlier goes away.
void unshare_to_borrow(const Array& a);
unique_hyarray_ptr wrap(Owned a) noexcept;

// {function_handle: {function, type, file}}, the struct a handle is saved as.
unique_hyarray_ptr make_saved_struct(std::u16string_view function, std::string_view type,
                                     std::u16string_view file);

}  // namespace matrix::host::internal
