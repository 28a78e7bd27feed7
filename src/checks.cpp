// Argument-count, scalar and class checks.
#include <kelvor/common/foundation/matrix/checks.hpp>

#include <cstddef>
#include <sstream>
#include <string>

#include <boost/numeric/conversion/cast.hpp>

#include <kelvor/common/foundation/matrix/messages.hpp>
#include <kelvor/core/stream_locale.hpp>

namespace klf {
namespace {

namespace msg = kelvor::common::foundation::matrix::hy;

// An int below zero cannot be a count: numeric_cast raises negative_overflow.
std::size_t to_count(const Count& count) {
    return boost::apply_visitor([](auto value) { return boost::numeric_cast<std::size_t>(value); },
                                count);
}

template <class TooFew, class TooMany>
void check_count(const Count& least, const Count& most, const Count& given) {
    const std::size_t lo = to_count(least);
    const std::size_t hi = to_count(most);
    const std::size_t n = to_count(given);
    if (n < lo) {
        throw_message<TooFew>();
    }
    if (n > hi) {
        throw_message<TooMany>();
    }
}

}  // namespace

void check_num_arguments(const Count& least, const Count& most, const Count& given) {
    check_count<msg::InsufficientInputs, msg::ExcessiveInputs>(least, most, given);
}

void check_num_inputs(int least, int most, int given) {
    check_num_arguments(Count(least), Count(most), Count(given));
}

void check_num_outputs(const Count& least, const Count& most, const Count& given) {
    check_count<msg::InsufficientOutputs, msg::ExcessiveOutputs>(least, most, given);
}

void check_hyarray_is_scalar(const hyArray* value) {
    if (!hyIsScalar(value)) {
        throw_message<msg::ScalarValueExpected>();
    }
}

void require_class(const klf::BasicTxIdPath<1>& cls, const hyArray* value) {
    std::string dotted;
    bool first = true;
    for (const auto& component : cls) {
        if (!first) {
            dotted += '.';
        }
        first = false;
        dotted += std::string(component);
    }
    if (hyIsA(value, dotted.c_str())) {
        return;
    }
    // The expected name goes into the message as UTF-16; identifiers are
    // ASCII, so every byte becomes one code unit of the same value.
    std::basic_ostringstream<char16_t> wide;
    klf::setup_stream_locale(wide);
    first = true;
    for (const auto& component : cls) {
        if (!first) {
            wide << u'.';
        }
        first = false;
        for (char c : component) {
            wide << static_cast<char16_t>(static_cast<unsigned char>(c));
        }
    }
    throw_message<msg::UnexpectedClass>(wide.str(), hyGetClassName(value));
}

}  // namespace klf
