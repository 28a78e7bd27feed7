// Builders of the test aids: every value goes through the public API, so a
// builder exercises the same paths as the code under test.
#include "hyarray/testing.hpp"

#include <algorithm>
#include <cstring>
#include <string>

#include "array.hpp"

namespace matrix::testing {
namespace {

std::vector<std::size_t> to_vector(Dims dims) {
    return {dims.begin(), dims.end()};
}

void check_count(std::span<const std::size_t> dims, std::size_t n, const char* what) {
    const std::size_t want = host::internal::product(dims);
    if (want != n)
        throw HostError(std::string(what) + ": " + std::to_string(n) + " values for " +
                        std::to_string(want) + " elements");
}

void fill_slots(hyArray* a, std::initializer_list<Element> values) {
    std::size_t i = 0;
    for (const Element& e : values) {
        hyArray* v = e.value.release();
        if (hyIsStruct(a)) {
            const auto f = static_cast<std::size_t>(a->get_number_of_struct_fields());
            hySetFieldByNumber(a, i / f, static_cast<int>(i % f), v);
        } else {
            hySetCell(a, i, v);
        }
        ++i;
    }
}

}  // namespace

template <class T>
unique_hyarray_ptr numeric(std::span<const std::size_t> dims, std::span<const T> values) {
    check_count(dims, values.size(), "numeric");
    constexpr bool cplx = !std::is_same_v<T, typename detail::scalar_of<T>::type>;
    unique_hyarray_ptr a =
        detail::do_create_uninitnumeric(dims, class_of<T>(), cplx ? hyCOMPLEX : hyREAL);
    if (!values.empty())
        std::memcpy(data(a.get()), values.data(), values.size_bytes());
    return a;
}

template <class T>
unique_hyarray_ptr numeric(Dims dims, std::initializer_list<T> values) {
    const std::vector<std::size_t> d = to_vector(dims);
    return numeric<T>(std::span<const std::size_t>(d),
                      std::span<const T>(values.begin(), values.size()));
}

#define KELVOR_HOST_NUMERIC(T)                                                                \
    template unique_hyarray_ptr numeric<T>(std::span<const std::size_t>, std::span<const T>); \
    template unique_hyarray_ptr numeric<T>(Dims, std::initializer_list<T>);                   \
    template std::vector<T> values_of<T>(const hyArray*);

template <class T>
std::vector<T> values_of(const hyArray* a) {
    const T* p = data_as<T>(a);
    if (is_sparse(a))
        throw HostError("values_of: a sparse array");
    return std::vector<T>(p, p + number_of_elements(a));
}

KELVOR_HOST_NUMERIC(bool)
KELVOR_HOST_NUMERIC(char16_t)
KELVOR_HOST_NUMERIC(double)
KELVOR_HOST_NUMERIC(float)
KELVOR_HOST_NUMERIC(std::int8_t)
KELVOR_HOST_NUMERIC(std::uint8_t)
KELVOR_HOST_NUMERIC(std::int16_t)
KELVOR_HOST_NUMERIC(std::uint16_t)
KELVOR_HOST_NUMERIC(std::int32_t)
KELVOR_HOST_NUMERIC(std::uint32_t)
KELVOR_HOST_NUMERIC(std::int64_t)
KELVOR_HOST_NUMERIC(std::uint64_t)
KELVOR_HOST_NUMERIC(std::complex<double>)
KELVOR_HOST_NUMERIC(std::complex<float>)
KELVOR_HOST_NUMERIC(std::complex<std::int8_t>)
KELVOR_HOST_NUMERIC(std::complex<std::uint8_t>)
KELVOR_HOST_NUMERIC(std::complex<std::int16_t>)
KELVOR_HOST_NUMERIC(std::complex<std::uint16_t>)
KELVOR_HOST_NUMERIC(std::complex<std::int32_t>)
KELVOR_HOST_NUMERIC(std::complex<std::uint32_t>)
KELVOR_HOST_NUMERIC(std::complex<std::int64_t>)
KELVOR_HOST_NUMERIC(std::complex<std::uint64_t>)
#undef KELVOR_HOST_NUMERIC

// clang-format off
unique_hyarray_ptr doubles(Dims d, std::initializer_list<double> v) { return numeric<double>(d, v); }
unique_hyarray_ptr singles(Dims d, std::initializer_list<float> v) { return numeric<float>(d, v); }
unique_hyarray_ptr int8s(Dims d, std::initializer_list<std::int8_t> v) { return numeric<std::int8_t>(d, v); }
unique_hyarray_ptr uint8s(Dims d, std::initializer_list<std::uint8_t> v) { return numeric<std::uint8_t>(d, v); }
unique_hyarray_ptr int16s(Dims d, std::initializer_list<std::int16_t> v) { return numeric<std::int16_t>(d, v); }
unique_hyarray_ptr uint16s(Dims d, std::initializer_list<std::uint16_t> v) { return numeric<std::uint16_t>(d, v); }
unique_hyarray_ptr int32s(Dims d, std::initializer_list<std::int32_t> v) { return numeric<std::int32_t>(d, v); }
unique_hyarray_ptr uint32s(Dims d, std::initializer_list<std::uint32_t> v) { return numeric<std::uint32_t>(d, v); }
unique_hyarray_ptr int64s(Dims d, std::initializer_list<std::int64_t> v) { return numeric<std::int64_t>(d, v); }
unique_hyarray_ptr uint64s(Dims d, std::initializer_list<std::uint64_t> v) { return numeric<std::uint64_t>(d, v); }
unique_hyarray_ptr logicals(Dims d, std::initializer_list<bool> v) { return numeric<bool>(d, v); }
unique_hyarray_ptr complex_doubles(Dims d, std::initializer_list<std::complex<double>> v) { return numeric<std::complex<double>>(d, v); }
unique_hyarray_ptr complex_singles(Dims d, std::initializer_list<std::complex<float>> v) { return numeric<std::complex<float>>(d, v); }
unique_hyarray_ptr scalar(double v) { return doubles({1, 1}, {v}); }
unique_hyarray_ptr logical(bool v) { return logicals({1, 1}, {v}); }
// clang-format on

unique_hyarray_ptr text(std::u16string_view s) {
    return create(s.data(), s.size());
}

unique_hyarray_ptr chars(Dims dims, std::u16string_view s) {
    const std::vector<std::size_t> d = to_vector(dims);
    return numeric<char16_t>(std::span<const std::size_t>(d),
                             std::span<const char16_t>(s.data(), s.size()));
}

unique_hyarray_ptr cell(Dims dims, std::initializer_list<Element> elements) {
    const std::vector<std::size_t> d = to_vector(dims);
    check_count(d, elements.size(), "cell");
    unique_hyarray_ptr c = detail::do_create_cell(d);
    fill_slots(c.get(), elements);
    return c;
}

unique_hyarray_ptr structure(std::initializer_list<Field> fields) {
    std::vector<const char*> names;
    for (const Field& f : fields)
        names.push_back(f.name.c_str());
    const std::size_t one[] = {1, 1};
    unique_hyarray_ptr s = detail::do_create_struct(one, names);
    int k = 0;
    for (const Field& f : fields)
        hySetFieldByNumber(s.get(), 0, k++, f.value.release());
    return s;
}

unique_hyarray_ptr structure(Dims dims, std::initializer_list<const char*> names,
                             std::initializer_list<Element> values) {
    const std::vector<std::size_t> d = to_vector(dims);
    const bool filled = names.size() == 0
                            ? values.size() == 0
                            : values.size() == host::internal::product(d) * names.size();
    if (!filled)
        throw HostError("structure: the values do not fill every field of every element");
    unique_hyarray_ptr s = detail::do_create_struct(d, {names.begin(), names.size()});
    fill_slots(s.get(), values);
    return s;
}

template <class T>
unique_hyarray_ptr sparse(std::size_t m, std::size_t n, std::initializer_list<Entry<T>> entries) {
    using S = typename detail::scalar_of<T>::type;
    constexpr bool cplx = !std::is_same_v<T, S>;
    std::vector<Entry<T>> sorted(entries);
    std::sort(sorted.begin(), sorted.end(), [](const Entry<T>& a, const Entry<T>& b) {
        return a.col != b.col ? a.col < b.col : a.row < b.row;
    });
    for (std::size_t k = 0; k < sorted.size(); ++k) {
        if (sorted[k].row >= m || sorted[k].col >= n)
            throw HostError("sparse: entry out of range");
        if (k > 0 && sorted[k].row == sorted[k - 1].row && sorted[k].col == sorted[k - 1].col)
            throw HostError("sparse: repeated entry");
    }
    unique_hyarray_ptr a =
        host::create_sparse(m, n, sorted.size(), class_of<T>(), cplx ? hyCOMPLEX : hyREAL);
    std::size_t* ir = host::ir(a.get());
    std::size_t* jc = host::jc(a.get());
    T* values = static_cast<T*>(data(a.get()));
    for (std::size_t k = 0; k < sorted.size(); ++k) {
        ir[k] = sorted[k].row;
        values[k] = sorted[k].value;
        ++jc[sorted[k].col + 1];
    }
    for (std::size_t j = 0; j < n; ++j)
        jc[j + 1] += jc[j];
    return a;
}

template unique_hyarray_ptr sparse<bool>(std::size_t, std::size_t,
                                         std::initializer_list<Entry<bool>>);
template unique_hyarray_ptr sparse<double>(std::size_t, std::size_t,
                                           std::initializer_list<Entry<double>>);
template unique_hyarray_ptr sparse<float>(std::size_t, std::size_t,
                                          std::initializer_list<Entry<float>>);
template unique_hyarray_ptr sparse<std::complex<double>>(
    std::size_t, std::size_t, std::initializer_list<Entry<std::complex<double>>>);
template unique_hyarray_ptr sparse<std::complex<float>>(
    std::size_t, std::size_t, std::initializer_list<Entry<std::complex<float>>>);

unique_hyarray_ptr sparse_doubles(std::size_t m, std::size_t n,
                                  std::initializer_list<Entry<double>> entries) {
    return sparse<double>(m, n, entries);
}
unique_hyarray_ptr sparse_logicals(std::size_t m, std::size_t n,
                                   std::initializer_list<Entry<bool>> entries) {
    return sparse<bool>(m, n, entries);
}

unique_hyarray_ptr object(std::string_view class_name, Dims dims) {
    // Defined on first use only: a test's own definition stands.
    if (!host::is_class_defined(class_name))
        host::define_class(std::string(class_name), {}, {});
    const std::vector<std::size_t> d = to_vector(dims);
    return host::create_object(class_name, d);
}

unique_hyarray_ptr function_handle(std::u16string_view name, std::u16string_view file) {
    return host::create_function_handle(host::internal::make_saved_struct(name, "simple", file));
}

std::vector<std::size_t> dims_of(const hyArray* a) {
    const std::size_t* d = matrix::dims(a);
    return {d, d + number_of_dims(a)};
}

}  // namespace matrix::testing
