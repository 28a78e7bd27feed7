// Headers, data blocks, copy on write, holders, and the accounting behind
// the test aids (live arrays, allocation-failure injection).
#include <algorithm>
#include <cstring>
#include <exception>
#include <mutex>
#include <new>

#include "array.hpp"
#include "hyarray/testing.hpp"

namespace matrix::host::internal {
namespace {

std::atomic<std::size_t> g_live{0};
// Allocations left before the armed failure; SIZE_MAX when none is armed.
constexpr std::size_t kDisarmed = static_cast<std::size_t>(-1);
std::atomic<std::size_t> g_countdown{kDisarmed};

}  // namespace

void charge() {
    std::size_t left = g_countdown.load(std::memory_order_relaxed);
    while (left != kDisarmed) {
        const std::size_t next = left == 0 ? kDisarmed : left - 1;
        if (g_countdown.compare_exchange_weak(left, next, std::memory_order_relaxed)) {
            if (left == 0)
                throw std::bad_alloc();
            return;
        }
    }
}

Block::~Block() {
    for (Array* s : slots)
        destroy(s);
    destroy(saved);
}

void Block::refresh_name_ptrs() {
    name_ptrs.clear();
    for (const std::string& n : names)
        name_ptrs.push_back(n.c_str());
}

Array::Array(hyClassID c, hyComplexity x, bool s, std::span<const std::size_t> d)
    : cls(c), complexity(x), sparse(s), dims(d.begin(), d.end()) {
    g_live.fetch_add(1, std::memory_order_relaxed);
}

Array::~Array() {
    g_live.fetch_sub(1, std::memory_order_relaxed);
}

std::size_t Array::count() const {
    _complete_opaque_dimensions();
    return product(dims);
}

std::size_t product(std::span<const std::size_t> dims) {
    std::size_t n = 1;
    for (std::size_t d : dims)
        n *= d;
    return n;
}

std::optional<std::size_t> checked_product(std::span<const std::size_t> dims, std::size_t factor) {
    std::size_t n = factor;
    bool overflow = false;
    for (std::size_t d : dims) {
        if (d == 0)
            return 0;
        overflow = overflow || __builtin_mul_overflow(n, d, &n);
    }
    return overflow ? std::nullopt : std::optional<std::size_t>(n);
}

std::size_t allocation_size(std::span<const std::size_t> dims, std::size_t factor) {
    const std::optional<std::size_t> n = checked_product(dims, factor);
    if (!n)
        throw std::bad_alloc();
    return *n;
}

void Destroy::operator()(Array* a) const noexcept {
    destroy(a);
}

namespace {

// Drops one sharer of `b`, deleting it with the last.
void release(Block* b) noexcept {
    if (b != nullptr && b->sharers.fetch_sub(1, std::memory_order_acq_rel) == 1)
        delete b;
}

void release_retired(Array& a) noexcept {
    for (Block* b : a.retired)
        release(b);
    a.retired.clear();
}

// Serialises borrowing unshares: two threads reading one header must not
// both give it a block.
std::mutex g_borrow;

}  // namespace

void destroy(Array* a) noexcept {
    if (a == nullptr)
        return;
    release_retired(*a);
    release(a->block.get());
    delete a;
}

Owned make_array(hyClassID cls, hyComplexity c, bool sparse, std::span<const std::size_t> dims) {
    (void)allocation_size(dims, 1);  // no array has more elements than a size_t counts
    charge();
    Owned a(new Array(cls, c, sparse, dims));
    charge();
    a->block = new Block;
    return a;
}

void allocate_elements(Block& b, std::size_t bytes, unsigned char fill) {
    // Never null, so that callers may pass the address of an empty array on.
    const std::size_t n = std::max<std::size_t>(bytes, 16);
    b.bytes.reset(new (kElementAlignment) std::byte[n]);
    std::memset(b.bytes.get(), fill, n);
    b.byte_count = bytes;
}

namespace {

Owned copy_header(const Array& a) {
    charge();
    a._complete_opaque_dimensions();
    Owned c(new Array(a.cls, a.complexity, a.sparse, a.dims));
    c->class_name = a.class_name;
    return c;
}

// Copies everything but the element handles, which `copy` makes.
template <class Copy>
std::unique_ptr<Block> copy_block(const Block& from, Copy copy) {
    charge();
    auto b = std::make_unique<Block>();
    if (from.bytes) {
        allocate_elements(*b, from.byte_count, 0);
        std::memcpy(b->bytes.get(), from.bytes.get(), from.byte_count);
    }
    b->ir = from.ir;
    b->jc = from.jc;
    b->names = from.names;
    b->refresh_name_ptrs();
    b->slots.assign(from.slots.size(), nullptr);
    for (std::size_t i = 0; i < from.slots.size(); ++i)
        if (from.slots[i])
            b->slots[i] = copy(*from.slots[i]).release();
    if (from.saved)
        b->saved = copy(*from.saved).release();
    return b;
}

}  // namespace

Owned shared_copy(const Array& a) {
    Owned c = copy_header(a);
    Block* b = a.block.get();
    b->sharers.fetch_add(1, std::memory_order_relaxed);
    c->block = b;
    return c;
}

Owned deep_copy(const Array& a) {
    Owned c = copy_header(a);
    c->block = copy_block(*a.block, [](const Array& e) { return deep_copy(e); }).release();
    return c;
}

void unshare(Array& a) {
    release_retired(a);
    Block* old = a.block.get();
    if (old->sharers.load(std::memory_order_acquire) == 1)
        return;
    std::unique_ptr<Block> own = copy_block(*old, [](const Array& e) { return shared_copy(e); });
    a.block = own.release();
    release(old);
}

void unshare_to_borrow(const Array& c) {
    Array& a = const_cast<Array&>(c);
    if (a.block->sharers.load(std::memory_order_acquire) == 1)
        return;
    const std::lock_guard lock(g_borrow);
    Block* old = a.block.get();
    if (old->sharers.load(std::memory_order_acquire) == 1)
        return;  // another thread has just done it
    a.retired.reserve(a.retired.size() + 1);
    std::unique_ptr<Block> own = copy_block(*old, [](const Array& e) { return shared_copy(e); });
    a.retired.push_back(old);  // keeps its sharer count: this header still holds it
    a.block = own.release();
}

unique_hyarray_ptr wrap(Owned a) noexcept {
    return unique_hyarray_ptr(a.release());
}

}  // namespace matrix::host::internal

