// Array sizes of the family: an immutable list of dimensions, one pointer wide.
//
// Every distinct list of dimensions is stored once for the life of the process
// (interned), so an ArraySize is a plain pointer: copying is free, equality is
// a pointer comparison, and sizes can be passed and returned by value across
// libraries. Making one costs one hash look-up.
//
//     klf::ArraySize s{2, 3};
//     s.size();          // 2 dimensions
//     s(1);              // 3
//     s.numElements();   // 6
//     klf::to_user_string(s);                                   // u"2x3"
//     klf::compute_size(6, {2, std::nullopt}) == klf::ArraySize{2, 3};
#pragma once

#include <cstddef>
#include <initializer_list>
#include <optional>
#include <type_traits>
#include <vector>

#include <kelvor/core/ustring.hpp>

namespace klf {

class ArraySize {
public:
    /// No dimensions: size() is 0 and numElements() is 1 (the empty product).
    ArraySize() noexcept;
    /// The `count` dimensions starting at `dims` (which may be null when count is 0).
    ArraySize(const std::size_t* dims, std::size_t count);
    ArraySize(std::initializer_list<std::size_t> dims);

    /// Number of dimensions.
    std::size_t size() const noexcept { return block_[0]; }
    /// The i-th dimension (i < size(), unchecked).
    std::size_t operator()(std::size_t i) const noexcept { return block_[i + 1]; }
    /// Product of the dimensions (1 for no dimensions); wraps modulo 2^64.
    std::size_t numElements() const noexcept;

    const std::size_t* begin() const noexcept { return block_ + 1; }
    const std::size_t* end() const noexcept { return block_ + 1 + block_[0]; }
    const std::size_t* data() const noexcept { return block_ + 1; }

    /// Interning makes equal lists share their block.
    friend bool operator==(ArraySize a, ArraySize b) noexcept { return a.block_ == b.block_; }

private:
    // block_[0] is the number of dimensions, the dimensions follow.
    const std::size_t* block_;
};

static_assert(std::is_trivially_copyable_v<ArraySize>);
static_assert(sizeof(ArraySize) == sizeof(void*));

/// The size with the given dimensions, the one empty entry filled so that the
/// product is `total`; a list without an empty entry is returned as given.
/// Throws klf::MessageException ("kelvor:core:size", "CannotComputeSize",
/// arguments: total as int, the requested size as ustr with "[]" for the empty
/// entries, e.g. "2x[]x3") when there is more than one empty entry or the
/// known dimensions do not divide `total` (a known 0 divides only a total of
/// 0, and the empty entry then becomes 0).
ArraySize compute_size(std::size_t total, const std::vector<std::optional<std::size_t>>& dims);

/// Dimensions joined by "x": "2x3", "5", "0x0"; no dimensions gives "[]".
ustring to_user_string(const ArraySize& size);

}  // namespace klf
