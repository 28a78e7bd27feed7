// Between reference paths and the host's subscript struct.
#include <kelvor/common/foundation/matrix/references.hpp>

#include <array>

#include <kelvor/common/foundation/matrix/cells.hpp>
#include <kelvor/common/foundation/matrix/fields.hpp>
#include <kelvor/common/foundation/matrix/messages.hpp>
#include <kelvor/common/foundation/matrix/strings.hpp>
#include <kelvor/core/table_string.hpp>

namespace klf::hy {
namespace {

namespace msg = kelvor::common::foundation::matrix::hy;

constexpr std::size_t no_field = static_cast<std::size_t>(-1);

// The arguments of an indexing step: shared copies of the cell's elements.
// Anything but a cell (a missing value included) does not describe arguments.
HyArraySequence arguments_of(const hyArray* subs) {
    if (subs == nullptr || matrix::class_id(subs) != hyCELL_CLASS) {
        throw_message<msg::InvalidRefStruct>();
    }
    HyArraySequence args;
    const std::size_t k = hyGetNumberOfElements(subs);
    args.reserve(k);
    for (std::size_t j = 0; j < k; ++j) {
        args.push_back(matrix::detail::do_shared_copy(hyGetCell(subs, j)));
    }
    return args;
}

Ref step_of(const hyArray* type, const hyArray* subs) {
    const ustring kind = to_ustring(type);
    if (kind == u".") {
        const ustring name = to_ustring(subs);
        return DotRef(klf::detail::TxIdCheck{}(name.data(), name.size()));
    }
    if (kind == u"()") {
        return ParenRef(arguments_of(subs));
    }
    if (kind == u"{}") {
        return BraceRef(arguments_of(subs));
    }
    throw_message<msg::InvalidRefStruct>();
}

matrix::unique_hyarray_ptr arguments_cell(const HyArraySequence& args) {
    const std::array<std::size_t, 2> dims{args.size(), 1};
    matrix::unique_hyarray_ptr cell = matrix::detail::do_create_cell(dims);
    for (std::size_t j = 0; j < args.size(); ++j) {
        // The cell owns the copy even when the call raises.
        hySetCell(cell.get(), j, matrix::detail::do_shared_copy(args[j]).release());
    }
    return cell;
}

// Identifiers are ASCII; each byte becomes one UTF-16 unit.
ustring widen(const TxId& id) {
    ustring text;
    text.reserve(id.size());
    for (const char c : id) {
        text.push_back(static_cast<char16_t>(static_cast<unsigned char>(c)));
    }
    return text;
}

}  // namespace

Refs HyArrayRefsConverter::operator()(const matrix::unique_hyarray_ptr& s) const {
    if (s == nullptr || !hyIsStruct(s.get())) {
        throw_message<msg::InvalidRefStruct>();
    }
    const std::size_t type = get_field_number(s.get(), "type");
    const std::size_t subs = get_field_number(s.get(), "subs");
    if (type == no_field || subs == no_field) {
        throw_message<msg::InvalidRefStruct>();
    }
    Refs path;
    const std::size_t n = hyGetNumberOfElements(s.get());
    for (std::size_t i = 0; i < n; ++i) {
        const hyArray* type_value = get_field_by_number(s.get(), i, type);
        const hyArray* subs_value = get_field_by_number(s.get(), i, subs);
        path += step_of(type_value, subs_value);
    }
    return path;
}

matrix::unique_hyarray_ptr HyArrayRefsConverter::operator()(const Refs& path) const {
    const std::array<std::size_t, 2> dims{path.size(), 1};
    const std::array<const char*, 2> names{"type", "subs"};
    matrix::unique_hyarray_ptr s = matrix::detail::do_create_struct(dims, names);
    for (std::size_t i = 0; i < path.size(); ++i) {
        const Ref& step = path[i];
        matrix::unique_hyarray_ptr type;
        matrix::unique_hyarray_ptr subs;
        if (const DotRef* dot = step.get_if<DotRef>()) {
            type = klf::detail::to_hyarray_impl(u".");
            subs = klf::detail::to_hyarray_impl(widen(dot->id()));
        } else if (const ParenRef* paren = step.get_if<ParenRef>()) {
            type = klf::detail::to_hyarray_impl(u"()");
            subs = arguments_cell(paren->args());
        } else if (const BraceRef* brace = step.get_if<BraceRef>()) {
            type = klf::detail::to_hyarray_impl(u"{}");
            subs = arguments_cell(brace->args());
        } else {
            throw std::logic_error("invalid visit");
        }
        set_field_by_number(s.get(), i, 0, std::move(type));
        set_field_by_number(s.get(), i, 1, std::move(subs));
    }
    return s;
}

}  // namespace klf::hy
