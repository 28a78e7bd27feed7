// Builds host values from their JSON descriptions (format: README.md).
#include "value_json.hpp"

#include <algorithm>
#include <bit>
#include <cmath>
#include <complex>
#include <cstdint>
#include <cstring>
#include <limits>
#include <span>
#include <tuple>
#include <vector>

#include <kelvor/core/utf.hpp>

namespace klf::value_json {
namespace {

using matrix::unique_hyarray_ptr;
using nlohmann::json;

[[noreturn]] void fail(const std::string& what) {
    throw FormatError("value_json: " + what);
}

const json& member(const json& v, const char* name) {
    const auto it = v.find(name);
    if (it == v.end()) {
        fail(std::string("missing \"") + name + "\" in " + v.dump());
    }
    return *it;
}

std::vector<std::size_t> dims_of(const json& v) {
    std::vector<std::size_t> dims;
    for (const json& d : member(v, "dims")) {
        if (!d.is_number_unsigned()) {
            fail("dimension " + d.dump() + " is not a non-negative integer");
        }
        dims.push_back(d.get<std::size_t>());
    }
    return dims;
}

std::size_t count_of(const std::vector<std::size_t>& dims) {
    std::size_t n = 1;
    for (const std::size_t d : dims) {
        n *= d;
    }
    return n;
}

// Floating values: numbers, or "NaN", "Inf", "-Inf", "-0", or an exact bit
// pattern "bits:0x…" (16 hex digits for double, 8 for single).
template <class F>
F floating(const json& e) {
    if (e.is_number()) {
        return e.get<F>();
    }
    if (!e.is_string()) {
        fail("floating value " + e.dump());
    }
    const std::string s = e.get<std::string>();
    if (s == "NaN") {
        return std::numeric_limits<F>::quiet_NaN();
    }
    if (s == "Inf") {
        return std::numeric_limits<F>::infinity();
    }
    if (s == "-Inf") {
        return -std::numeric_limits<F>::infinity();
    }
    if (s == "-0") {
        return -F(0);
    }
    using Bits = std::conditional_t<sizeof(F) == 8, std::uint64_t, std::uint32_t>;
    if (s.rfind("bits:0x", 0) == 0 && s.size() == 7 + 2 * sizeof(F)) {
        return std::bit_cast<F>(static_cast<Bits>(std::stoull(s.substr(7), nullptr, 16)));
    }
    fail("floating value " + e.dump());
}

template <class T>
T element(const json& e) {
    if constexpr (std::is_floating_point_v<T>) {
        return floating<T>(e);
    } else if constexpr (std::is_same_v<T, bool>) {
        if (!e.is_boolean()) {
            fail("logical value " + e.dump());
        }
        return e.get<bool>();
    } else {
        if (!e.is_number_integer()) {
            fail("integer value " + e.dump());
        }
        return e.get<T>();
    }
}

template <class T>
unique_hyarray_ptr full(const json& v, hyClassID cls) {
    const std::vector<std::size_t> dims = dims_of(v);
    const std::size_t n = count_of(dims);
    const json& re = member(v, "values");
    const bool complex = v.value("complex", false);
    if (re.size() != n || (complex && member(v, "imag").size() != n)) {
        fail("element count does not fill the dimensions in " + v.dump());
    }
    unique_hyarray_ptr a =
        matrix::detail::do_create_numeric(dims, cls, complex ? hyCOMPLEX : hyREAL);
    if (n == 0) {
        return a;
    }
    if (complex) {
        if constexpr (!std::is_same_v<T, bool>) {
            const json& im = member(v, "imag");
            auto* out = static_cast<std::complex<T>*>(matrix::data(a.get()));
            for (std::size_t i = 0; i < n; ++i) {
                out[i] = {element<T>(re[i]), element<T>(im[i])};
            }
        }
    } else {
        T* out = static_cast<T*>(matrix::data(a.get()));
        for (std::size_t i = 0; i < n; ++i) {
            out[i] = element<T>(re[i]);
        }
    }
    return a;
}

unique_hyarray_ptr chars(const json& v) {
    const ustring text = klf::utf8_string_to_ustring(member(v, "text").get<std::string>());
    if (!v.contains("dims")) {
        return matrix::create(text.data(), text.size());
    }
    const std::vector<std::size_t> dims = dims_of(v);
    if (count_of(dims) != text.size()) {
        fail("text does not fill the dimensions in " + v.dump());
    }
    unique_hyarray_ptr a = matrix::detail::do_create_numeric(dims, hyCHAR_CLASS, hyREAL);
    if (!text.empty()) {
        std::memcpy(matrix::data(a.get()), text.data(), text.size() * sizeof(char16_t));
    }
    return a;
}

// Entries [row, column, value(, imaginary part)] in any order, stored in
// compressed columns.
template <class T>
unique_hyarray_ptr sparse(const json& v, hyClassID cls) {
    const std::vector<std::size_t> dims = dims_of(v);
    if (dims.size() != 2) {
        fail("a sparse value has two dimensions: " + v.dump());
    }
    const bool complex = v.value("complex", false);
    std::vector<std::tuple<std::size_t, std::size_t, const json*>> entries;
    for (const json& e : member(v, "entries")) {
        if (e.size() != (complex ? 4u : 3u) || e[0].get<std::size_t>() >= dims[0] ||
            e[1].get<std::size_t>() >= dims[1]) {
            fail("sparse entry " + e.dump());
        }
        entries.emplace_back(e[1].get<std::size_t>(), e[0].get<std::size_t>(), &e);
    }
    std::sort(entries.begin(), entries.end(), [](const auto& x, const auto& y) {
        return std::tie(std::get<0>(x), std::get<1>(x)) < std::tie(std::get<0>(y), std::get<1>(y));
    });
    unique_hyarray_ptr a =
        matrix::host::create_sparse(dims[0], dims[1], std::max<std::size_t>(entries.size(), 1), cls,
                                    complex ? hyCOMPLEX : hyREAL);
    std::size_t* ir = matrix::host::ir(a.get());
    std::size_t* jc = matrix::host::jc(a.get());
    void* values = matrix::data(a.get());
    std::fill(jc, jc + dims[1] + 1, 0);
    for (std::size_t k = 0; k < entries.size(); ++k) {
        const auto& [col, row, e] = entries[k];
        ir[k] = row;
        ++jc[col + 1];
        if constexpr (std::is_same_v<T, bool>) {
            static_cast<bool*>(values)[k] = element<bool>((*e)[2]);
        } else if (complex) {
            static_cast<std::complex<T>*>(values)[k] = {element<T>((*e)[2]), element<T>((*e)[3])};
        } else {
            static_cast<T*>(values)[k] = element<T>((*e)[2]);
        }
    }
    for (std::size_t j = 0; j < dims[1]; ++j) {
        jc[j + 1] += jc[j];
    }
    return a;
}

unique_hyarray_ptr cell(const json& v) {
    const std::vector<std::size_t> dims = dims_of(v);
    const json& elements = member(v, "elements");
    if (elements.size() != count_of(dims)) {
        fail("elements do not fill the dimensions in " + v.dump());
    }
    unique_hyarray_ptr a = matrix::detail::do_create_cell(dims);
    for (std::size_t i = 0; i < elements.size(); ++i) {
        if (unique_hyarray_ptr e = to_hyarray(elements[i])) {
            hySetCell(a.get(), i, e.release());
        }
    }
    return a;
}

unique_hyarray_ptr structure(const json& v) {
    const std::vector<std::size_t> dims = dims_of(v);
    const std::vector<std::string> fields = member(v, "fields").get<std::vector<std::string>>();
    const json& elements = member(v, "elements");
    if (elements.size() != count_of(dims)) {
        fail("elements do not fill the dimensions in " + v.dump());
    }
    std::vector<const char*> names;
    for (const std::string& f : fields) {
        names.push_back(f.c_str());
    }
    unique_hyarray_ptr a = matrix::detail::do_create_struct(dims, names);
    for (std::size_t i = 0; i < elements.size(); ++i) {
        if (elements[i].size() != fields.size()) {
            fail("element " + elements[i].dump() + " does not give every field");
        }
        for (std::size_t f = 0; f < fields.size(); ++f) {
            if (unique_hyarray_ptr e = to_hyarray(elements[i][f])) {
                hySetFieldByNumber(a.get(), i, static_cast<int>(f), e.release());
            }
        }
    }
    return a;
}

unique_hyarray_ptr exotic(const json& v, bool object) {
    const std::string name = member(v, "class_name").get<std::string>();
    const std::vector<std::size_t> dims = dims_of(v);
    if (!matrix::host::is_class_defined(name)) {
        matrix::host::define_class(name, {}, {});
    }
    return object ? matrix::host::create_object(name, dims)
                  : matrix::host::create_opaque(name, dims);
}

template <class T>
unique_hyarray_ptr numeric(const json& v, hyClassID cls) {
    if (v.value("sparse", false)) {
        if constexpr (std::is_same_v<T, bool> || std::is_floating_point_v<T>) {
            return sparse<T>(v, cls);
        }
        fail("no sparse form for " + v.dump());
    }
    return full<T>(v, cls);
}

}  // namespace

unique_hyarray_ptr to_hyarray(const json& v) {
    if (v.is_null()) {
        return nullptr;
    }
    if (!v.is_object()) {
        fail("a value is null or an object: " + v.dump());
    }
    const std::string cls = member(v, "class").get<std::string>();
    // clang-format off
    if (cls == "double") return numeric<double>(v, hyDOUBLE_CLASS);
    if (cls == "single") return numeric<float>(v, hySINGLE_CLASS);
    if (cls == "logical") return numeric<bool>(v, hyLOGICAL_CLASS);
    if (cls == "int8") return numeric<std::int8_t>(v, hyINT8_CLASS);
    if (cls == "uint8") return numeric<std::uint8_t>(v, hyUINT8_CLASS);
    if (cls == "int16") return numeric<std::int16_t>(v, hyINT16_CLASS);
    if (cls == "uint16") return numeric<std::uint16_t>(v, hyUINT16_CLASS);
    if (cls == "int32") return numeric<std::int32_t>(v, hyINT32_CLASS);
    if (cls == "uint32") return numeric<std::uint32_t>(v, hyUINT32_CLASS);
    if (cls == "int64") return numeric<std::int64_t>(v, hyINT64_CLASS);
    if (cls == "uint64") return numeric<std::uint64_t>(v, hyUINT64_CLASS);
    if (cls == "char") return chars(v);
    if (cls == "cell") return cell(v);
    if (cls == "struct") return structure(v);
    if (cls == "object") return exotic(v, true);
    if (cls == "opaque") return exotic(v, false);
    // clang-format on
    if (cls == "function_handle") {
        unique_hyarray_ptr saved = to_hyarray(member(v, "saved"));
        if (saved == nullptr || matrix::class_id(saved.get()) != hySTRUCT_CLASS) {
            fail("the saved form of a function handle is a struct: " + v.dump());
        }
        return matrix::host::create_function_handle(std::move(saved));
    }
    fail("unknown class \"" + cls + "\"");
}

}  // namespace klf::value_json