namespace matrix {
using namespace host::internal;

void destroyArray(hyArray* a) {
    if (a == nullptr)
        return;
    Array* x = impl(a);
    if (x->holders.load(std::memory_order_acquire) > 1)
        throw HostError("destroyArray: the array has another holder");
    destroy(x);
}

void detail::hyDestroy_deleter::operator()(hyArray* a) const noexcept {
    if (a == nullptr)
        return;
    Array* x = static_cast<Array*>(a);
    std::size_t h = x->holders.load(std::memory_order_acquire);
    while (h > 1)
        if (x->holders.compare_exchange_weak(h, h - 1, std::memory_order_acq_rel))
            return;
    destroyArray(a);  // noexcept: a throwing destroy terminates
}

unique_hyarray_ptr detail::do_shared_copy(const hyArray* a) {
    if (a == nullptr)
        return nullptr;
    return wrap(shared_copy(*impl(a)));
}

void host::add_holder(hyArray* a) {
    impl(a)->holders.fetch_add(1, std::memory_order_relaxed);
}

std::size_t host::holders(const hyArray* a) {
    return impl(a)->holders.load(std::memory_order_acquire);
}

bool host::shares_data(const hyArray* a, const hyArray* b) {
    return impl(a)->block.get() == impl(b)->block.get();
}

namespace testing {
std::size_t live_arrays() noexcept {
    return g_live.load(std::memory_order_relaxed);
}
void fail_allocation_after(std::size_t n) noexcept {
    g_countdown.store(n == kDisarmed ? n - 1 : n, std::memory_order_relaxed);
}
void clear_allocation_failure() noexcept {
    g_countdown.store(kDisarmed, std::memory_order_relaxed);
}
std::size_t allocations_until_failure() noexcept {
    return g_countdown.load(std::memory_order_relaxed);
}
}  // namespace testing

}  // namespace matrix
