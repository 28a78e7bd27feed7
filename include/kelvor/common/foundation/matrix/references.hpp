// Reference paths: chains of subscript steps in the host's indexing syntax,
// such as `.model(2){1}.gain`.
//
// A step is a field access (DotRef, `.name`), a parenthesised index
// (ParenRef, `(args)`) or a braced index (BraceRef, `{args}`); Ref holds one
// of them, with the kind index 0 = paren, 1 = brace, 2 = dot that also orders
// the kinds. A path (Refs) is a copy-on-write sequence of steps: copies share
// one block until one of them changes. HyArrayRefsConverter turns the host's
// subscript struct (fields "type" and "subs") into a path and back.
//
// Every step carries an annotation word that is not part of its value: a
// `.` step caches its hash there (also when reached through a const
// reference), and for `()` and `{}` steps it is the only hash and the only
// way equality can tell two of them apart (argument arrays have no order and
// no hash; see ot/HyArraySequence). Hashes use Boost.ContainerHash, so
// `boost::hash<Ref>` and `boost::unordered_map<Ref, …>` work as they are.
//
//     klf::hy::Refs path(klf::hy::DotRef(klf::TxId("model")));
//     path += klf::hy::ParenRef(args);
//     matrix::unique_hyarray_ptr s = klf::hy::HyArrayRefsConverter{}(path);
#pragma once

#include <atomic>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <iosfwd>
#include <limits>
#include <new>
#include <type_traits>
#include <utility>
#include <variant>

#include <hyarray/hyarray.hpp>
#include <kelvor/common/foundation/matrix/export.hpp>
#include <kelvor/common/foundation/matrix/ot/HyArraySequence>
#include <kelvor/core/table_string.hpp>

namespace klf {

namespace detail {
/// A block of the smallest power-of-two byte size that holds `header` bytes
/// and `n` slots of `slot` bytes, from malloc; std::bad_alloc when there is
/// none. `capacity` receives the number of slots that fit.
KELVOR_MATRIX_EXPORT void* allocate_shared_block(std::size_t header, std::size_t slot,
                                                 std::size_t n, std::size_t& capacity);
}  // namespace detail

/// A copy-on-write vector held through one pointer to a shared block:
/// reference count, capacity, size, then the slots. Copies share the block
/// (one atomic increment); the first change through a shared copy gives that
/// copy a block of its own. A null pointer is the empty vector, read through
/// one static empty block. Growing is all or nothing: when allocating or
/// copying fails, the vector keeps its block and elements.
template <class T>
class SharedVector {
public:
    /// The block header; the slots follow it directly.
    struct Core {
        std::atomic<std::uint64_t> count;
        std::uint64_t capacity;
        std::uint64_t size;
    };
    static_assert(alignof(T) <= alignof(Core), "slots follow the header unpadded");

    SharedVector() noexcept = default;
    SharedVector(const SharedVector& other) noexcept : block_(other.block_) {
        if (block_ != nullptr) {
            block_->count.fetch_add(1, std::memory_order_relaxed);
        }
    }
    SharedVector(SharedVector&& other) noexcept : block_(std::exchange(other.block_, nullptr)) {}
    SharedVector& operator=(SharedVector other) noexcept {
        swap(other);
        return *this;
    }
    ~SharedVector() { release(block_); }

    void swap(SharedVector& other) noexcept { std::swap(block_, other.block_); }

    std::size_t size() const noexcept { return core(block_)->size; }
    std::size_t capacity() const noexcept { return core(block_)->capacity; }
    bool empty() const noexcept { return size() == 0; }
    const T* begin() const noexcept { return slots(core(block_)); }
    const T* end() const noexcept { return begin() + size(); }
    const T& operator[](std::size_t i) const noexcept { return begin()[i]; }
    /// Holders of the block (1 for the empty vector).
    std::uint64_t use_count() const noexcept {
        return core(block_)->count.load(std::memory_order_relaxed);
    }

