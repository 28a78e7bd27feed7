// Call stacks to and from host stack structs.
//
// The host counts lines from 1 and the core library from 0. The shift is done
// in unsigned 64-bit arithmetic on purpose: a host line of 0 becomes the
// largest frame line and that frame line writes back as 0, so no line value
// is ever lost on a round trip.
#include <kelvor/common/foundation/matrix/interchange.hpp>

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>

#include <kelvor/common/foundation/matrix/cells.hpp>
#include <kelvor/common/foundation/matrix/checks.hpp>
#include <kelvor/common/foundation/matrix/fields.hpp>
#include <kelvor/common/foundation/matrix/numeric.hpp>
#include <kelvor/common/foundation/matrix/strings.hpp>

#include "path_text.hpp"

namespace klf {
namespace {

constexpr std::array<const char*, 3> stack_fields = {"file", "name", "line"};

// The host line of one frame, checked in the order scalar, semi-numeric,
// real, then rounded and saturated into uint64 (halves away from zero, NaN
// to 0) by the library's own conversion rule.
std::uint64_t host_line(const hyArray* line) {
    check_hyarray_is_scalar(line);
    require_semi_numeric(line, hyUINT64_CLASS);
    require_all_real(line);
    const matrix::unique_hyarray_ptr converted = convert_numeric(line, hyUINT64_CLASS, hyREAL);
    return *matrix::data_as<std::uint64_t>(std::as_const(converted).get());
}

}  // namespace

std::vector<klf::StackFrame> hyarray_to_stack(const hyArray* s) {
    const auto table =
        get_field_values(s, std::vector<std::string>(stack_fields.begin(), stack_fields.end()));
    std::vector<klf::StackFrame> frames;
    frames.reserve(table.size());
    for (const auto& row : table) {
        const klf::FileName file(detail::path_from_text(klf::to_ustring(row[0].get())));
        const ustring name = klf::to_ustring(row[1].get());
        const std::uint64_t line = host_line(row[2].get());
        frames.emplace_back(file, name, static_cast<std::size_t>(line - 1u));
    }
    return frames;
}

matrix::unique_hyarray_ptr stack_to_hyarray(const std::vector<klf::StackFrame>& frames) {
    const std::size_t n = frames.size();
    std::array<std::vector<matrix::unique_hyarray_ptr>, stack_fields.size()> columns;
    for (auto& column : columns) {
        column.reserve(n);
    }
    for (const auto& frame : frames) {
        columns[0].push_back(detail::to_hyarray_impl(static_cast<ustring>(frame.file())));
    }
    for (const auto& frame : frames) {
        columns[1].push_back(detail::to_hyarray_impl(frame.name()));
    }
    static constexpr std::size_t scalar_dims[] = {1, 1};
    for (const auto& frame : frames) {
        auto line = matrix::detail::do_create_uninitnumeric(scalar_dims, hyDOUBLE_CLASS, hyREAL);
        const std::uint64_t host = static_cast<std::uint64_t>(frame.line()) + 1u;
        *matrix::data_as<double>(line.get()) = static_cast<double>(host);
        columns[2].push_back(std::move(line));
    }

    matrix::unique_hyarray_ptr s(
        create_hyarray_struct(n, 1, stack_fields.size(), stack_fields.data()));
    for (std::size_t f = 0; f < columns.size(); ++f) {
        for (std::size_t k = 0; k < n; ++k) {
            set_field_by_number(s.get(), k, f, std::move(columns[f][k]));
        }
    }
    return s;
}

}  // namespace klf
