// Interned array sizes, size completion and the user-facing size text.
#include <kelvor/core/array_size.hpp>

#include <algorithm>
#include <cstdint>
#include <span>
#include <string>

#include <boost/container_hash/hash.hpp>

#include <kelvor/core/exception.hpp>

#include "intern.hpp"

namespace klf {
namespace {

// A stored block is [hash, count, dims...]; the handle points at the count,
// so the hash sits just before it and is never computed twice.
using Dims = std::span<const std::size_t>;

struct Probe {
    Dims dims;
    std::size_t hash;
};

Dims dims_of(const std::size_t* block) {
    return {block + 1, block[0]};
}

struct BlockHash {
    using is_transparent = void;
    std::size_t operator()(const std::size_t* block) const noexcept { return block[-1]; }
    std::size_t operator()(const Probe& p) const noexcept { return p.hash; }
};

struct BlockEq {
    using is_transparent = void;
    static bool same(Dims a, Dims b) { return std::ranges::equal(a, b); }
    bool operator()(const std::size_t* a, const std::size_t* b) const { return a == b; }
    bool operator()(const Probe& p, const std::size_t* b) const { return same(p.dims, dims_of(b)); }
    bool operator()(const std::size_t* a, const Probe& p) const { return same(dims_of(a), p.dims); }
};

constexpr std::size_t empty_block[2] = {0, 0};

const std::size_t* intern(Dims dims) {
    if (dims.empty()) {
        return empty_block + 1;
    }
    using Table = detail::InternTable<const std::size_t*, BlockHash, BlockEq>;
    static Table* const table = new Table;  // never destroyed: handles outlive statics
    const std::size_t hash = boost::hash_range(dims.begin(), dims.end());
    return table->intern(Probe{dims, hash}, hash, [&] {
        auto* block = new std::size_t[dims.size() + 2];
        block[0] = hash;
        block[1] = dims.size();
        std::ranges::copy(dims, block + 2);
        return static_cast<const std::size_t*>(block + 1);
    });
}

void append_number(ustring& out, std::size_t n) {
    const std::string digits = std::to_string(n);
    out.append(digits.begin(), digits.end());
}

ustring requested_text(const std::vector<std::optional<std::size_t>>& dims) {
    if (dims.empty()) {
        return u"[]";
    }
    ustring out;
    for (std::size_t i = 0; i < dims.size(); ++i) {
        if (i != 0) {
            out += u'x';
        }
        if (dims[i]) {
            append_number(out, *dims[i]);
        } else {
            out += u"[]";
        }
    }
    return out;
}

[[noreturn]] void cannot_compute(std::size_t total,
                                 const std::vector<std::optional<std::size_t>>& dims) {
    throw MessageException(Message(
        resource_core::BaseMsgID("kelvor:core:size", "CannotComputeSize",
                                 {static_cast<std::int64_t>(total), requested_text(dims)})));
}

}  // namespace

ArraySize::ArraySize() noexcept : block_(empty_block + 1) {}

ArraySize::ArraySize(const std::size_t* dims, std::size_t count)
    : block_(intern(count == 0 ? Dims{} : Dims{dims, count})) {}

ArraySize::ArraySize(std::initializer_list<std::size_t> dims)
    : block_(intern(Dims{dims.begin(), dims.size()})) {}

std::size_t ArraySize::numElements() const noexcept {
    std::size_t n = 1;
    for (std::size_t d : *this) {
        n *= d;
    }
    return n;
}

ArraySize compute_size(std::size_t total, const std::vector<std::optional<std::size_t>>& dims) {
    std::vector<std::size_t> out;
    out.reserve(dims.size());
    std::size_t known = 1;
    bool overflow = false;
    std::optional<std::size_t> empty_at;
    for (std::size_t i = 0; i < dims.size(); ++i) {
        if (!dims[i]) {
            if (empty_at) {
                cannot_compute(total, dims);
            }
            empty_at = i;
            out.push_back(0);
            continue;
        }
        out.push_back(*dims[i]);
        overflow = overflow || __builtin_mul_overflow(known, *dims[i], &known);
    }
    if (empty_at) {
        const bool known_zero = std::ranges::any_of(dims, [](auto d) { return d && *d == 0; });
        if (known_zero || overflow) {
            // The known product is 0 or beyond any count: only a total of 0
            // can be met, and 0 is then the fill that keeps the size empty.
            if (total != 0) {
                cannot_compute(total, dims);
            }
            out[*empty_at] = 0;
        } else {
            if (total % known != 0) {
                cannot_compute(total, dims);
            }
            out[*empty_at] = total / known;
        }
    }
    return ArraySize(out.data(), out.size());
}

ustring to_user_string(const ArraySize& size) {
    if (size.size() == 0) {
        return u"[]";
    }
    ustring out;
    for (std::size_t i = 0; i < size.size(); ++i) {
        if (i != 0) {
            out += u'x';
        }
        append_number(out, size(i));
    }
    return out;
}

}  // namespace klf