    /// Makes the block unshared and able to hold `n` elements.
    void reserve(std::size_t n);
    /// Appends a copy of `value` (which may be an element of this vector).
    void push_back(const T& value);
    /// Appends `value` itself.
    void push_back(T&& value);
    /// Appends copies of `other`'s elements (`other` may be this vector).
    void append(const SharedVector& other);

private:
    static Core* core(Core* block) noexcept {
        static Core CORE{{1}, 0, 0};
        return block != nullptr ? block : &CORE;
    }
    static T* slots(Core* c) noexcept {
        return reinterpret_cast<T*>(reinterpret_cast<char*>(c) + sizeof(Core));
    }
    static void destroy(T* first, std::size_t n) noexcept {
        while (n > 0) {
            first[--n].~T();
        }
    }
    static void release(Core* c) noexcept {
        if (c != nullptr && c->count.fetch_sub(1, std::memory_order_acq_rel) == 1) {
            destroy(slots(c), c->size);
            c->~Core();
            std::free(c);
        }
    }

    Core* block_ = nullptr;
};

template <class T>
void SharedVector<T>::reserve(std::size_t n) {
    Core* const old = block_;
    const bool unshared = old == nullptr || old->count.load(std::memory_order_acquire) == 1;
    if (unshared && capacity() >= n) {
        return;
    }
    const std::size_t count = size();
    std::size_t slots_available = 0;
    void* memory = detail::allocate_shared_block(sizeof(Core), sizeof(T), n < count ? count : n,
                                                 slots_available);
    Core* fresh = new (memory) Core{{1}, slots_available, 0};
    T* const to = slots(fresh);
    T* const from = slots(core(old));
    if constexpr (std::is_nothrow_move_constructible_v<T>) {
        if (unshared) {
            // Sole holder: the elements can move, which cannot fail.
            for (std::size_t i = 0; i < count; ++i) {
                new (to + i) T(std::move(from[i]));
            }
            fresh->size = count;
            if (old != nullptr) {
                destroy(from, count);
                old->~Core();
                std::free(old);
            }
            block_ = fresh;
            return;
        }
    }
    try {
        for (; fresh->size < count; ++fresh->size) {
            new (to + fresh->size) T(from[fresh->size]);
        }
    } catch (...) {
        destroy(to, fresh->size);
        fresh->~Core();
        std::free(memory);
        throw;
    }
    block_ = fresh;
    release(old);
}

template <class T>
void SharedVector<T>::push_back(const T& value) {
    T copy(value);
    reserve(size() + 1);
    new (slots(block_) + block_->size) T(std::move(copy));
    ++block_->size;
}

template <class T>
void SharedVector<T>::push_back(T&& value) {
    T taken(std::move(value));
    reserve(size() + 1);
    new (slots(block_) + block_->size) T(std::move(taken));
    ++block_->size;
}

template <class T>
void SharedVector<T>::append(const SharedVector& other) {
    // Even appending nothing gives a shared vector a block of its own, as
    // every change does.
    const std::size_t k = other.size();
    const std::size_t before = size();
    Core* const old = block_;
    const bool unshared = old == nullptr || old->count.load(std::memory_order_acquire) == 1;
    if (unshared && capacity() >= before + k) {
        if (k == 0) {
            return;  // the empty vector has no block to write into
        }
        // Room in a block of our own: copy in place and roll back on failure.
        // When `other` is this vector, only its first `before` slots are read.
        const T* from = other.begin();
        T* const to = slots(block_);
        try {
            for (std::size_t i = 0; i < k; ++i) {
                new (to + before + i) T(from[i]);
                ++block_->size;
            }
        } catch (...) {
            destroy(to + before, block_->size - before);
            block_->size = before;
            throw;
        }
        return;
    }
    // The grown block is filled completely before it replaces the current
    // one, so a failure leaves this vector as it was, block included.
    std::size_t slots_available = 0;
    void* memory =
        detail::allocate_shared_block(sizeof(Core), sizeof(T), before + k, slots_available);
    Core* fresh = new (memory) Core{{1}, slots_available, 0};
    T* const to = slots(fresh);
    const T* const mine = slots(core(old));
    const T* const theirs = other.begin();
    try {
        for (; fresh->size < before; ++fresh->size) {
            new (to + fresh->size) T(mine[fresh->size]);
        }
        for (std::size_t i = 0; i < k; ++i, ++fresh->size) {
            new (to + fresh->size) T(theirs[i]);
        }
    } catch (...) {
        destroy(to, fresh->size);
        fresh->~Core();
        std::free(memory);
        throw;
    }
    block_ = fresh;
    release(old);
}

template <class T>
void swap(SharedVector<T>& a, SharedVector<T>& b) noexcept {
    a.swap(b);
}

namespace hy {

/// A field access, `.name`.
class KELVOR_MATRIX_EXPORT DotRef {
public:
    explicit DotRef(const TxId& id) noexcept : id_(id) {}
    const TxId& id() const noexcept { return id_; }
    /// The annotation word: the cached hash once computed, 0 before.
    std::uint64_t annotation() const noexcept;
    void set_annotation(std::uint64_t value) const noexcept;

private:
    TxId id_;
    // Written through const references as a cache; every thread writes the
    // same value.
    mutable std::uint64_t annotation_ = 0;
};

namespace detail {
/// Common form of the two indexing steps: arguments and annotation.
class KELVOR_MATRIX_EXPORT IndexRef {
public:
    IndexRef() noexcept = default;
    explicit IndexRef(const HyArraySequence& args) : args_(args) {}
    explicit IndexRef(HyArraySequence&& args) noexcept : args_(std::move(args)) {}
    const HyArraySequence& args() const noexcept { return args_; }
    std::uint64_t annotation() const noexcept { return annotation_; }
    /// Set by code that knows what distinguishes two argument lists.
    void set_annotation(std::uint64_t value) noexcept { annotation_ = value; }

private:
    HyArraySequence args_;
    std::uint64_t annotation_ = 0;
};
}  // namespace detail

/// A parenthesised index, `(args)`.
class KELVOR_MATRIX_EXPORT ParenRef : public detail::IndexRef {
public:
    using IndexRef::IndexRef;
};

/// A braced index, `{args}`.
class KELVOR_MATRIX_EXPORT BraceRef : public detail::IndexRef {
public:
    using IndexRef::IndexRef;
};

/// One step of a path.
class KELVOR_MATRIX_EXPORT Ref {
public:
    using Step = std::variant<ParenRef, BraceRef, DotRef>;
    static constexpr std::size_t paren = 0, brace = 1, dot = 2;

