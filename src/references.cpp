// Reference steps and paths: ordering, equality, hashing, fingerprint and
// text of steps; the argument sequence; the block allocation of paths.
#include <kelvor/common/foundation/matrix/references.hpp>

#include <algorithm>
#include <atomic>
#include <bit>
#include <cstring>
#include <ostream>
#include <stdexcept>

#include <boost/container_hash/hash.hpp>
#include <boost/endian/conversion.hpp>

#include <kelvor/common/foundation/matrix/fingerprint.hpp>
#include <kelvor/common/foundation/matrix/messages.hpp>

namespace klf {

// --- argument sequences -----------------------------------------------------

HyArraySequence::HyArraySequence(const HyArraySequence& other) {
    arrays_.reserve(other.arrays_.size());
    for (const matrix::unique_hyarray_ptr& a : other.arrays_) {
        arrays_.push_back(matrix::detail::do_shared_copy(a.get()));
    }
}

HyArraySequence::~HyArraySequence() {
    while (!arrays_.empty()) {
        arrays_.pop_back();
    }
}

namespace {
// Where the internal-error points report from: the sequence header as the
// family's toolbox lays it out, so reports read the same in every build.
constexpr const char* sequence_header =
    "toolbox/kelvor/common/foundation/matrix/ot/HyArraySequence";
}  // namespace

std::partial_ordering compare(const HyArraySequence&, const HyArraySequence&) {
    KLF_ASSERT_AT(false, "shouldn't get here", sequence_header, 107,
                  "std::partial_ordering klf::compare(const klf::HyArraySequence&, const "
                  "klf::HyArraySequence&)");
    // Diagnostics switched off: no order, hence never equal.
    return std::partial_ordering::unordered;
}

std::size_t hash_value(const HyArraySequence&) {
    KLF_ASSERT_AT(false, "shouldn't get here", sequence_header, 111,
                  "std::size_t klf::hash_value(const klf::HyArraySequence&)");
    return 0;
}

namespace detail {

void* allocate_shared_block(std::size_t header, std::size_t slot, std::size_t n,
                            std::size_t& capacity) {
    if (n > (std::numeric_limits<std::size_t>::max() / 2 - header) / slot) {
        throw std::bad_alloc();
    }
    const std::size_t bytes = std::bit_ceil(header + n * slot);
    void* memory = std::malloc(bytes);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    capacity = (bytes - header) / slot;
    return memory;
}

}  // namespace detail

namespace hy {

// --- steps --------------------------------------------------------------------

std::uint64_t DotRef::annotation() const noexcept {
    return std::atomic_ref<std::uint64_t>(annotation_).load(std::memory_order_relaxed);
}

void DotRef::set_annotation(std::uint64_t value) const noexcept {
    std::atomic_ref<std::uint64_t>(annotation_).store(value, std::memory_order_relaxed);
}

namespace {

[[noreturn]] void invalid_visit() {
    throw std::logic_error("invalid visit");
}

Ref::Step copy_step(const Ref::Step& step) {
    switch (step.index()) {
        case Ref::paren:
            return Ref::Step(std::in_place_index<Ref::paren>, *std::get_if<Ref::paren>(&step));
        case Ref::brace:
            return Ref::Step(std::in_place_index<Ref::brace>, *std::get_if<Ref::brace>(&step));
        case Ref::dot:
            return Ref::Step(std::in_place_index<Ref::dot>, *std::get_if<Ref::dot>(&step));
        default:
            throw std::logic_error("bad visit");
    }
}

const HyArraySequence& args_of(const Ref& r) {
    if (const ParenRef* p = r.get_if<ParenRef>()) {
        return p->args();
    }
    if (const BraceRef* b = r.get_if<BraceRef>()) {
        return b->args();
    }
    invalid_visit();
}

std::size_t identifier_hash(const TxId& id) {
    return boost::hash_range(id.begin(), id.end());
}

// The hash of the step alone: a `.` step's is computed once and cached in
// its annotation; a `()` or `{}` step has none but its annotation.
std::size_t step_hash(const Ref& r) {
    if (const DotRef* d = r.get_if<DotRef>()) {
        std::size_t h = d->annotation();
        if (h == 0) {
            boost::hash_combine(h, identifier_hash(d->id()));
            d->set_annotation(h);
        }
        return h;
    }
    const std::uint64_t annotation = r.annotation();
    return annotation != 0 ? annotation : klf::hash_value(args_of(r));
}

bool same_bytes(const TxId& a, const TxId& b) {
    return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size()) == 0;
}

}  // namespace

Ref::Ref(const Ref& other) : step_(copy_step(other.step_)) {}

std::uint64_t Ref::annotation() const {
    switch (step_.index()) {
        case paren:
            return std::get_if<paren>(&step_)->annotation();
        case brace:
            return std::get_if<brace>(&step_)->annotation();
        case dot:
            return std::get_if<dot>(&step_)->annotation();
        default:
            invalid_visit();
    }
}

void Ref::set_annotation(std::uint64_t value) {
    switch (step_.index()) {
        case paren:
            return std::get_if<paren>(&step_)->set_annotation(value);
        case brace:
            return std::get_if<brace>(&step_)->set_annotation(value);
        case dot:
            return std::get_if<dot>(&step_)->set_annotation(value);
        default:
            invalid_visit();
    }
}

std::partial_ordering compare(const Ref& a, const Ref& b) {
    if (a.id() != b.id()) {
        return a.id() <=> b.id();
    }
    if (const DotRef* x = a.get_if<DotRef>()) {
        const TxId& p = x->id();
        const TxId& q = b.get_if<DotRef>()->id();
        return std::lexicographical_compare_three_way(
            p.begin(), p.end(), q.begin(), q.end(), [](char u, char v) {
                return static_cast<signed char>(u) <=> static_cast<signed char>(v);
            });
    }
    return klf::compare(args_of(a), args_of(b));
}

bool operator==(const Ref& a, const Ref& b) {
    if (a.id() != b.id()) {
        return false;
    }
    if (step_hash(a) != step_hash(b)) {
        return false;
    }
    if (const DotRef* x = a.get_if<DotRef>()) {
        return x->id().compare_(b.get_if<DotRef>()->id()) == 0;
    }
    return klf::compare(args_of(a), args_of(b)) == std::partial_ordering::equivalent;
}

std::size_t hash_value(const Ref& r) {
    std::size_t seed = r.id();
    boost::hash_combine(seed, step_hash(r));
    return seed;
}

bool equal_ignore_annotation(const Ref& a, const Ref& b) {
    if (a.id() != b.id()) {
        return false;
    }
    if (const DotRef* x = a.get_if<DotRef>()) {
        return same_bytes(x->id(), b.get_if<DotRef>()->id());
    }
    return klf::compare(args_of(a), args_of(b)) == std::partial_ordering::equivalent;
}

void strip_annotation_inplace(Ref& r) {
    r.set_annotation(0);
}

void incorporate_data(std::function<void(const char*, std::size_t)>& feed, const Ref& r) {
    const std::uint64_t kind = boost::endian::native_to_big(static_cast<std::uint64_t>(r.id()));
    char bytes[sizeof kind];
    std::memcpy(bytes, &kind, sizeof kind);
    feed(bytes, sizeof kind);
    if (const DotRef* d = r.get_if<DotRef>()) {
        feed(d->id().data(), d->id().size());
        return;
    }
    for (const matrix::unique_hyarray_ptr& arg : args_of(r)) {
        ::incorporate_data(feed, arg.get());
    }
}

// --- paths ------------------------------------------------------------------

Refs::Refs(const Ref& step) {
    steps_.push_back(step);
}

Refs::~Refs() = default;

Refs& Refs::operator+=(const Ref& step) {
    steps_.push_back(step);
    return *this;
}

Refs& Refs::operator+=(Ref&& step) {
    steps_.push_back(std::move(step));
    return *this;
}

Refs& Refs::operator+=(const Refs& other) {
    steps_.append(other.steps_);
    return *this;
}

namespace {

void write_argument(std::ostream& os, const hyArray* a) {
    if (a == nullptr) {
        os << "[]";
        return;
    }
    const std::size_t* d = matrix::dims(a);
    const std::size_t n = matrix::number_of_dims(a);
    for (std::size_t i = 0; i < n; ++i) {
        os << (i == 0 ? "" : "x") << d[i];
    }
    os << ' ' << hyGetClassName(a);
}

void write_step(std::ostream& os, const Ref& r) {
    if (const DotRef* d = r.get_if<DotRef>()) {
        os << '.' << d->id().view();
        return;
    }
    const bool paren = r.id() == Ref::paren;
    os << (paren ? '(' : '{');
    const char* separator = "";
    for (const matrix::unique_hyarray_ptr& arg : args_of(r)) {
        os << separator;
        write_argument(os, arg.get());
        separator = ", ";
    }
    os << (paren ? ')' : '}');
}

}  // namespace

std::ostream& operator<<(std::ostream& os, const Refs& path) {
    for (const Ref& step : path) {
        write_step(os, step);
    }
    return os;
}

}  // namespace hy
}  // namespace klf
