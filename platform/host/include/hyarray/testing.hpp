// Test aids for code built on the host array API: a count of live arrays to
// prove that nothing leaks, allocation-failure injection to walk every
// failure point of an operation, and short builders for values.
//
//   const matrix::testing::LiveArrays live;
//   auto s = structure({{"a", doubles({2, 1}, {1, 2})}, {"b", text(u"x")}});
//   auto r = sweep_allocation_failures([&] { return copy_of(s.get()); });
//   EXPECT_GT(r.failure_points, 0u);
//   EXPECT_TRUE(r.leaking_points.empty());
//   s.reset();
//   EXPECT_EQ(live.delta(), 0);
//
// Builders raise matrix::HostError when the values do not fill the
// dimensions; an empty dimension list gives an array of zero dimensions (one
// element).
#pragma once

#include <complex>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <new>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "hyarray/hyarray.hpp"

namespace matrix::testing {

// Array headers currently alive in the process.
std::size_t live_arrays() noexcept;

// The (n+1)-th host allocation from now raises std::bad_alloc, once; later
// allocations succeed. Process-wide (an atomic countdown), so an operation
// that allocates on other threads is covered too; tests that arm it must not
// run concurrently. Allocations counted: array headers (creation, shared and
// deep copies), data blocks (creation, copy on write) and added fields.
void fail_allocation_after(std::size_t n) noexcept;
void clear_allocation_failure() noexcept;
// Allocations that would still succeed before the armed failure; SIZE_MAX
// when none is armed.
std::size_t allocations_until_failure() noexcept;

// Arms a failure for its lifetime.
class AllocationFailure {
public:
    explicit AllocationFailure(std::size_t n) noexcept { fail_allocation_after(n); }
    ~AllocationFailure() { clear_allocation_failure(); }
    AllocationFailure(const AllocationFailure&) = delete;
    AllocationFailure& operator=(const AllocationFailure&) = delete;
};

// Remembers live_arrays() at construction; delta() is the change since.
class LiveArrays {
public:
    LiveArrays() noexcept : baseline_(live_arrays()) {}
    long long delta() const noexcept {
        return static_cast<long long>(live_arrays()) - static_cast<long long>(baseline_);
    }

private:
    std::size_t baseline_;
};

struct SweepResult {
    std::size_t failure_points = 0;           // runs that raised std::bad_alloc
    std::vector<std::size_t> leaking_points;  // n whose failed run changed live_arrays()
};

// Runs op() with a failure armed at n = 0, 1, 2 … until a run completes
// without std::bad_alloc (that run's result is discarded). Other exceptions
// leave the sweep after the failure is cleared.
template <class Op>
SweepResult sweep_allocation_failures(Op&& op, std::size_t limit = 100000) {
    SweepResult result;
    for (std::size_t n = 0; n < limit; ++n) {
        const std::size_t before = live_arrays();
        try {
            AllocationFailure armed(n);
            (void)op();
            return result;
        } catch (const std::bad_alloc&) {
            ++result.failure_points;
            if (live_arrays() != before)
                result.leaking_points.push_back(n);
        }
    }
    return result;
}

// --- builders ----------------------------------------------------------------
using Dims = std::initializer_list<std::size_t>;

// A value for a container slot; null leaves the slot empty. (The member is
// mutable so that values can be moved out of an initializer list.)
struct Element {
    Element(unique_hyarray_ptr v) noexcept : value(std::move(v)) {}  // NOLINT
    Element(std::nullptr_t) noexcept {}                              // NOLINT
    mutable unique_hyarray_ptr value;
};
struct Field {
    Field(std::string n, unique_hyarray_ptr v) noexcept : name(std::move(n)), value(std::move(v)) {}
    Field(std::string n, std::nullptr_t) noexcept : name(std::move(n)) {}
    std::string name;
    mutable unique_hyarray_ptr value;
};

// Full real array of T's class (T: bool, char16_t, double, float, <cstdint>
// integers) or complex (T = std::complex<U>). Values in column-major order.
template <class T>
unique_hyarray_ptr numeric(Dims dims, std::initializer_list<T> values);
template <class T>
unique_hyarray_ptr numeric(std::span<const std::size_t> dims, std::span<const T> values);

unique_hyarray_ptr doubles(Dims dims, std::initializer_list<double> values);
unique_hyarray_ptr singles(Dims dims, std::initializer_list<float> values);
unique_hyarray_ptr int8s(Dims dims, std::initializer_list<std::int8_t> values);
unique_hyarray_ptr uint8s(Dims dims, std::initializer_list<std::uint8_t> values);
unique_hyarray_ptr int16s(Dims dims, std::initializer_list<std::int16_t> values);
unique_hyarray_ptr uint16s(Dims dims, std::initializer_list<std::uint16_t> values);
unique_hyarray_ptr int32s(Dims dims, std::initializer_list<std::int32_t> values);
unique_hyarray_ptr uint32s(Dims dims, std::initializer_list<std::uint32_t> values);
unique_hyarray_ptr int64s(Dims dims, std::initializer_list<std::int64_t> values);
unique_hyarray_ptr uint64s(Dims dims, std::initializer_list<std::uint64_t> values);
unique_hyarray_ptr logicals(Dims dims, std::initializer_list<bool> values);
unique_hyarray_ptr complex_doubles(Dims dims, std::initializer_list<std::complex<double>> values);
unique_hyarray_ptr complex_singles(Dims dims, std::initializer_list<std::complex<float>> values);

// 1×1 values.
unique_hyarray_ptr scalar(double v);
unique_hyarray_ptr logical(bool v);

// A 1×n char row (0×0 for empty text), or chars of any dimensions.
unique_hyarray_ptr text(std::u16string_view s);
unique_hyarray_ptr chars(Dims dims, std::u16string_view s);

// A cell with elements in column-major order.
unique_hyarray_ptr cell(Dims dims, std::initializer_list<Element> elements);
// 1×1 struct with the fields in order.
unique_hyarray_ptr structure(std::initializer_list<Field> fields);
// A struct of any dimensions: values element by element, each element's
// fields in the order of `names`.
unique_hyarray_ptr structure(Dims dims, std::initializer_list<const char*> names,
                             std::initializer_list<Element> values);

// Sparse arrays from (row, column, value) entries in any order; repeated
// positions are not allowed. T: bool, double, float, std::complex of the two.
template <class T>
struct Entry {
    std::size_t row;
    std::size_t col;
    T value;
};
template <class T>
unique_hyarray_ptr sparse(std::size_t m, std::size_t n, std::initializer_list<Entry<T>> entries);
unique_hyarray_ptr sparse_doubles(std::size_t m, std::size_t n,
                                  std::initializer_list<Entry<double>> entries);
unique_hyarray_ptr sparse_logicals(std::size_t m, std::size_t n,
                                   std::initializer_list<Entry<bool>> entries);

// Objects: defines the class when it is not yet defined (no bases, no
// methods), then makes a class-18 array of it.
unique_hyarray_ptr object(std::string_view class_name, Dims dims = {1, 1});
// A function handle whose saved struct is
// {function_handle: {function: name, type: "simple", file: file}}.
unique_hyarray_ptr function_handle(std::u16string_view name, std::u16string_view file = u"");

// Reading back: elements of a full real array as T (same element type).
template <class T>
std::vector<T> values_of(const hyArray* a);
std::vector<std::size_t> dims_of(const hyArray* a);

}  // namespace matrix::testing