    /// A `()` step without arguments.
    Ref() noexcept = default;
    Ref(ParenRef step) noexcept : step_(std::in_place_index<paren>, std::move(step)) {}
    Ref(BraceRef step) noexcept : step_(std::in_place_index<brace>, std::move(step)) {}
    Ref(DotRef step) noexcept : step_(std::in_place_index<dot>, std::move(step)) {}
    /// Copies the step and its annotation; argument arrays become shared copies.
    Ref(const Ref& other);
    Ref(Ref&& other) noexcept = default;
    Ref& operator=(Ref other) noexcept {
        swap(other);
        return *this;
    }
    ~Ref() = default;

    void swap(Ref& other) noexcept { step_.swap(other.step_); }

    /// The kind index: 0 paren, 1 brace, 2 dot.
    std::size_t id() const noexcept { return step_.index(); }
    const Step& step() const noexcept { return step_; }
    template <class S>
    const S* get_if() const noexcept {
        return std::get_if<S>(&step_);
    }
    std::uint64_t annotation() const;
    void set_annotation(std::uint64_t value);

private:
    Step step_;
};

/// Kinds first (every `()` before every `{}` before every `.`), then `.`
/// steps by their names' bytes (signed). Two `()` or two `{}` steps have no
/// order: an internal error.
KELVOR_MATRIX_EXPORT std::partial_ordering compare(const Ref& a, const Ref& b);

/// Same kind and value. `.` steps compare cached hashes before names; `()`
/// and `{}` steps are told apart only by differing non-zero annotations.
KELVOR_MATRIX_EXPORT bool operator==(const Ref& a, const Ref& b);

/// boost::hash_combine of the kind and the step's hash (a `.` step's is
/// cached in its annotation; a `()` or `{}` step's is its annotation).
KELVOR_MATRIX_EXPORT std::size_t hash_value(const Ref& r);

/// As operator== with annotations neither read nor written.
KELVOR_MATRIX_EXPORT bool equal_ignore_annotation(const Ref& a, const Ref& b);

/// Clears the annotation; a `.` step recomputes its hash on next use.
KELVOR_MATRIX_EXPORT void strip_annotation_inplace(Ref& r);

/// Fingerprint stream of a step: the kind as 8 bytes big-endian, then the
/// name's bytes in one call, or the stream of each argument. The annotation
/// is not fed.
KELVOR_MATRIX_EXPORT void incorporate_data(std::function<void(const char*, std::size_t)>& feed,
                                           const Ref& r);

/// A path: steps in order, shared copy on write.
class KELVOR_MATRIX_EXPORT Refs {
public:
    using const_iterator = const Ref*;

