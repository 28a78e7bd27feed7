// Every reading operation of the library on one decoded host value.
//
// Beyond "no crash, no sanitizer report, only documented rejections", each
// input checks what must hold for every value:
//  - a plain operation throws exactly when its maybe form is empty, and both
//    agree when they succeed;
//  - the fingerprint of a value, of a shared copy of it, and of the value
//    rebuilt with every struct's fields in reverse order is the same (or all
//    three are rejected);
//  - conversions give the target's class with the source's dimensions, a size
//    read from a value survives the round trip through to_hyarray, a subscript
//    struct read into a path writes back the same struct;
//  - no host array is left alive, and the value itself is not changed.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

#include <hyarray/testing.hpp>
#include <kelvor/common/foundation/matrix/fields.hpp>
#include <kelvor/common/foundation/matrix/interchange.hpp>
#include <kelvor/common/foundation/matrix/numeric.hpp>
#include <kelvor/common/foundation/matrix/references.hpp>
#include <kelvor/common/foundation/matrix/sizes.hpp>
#include <kelvor/common/foundation/matrix/strings.hpp>

#include "value_decoder.hpp"

namespace {

using matrix::unique_hyarray_ptr;

void check(bool condition, const char* what) {
    if (!condition)
        fuzz::fail(what);
}

bool operator==(const klf::UStringArray& a, const klf::UStringArray& b) {
    return a.values == b.values && a.size == b.size;
}
bool operator==(const klf::StringElementArray& a, const klf::StringElementArray& b) {
    return a.values == b.values && a.size == b.size;
}

// Plain form against maybe form: same rejections, same results.
template <class Plain, class Maybe>
void pair(Plain plain, Maybe maybe, const char* what) {
    std::optional<decltype(plain())> result;
    const bool threw = fuzz::expected([&] { result.emplace(plain()); });
    std::optional<decltype(maybe())> maybe_result;
    check(!fuzz::expected([&] { maybe_result.emplace(maybe()); }), what);
    check(threw != maybe_result->has_value(), what);
    if (!threw)
        check(*result == **maybe_result, what);
}

void strings(const hyArray* v) {
    pair([v] { return klf::to_ustring(v); }, [v] { return klf::to_maybe_ustring(v); },
         "to_ustring against to_maybe_ustring");
    pair([v] { return klf::to_string_element(v); }, [v] { return klf::to_maybe_string_element(v); },
         "to_string_element against to_maybe_string_element");
    pair([v] { return klf::to_ustring_array(v); }, [v] { return klf::to_maybe_ustring_array(v); },
         "to_ustring_array against to_maybe_ustring_array");
    pair([v] { return klf::to_string_element_array(v); },
         [v] { return klf::to_maybe_string_element_array(v); },
         "to_string_element_array against to_maybe_string_element_array");
}

void sizes(const hyArray* v) {
    (void)fuzz::expected([v] {
        const klf::ArraySize size = klf::to_array_size(v);
        // Written as doubles: exact up to 2^53.
        for (std::size_t i = 0; i < size.size(); ++i)
            if (size(i) > (std::size_t{1} << 53))
                return;
        const unique_hyarray_ptr back = klf::to_hyarray(size);
        check(klf::to_array_size(back.get()) == size, "to_array_size after to_hyarray");
    });
    (void)fuzz::expected([v] { (void)klf::hyarray_to_dim(v); });
}

void numbers(const hyArray* v) {
    (void)fuzz::expected([v] { (void)klf::is_all_real(v); });
    for (int cls = hyLOGICAL_CLASS; cls <= hyUINT64_CLASS; ++cls) {
        for (const hyComplexity x : {hyREAL, hyCOMPLEX}) {
            const auto target = static_cast<hyClassID>(cls);
            if (!klf::is_semi_numeric(target, x))
                continue;
            (void)fuzz::expected([&] {
                const unique_hyarray_ptr r = klf::convert_numeric(v, target, x);
                check(matrix::class_id(r.get()) == target && klf::complexity(r.get()) == x &&
                          !matrix::is_sparse(r.get()) &&
                          matrix::number_of_dims(r.get()) == matrix::number_of_dims(v) &&
                          std::equal(matrix::dims(v), matrix::dims(v) + matrix::number_of_dims(v),
                                     matrix::dims(r.get())),
                      "convert_numeric result shape");
            });
        }
    }
}

void fingerprints(const hyArray* v) {
    std::string plain, shared, reordered;
    const bool a = fuzz::expected([&] { plain = fuzz::fingerprint(v); });
    const unique_hyarray_ptr copy = matrix::detail::do_shared_copy(v);
    const bool b = fuzz::expected([&] { shared = fuzz::fingerprint(copy.get()); });
    const unique_hyarray_ptr rebuilt = fuzz::reordered(v);
    const bool c = fuzz::expected([&] { reordered = fuzz::fingerprint(rebuilt.get()); });
    check(a == b && b == c, "fingerprint rejected for one form only");
    check(plain == shared, "fingerprint of a shared copy");
    check(plain == reordered, "fingerprint with struct fields in another order");
}

void fields(const hyArray* v, fuzz::Reader& in) {
    std::vector<std::string> names(in.below(4));
    for (auto& n : names)
        n = fuzz::field_names[in.below(fuzz::field_names.size())];
    bool any_missing = false;
    for (const auto& n : names)
        any_missing |= hyGetFieldNumber(v, n.c_str()) == -1;

    klf::FieldValues values;
    const bool threw = fuzz::expected([&] { values = klf::get_field_values(v, names); });
    klf::FieldMaybeValues maybe;
    check(!fuzz::expected([&] { maybe = klf::get_field_maybe_values(v, names); }),
          "get_field_maybe_values raised");
    check(threw == any_missing, "get_field_values raised exactly for a missing name");
    for (const auto& row : maybe) {
        check(row.size() == names.size(), "get_field_maybe_values row width");
        for (std::size_t j = 0; j < row.size(); ++j)
            check(row[j].has_value() == (hyGetFieldNumber(v, names[j].c_str()) != -1),
                  "get_field_maybe_values entry present exactly for a field");
    }
    if (!threw) {
        check(values.size() == maybe.size(), "get_field_values rows");
        for (std::size_t i = 0; i < values.size(); ++i)
            for (std::size_t j = 0; j < names.size(); ++j)
                check(fuzz::identical(values[i][j].get(), maybe[i][j]->get()),
                      "get_field_values against get_field_maybe_values");
    }
}

void references(const hyArray* v) {
    const unique_hyarray_ptr s = matrix::detail::do_shared_copy(v);
    (void)fuzz::expected([&] {
        const klf::hy::HyArrayRefsConverter convert;
        const klf::hy::Refs path = convert(s);
        const unique_hyarray_ptr written = convert(path);
        const unique_hyarray_ptr again = convert(convert(written));
        check(path.size() == matrix::number_of_elements(v), "one step per element");
        check(fuzz::identical(written.get(), again.get()), "subscript struct round trip");
    });
}

template <class Record>
void record(const hyArray* v) {
    (void)fuzz::expected([v] {
        Record* r = klf::from_hyarray<Record>(v);
        if constexpr (requires(Record x) { x.x; }) {
            std::free(r->x);
        } else {
            std::free(r->jc);
            std::free(r->ir);
        }
        std::free(r);
    });
}

void interchange(const hyArray* v) {
    record<KlRealVectorTag>(v);
    record<KlIntVectorTag>(v);
    record<KlBoolVectorTag>(v);
    record<KlSparsityPatternTag>(v);
    (void)fuzz::expected([v] { (void)klf::hyarray_to_stack(v); });
    (void)fuzz::expected([v] { (void)klf::to_upath(v); });
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    fuzz::set_up();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::size_t baseline = matrix::testing::live_arrays();
    {
        fuzz::Reader in(data, size);
        const unique_hyarray_ptr value = fuzz::decode_value(in);
        // The same bytes decoded again: an independent copy, no block shared.
        fuzz::Reader again(data, size);
        const unique_hyarray_ptr witness = fuzz::decode_value(again);
        strings(value.get());
        sizes(value.get());
        numbers(value.get());
        fingerprints(value.get());
        fields(value.get(), in);
        references(value.get());
        interchange(value.get());
        check(fuzz::identical(value.get(), witness.get()), "a reading operation changed its input");
    }
    check(matrix::testing::live_arrays() == baseline, "host arrays leaked");
    return 0;
}
