// Struct fields: guarded slot access and tables of named field values.
#include <kelvor/common/foundation/matrix/fields.hpp>

#include <functional>
#include <string>
#include <utility>

#include <boost/numeric/conversion/cast.hpp>

namespace klf {
namespace {

using matrix::unique_hyarray_ptr;

// The host numbers fields with an int; -1 means "no such field" and is
// handled by the callers before this narrowing.
std::size_t to_field_number(int host_number) {
    return boost::numeric_cast<std::size_t>(host_number);
}

std::size_t num_fields(const hyArray* s) {
    return boost::numeric_cast<std::size_t>(s->get_number_of_struct_fields());
}

void check_index(const hyArray* s, std::size_t index) {
    const std::size_t n = matrix::number_of_elements(s);
    if (index >= n) {
        throw std::domain_error("invalid access to index " + std::to_string(index) +
                                " of an hyArray with " + std::to_string(n) + " elements.");
    }
}

void check_field(const hyArray* s, std::size_t field) {
    const std::size_t f = num_fields(s);
    if (field >= f) {
        throw std::domain_error("invalid access to field numbered " + std::to_string(field) +
                                " of an hyArray with " + std::to_string(f) + " fields.");
    }
}

// The slot of a checked index and field. The host reads slots by name only.
hyArray* slot(const hyArray* s, std::size_t index, std::size_t field) {
    return hyGetField(s, index, s->get_struct_field_names()[field]);
}

// What both table forms are built from: names resolved once each, before any
// element is read.
struct FieldResolution {
    std::size_t element_count;
    // (name position, element index) -> the value; empty for an absent name.
    std::function<std::optional<unique_hyarray_ptr>(std::size_t, std::size_t)> value;
    // Positions of the names that are not fields, ascending.
    std::vector<std::size_t> missing;
};

FieldResolution get_field_values_(const hyArray* s, const std::vector<std::string>& names) {
    // Per name position: its field number, or nothing for an absent name.
    std::vector<std::optional<std::size_t>> fields;
    fields.reserve(names.size());
    std::vector<std::size_t> missing;
    for (std::size_t j = 0; j < names.size(); ++j) {
        const int number = hyGetFieldNumber(s, names[j].c_str());
        if (number == -1) {
            fields.emplace_back();
            missing.push_back(j);
        } else {
            fields.emplace_back(to_field_number(number));
        }
    }
    auto value = [s, fields = std::move(fields)](std::size_t j, std::size_t i) {
        std::optional<unique_hyarray_ptr> result;
        if (fields[j]) {
            check_index(s, i);
            check_field(s, *fields[j]);
            result.emplace(matrix::detail::do_shared_copy(slot(s, i, *fields[j])));
        }
        return result;
    };
    return FieldResolution{matrix::number_of_elements(s), std::move(value), std::move(missing)};
}

}  // namespace

const hyArray* get_field(const hyArray* s, std::size_t index, const char* name) {
    const int number = hyGetFieldNumber(s, name);
    if (number == -1) {
        return nullptr;
    }
    (void)to_field_number(number);  // only to reject other negative answers
    if (index >= matrix::number_of_elements(s)) {
        return nullptr;
    }
    return hyGetField(s, index, name);
}

std::size_t get_field_number(const hyArray* s, const char* name) {
    const int number = hyGetFieldNumber(s, name);
    return number == -1 ? static_cast<std::size_t>(-1) : to_field_number(number);
}

const hyArray* get_field_by_number(const hyArray* s, std::size_t index, std::size_t field) {
    check_index(s, index);
    check_field(s, field);
    return slot(s, index, field);
}

void set_field(hyArray* s, std::size_t index, const char* name, unique_hyarray_ptr&& value) {
    int number = hyGetFieldNumber(s, name);
    if (number == -1) {
        number = hyAddField(s, name);
    }
    set_field_by_number(s, index, to_field_number(number), std::move(value));
}

void set_field_by_number(hyArray* s, std::size_t index, std::size_t field,
                         unique_hyarray_ptr&& value) {
    check_index(s, index);
    check_field(s, field);
    const int host_field = boost::numeric_cast<int>(field);
    if (hyArray* old = slot(s, index, field)) {
        matrix::destroyArray(old);
    }
    // The host takes the value even when it raises, so release it first.
    hySetFieldByNumber(s, index, host_field, value.release());
}

std::size_t get_num_fields(const hyArray* s) {
    return num_fields(s);
}

hyArray* create_hyarray_struct(std::size_t m, std::size_t n, std::size_t nfields,
                               const char* const* names) {
    const int count = boost::numeric_cast<int>(nfields);
    // The host does not write through `names`; its signature predates const.
    return hyCreateStructMatrix(m, n, count, const_cast<const char**>(names));
}

GetFieldValuesFieldNotFound::GetFieldValuesFieldNotFound(std::string name)
    : std::domain_error("get_field_values: cannot resolve field named '" + name + "'."),
      name_(std::move(name)) {}

GetFieldValuesFieldNotFound::~GetFieldValuesFieldNotFound() = default;

FieldValues get_field_values(const hyArray* s, const std::vector<std::string>& names) {
    const FieldResolution resolved = get_field_values_(s, names);
    if (!resolved.missing.empty()) {
        throw GetFieldValuesFieldNotFound(names[resolved.missing.front()]);
    }
    FieldValues table;
    table.reserve(resolved.element_count);
    for (std::size_t i = 0; i < resolved.element_count; ++i) {
        std::vector<unique_hyarray_ptr> row;
        row.reserve(names.size());
        for (std::size_t j = 0; j < names.size(); ++j) {
            row.push_back(std::move(*resolved.value(j, i)));
        }
        table.push_back(std::move(row));
    }
    return table;
}

FieldMaybeValues get_field_maybe_values(const hyArray* s, const std::vector<std::string>& names) {
    const FieldResolution resolved = get_field_values_(s, names);
    FieldMaybeValues table;
    table.reserve(resolved.element_count);
    for (std::size_t i = 0; i < resolved.element_count; ++i) {
        std::vector<std::optional<unique_hyarray_ptr>> row;
        row.reserve(names.size());
        for (std::size_t j = 0; j < names.size(); ++j) {
            row.push_back(resolved.value(j, i));
        }
        table.push_back(std::move(row));
    }
    return table;
}

}  // namespace klf