    Refs() noexcept = default;
    Refs(const Ref& step);
    Refs(const Refs& other) noexcept = default;
    Refs(Refs&& other) noexcept = default;
    Refs& operator=(Refs other) noexcept {
        steps_.swap(other.steps_);
        return *this;
    }
    ~Refs();

    /// Appends a copy of `step` (a step of this path is fine).
    Refs& operator+=(const Ref& step);
    /// Appends `step` itself.
    Refs& operator+=(Ref&& step);
    /// Appends copies of `other`'s steps; `path += path` doubles the path.
    Refs& operator+=(const Refs& other);

    std::size_t size() const noexcept { return steps_.size(); }
    bool empty() const noexcept { return steps_.empty(); }
    const Ref& operator[](std::size_t i) const noexcept { return steps_[i]; }
    const Ref* begin() const noexcept { return steps_.begin(); }
    const Ref* end() const noexcept { return steps_.end(); }
    /// The shared block, for callers that need to see the sharing.
    const SharedVector<Ref>& steps() const noexcept { return steps_; }

    /// Exchanges the block pointers; no step is copied.
    void swap(Refs& other) noexcept { steps_.swap(other.steps_); }

private:
    SharedVector<Ref> steps_;
};

inline void swap(Refs& a, Refs& b) noexcept {
    a.swap(b);
}

/// The steps in order (`.name`, `(…)`, `{…}`, arguments as their size and
/// class), with nothing around or between them.
KELVOR_MATRIX_EXPORT std::ostream& operator<<(std::ostream& os, const Refs& path);

/// Between a path and the host's subscript struct: one element per step,
/// field "type" the text ".", "()" or "{}", field "subs" the name (text) or
/// the arguments (a cell). Written structs are n x 1 and argument cells
/// k x 1; arguments are shared copies both ways; annotations are not written
/// and come back as 0. A value that is not such a struct raises
/// "InvalidRefStruct" (catalog "kelvor:common:foundation:matrix:ref"); on
/// any failure nothing partial is returned.
class KELVOR_MATRIX_EXPORT HyArrayRefsConverter {
public:
    Refs operator()(const matrix::unique_hyarray_ptr& s) const;
    matrix::unique_hyarray_ptr operator()(const Refs& path) const;
};

}  // namespace hy
}  // namespace klf
