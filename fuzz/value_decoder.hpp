// Host values from fuzzer bytes, and the rules every fuzz target shares.
//
// decode_value() reads the bytes as a small program that builds one host
// value tree: every class the host has (numeric, logical and char, full and
// sparse, real and complex), cells and structs nested to a bounded depth with
// empty slots, objects of a few classes (with and without methods, deferred
// dimensions, opaque), function handles and texts drawn from the names the
// library looks for. Sizes are bounded so that one input runs in microseconds.
// When the bytes run out every further read gives 0, so every input decodes.
//
// expected() runs one operation and tells whether it raised one of the
// library's documented rejections; anything else stops the process so that
// the fuzzer reports it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <exception>
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

#include <boost/numeric/conversion/converter_policies.hpp>
#include <hyarray/hyarray.hpp>
#include <kelvor/core/exception.hpp>

namespace fuzz {

class Reader {
public:
    Reader(const std::uint8_t* data, std::size_t size) noexcept : p_(data), n_(size) {}
    std::uint8_t byte() noexcept;
    // A number in [0, bound).
    std::size_t below(std::size_t bound) noexcept;
    void bytes(void* out, std::size_t n) noexcept;
    bool empty() const noexcept { return n_ == 0; }

private:
    const std::uint8_t* p_;
    std::size_t n_;
};

// Names the library gives meaning to, so that decoded structs and texts reach
// past the first checks (stack structs, subscript structs, missing fields).
extern const std::vector<std::string> field_names;

// Registers the classes and services decoded values rely on. Once per process.
void set_up();

matrix::unique_hyarray_ptr decode_value(Reader& in, int depth = 0);

// The same value built anew, with every struct's fields created in reverse
// order; leaves are shared copies.
matrix::unique_hyarray_ptr reordered(const hyArray* a);

// Same class, shape, field names in order and element bits (deep).
bool identical(const hyArray* a, const hyArray* b);

// The fingerprint stream as bytes, one separator per consumer call.
std::string fingerprint(const hyArray* a);

[[noreturn]] void fail(const char* what) noexcept;

// Runs op(); true when it raised a documented rejection, false when it
// returned. Any other exception (std::bad_alloc included: nothing is armed)
// ends the process.
template <class Op>
bool expected(Op&& op) noexcept {
    try {
        op();
        return false;
    } catch (const klf::MessageException&) {
    } catch (const matrix::HostError&) {
    } catch (const boost::numeric::bad_numeric_cast&) {
    } catch (const std::domain_error&) {  // GetFieldValuesFieldNotFound, element access
    } catch (const std::bad_alloc&) {
        fail("std::bad_alloc with no allocation failure armed");
    } catch (const std::exception& e) {
        fail(e.what());
    } catch (...) {
        fail("an exception that is not a std::exception");
    }
    return true;
}

}  // namespace fuzz
