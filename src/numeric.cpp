// Semi-numeric classes, realness, and numeric creation and conversion.
#include <kelvor/common/foundation/matrix/numeric.hpp>

#include <algorithm>
#include <complex>
#include <cstdint>
#include <functional>
#include <mutex>
#include <span>
#include <stdexcept>
#include <vector>

#include <boost/container/static_vector.hpp>
#include <boost/unordered_map.hpp>

#include <kelvor/common/foundation/matrix/messages.hpp>

#include "numeric_rules.hpp"

namespace klf {
namespace {

namespace msg = kelvor::common::foundation::matrix::hy;

using Converter = matrix::unique_hyarray_ptr (*)(const hyArray*);

/// A converted copy of `source` as class C, complexity K, element type T.
/// The result exists before the checks run, so the host's allocation error
/// comes first; every later failure destroys it on the way out.
template <hyClassID C, hyComplexity K, class T>
matrix::unique_hyarray_ptr converted_copy(const hyArray* source) {
    matrix::unique_hyarray_ptr result = matrix::detail::do_create_numeric(
        std::span<const std::size_t>(matrix::dims(source), matrix::number_of_dims(source)), C, K);
    require_semi_numeric(source, C);
    if constexpr (K == hyREAL) {
        require_all_real(source);
    }
    T* cursor = static_cast<T*>(matrix::data(result.get()));
    matrix::apply_visitor(source, detail::ConvertedCopyDispatch<T, T*>(cursor));
    return result;
}

/// One row of converter slots per complexity, indexed by class ID. A pair is
/// semi-numeric exactly when its slot holds a converter. The rows hold at
/// most 16 slots, so they live inline and a look-up never allocates.
struct ConverterTable {
    static constexpr std::size_t max_slots = hyUINT64_CLASS + 1;
    boost::container::static_vector<Converter, max_slots> rows[2];

    void add(hyClassID cls, hyComplexity complexity, Converter converter) {
        auto& row = rows[complexity];
        const auto slot = static_cast<std::size_t>(cls);
        if (row.size() <= slot) {
            row.resize(slot + 1, nullptr);
        }
        row[slot] = converter;
    }
};

template <hyComplexity K, template <class> class Wrap>
void add_numeric_row(ConverterTable& table) {
    table.add(hyDOUBLE_CLASS, K, &converted_copy<hyDOUBLE_CLASS, K, Wrap<double>>);
    table.add(hySINGLE_CLASS, K, &converted_copy<hySINGLE_CLASS, K, Wrap<float>>);
    table.add(hyINT8_CLASS, K, &converted_copy<hyINT8_CLASS, K, Wrap<signed char>>);
    table.add(hyUINT8_CLASS, K, &converted_copy<hyUINT8_CLASS, K, Wrap<unsigned char>>);
    table.add(hyINT16_CLASS, K, &converted_copy<hyINT16_CLASS, K, Wrap<short>>);
    table.add(hyUINT16_CLASS, K, &converted_copy<hyUINT16_CLASS, K, Wrap<unsigned short>>);
    table.add(hyINT32_CLASS, K, &converted_copy<hyINT32_CLASS, K, Wrap<int>>);
    table.add(hyUINT32_CLASS, K, &converted_copy<hyUINT32_CLASS, K, Wrap<unsigned int>>);
    table.add(hyINT64_CLASS, K, &converted_copy<hyINT64_CLASS, K, Wrap<long long>>);
    table.add(hyUINT64_CLASS, K, &converted_copy<hyUINT64_CLASS, K, Wrap<unsigned long long>>);
}

template <class E>
using Real = E;
template <class E>
using Complex = std::complex<E>;

const ConverterTable& converter_table() {
    static const ConverterTable table = [] {
        ConverterTable t;
        add_numeric_row<hyREAL, Real>(t);
        add_numeric_row<hyCOMPLEX, Complex>(t);
        t.add(hyLOGICAL_CLASS, hyREAL, &converted_copy<hyLOGICAL_CLASS, hyREAL, bool>);
        t.add(hyCHAR_CLASS, hyREAL, &converted_copy<hyCHAR_CLASS, hyREAL, char16_t>);
        return t;
    }();
    return table;
}

/// The slot of (cls, complexity); null for pairs that are not semi-numeric.
/// Negative IDs become huge as unsigned and fail the bounds check.
Converter find_converter(hyClassID cls, hyComplexity complexity) noexcept {
    const auto& row = converter_table().rows[complexity == hyCOMPLEX ? 1 : 0];
    const auto slot = static_cast<std::uint64_t>(static_cast<std::int64_t>(cls));
    return slot < row.size() ? row[slot] : nullptr;
}

/// Typed view visitor behind is_all_real; real views are accepted unread.
struct IsRealDispatch {
    template <class S>
    bool operator()(const matrix::typed_array<S>&) const noexcept {
        return true;
    }
    template <class S>
    bool operator()(const matrix::typed_array<std::complex<S>>& view) const noexcept {
        return std::all_of(view.begin(), view.end(),
                           [](const std::complex<S>& e) { return e.imag() == S(0); });
    }
};

/// Host class names, asked once per class. The map is node-based, so a stored
/// name never moves; the lock is never held while the host is asked.
struct ClassNameCache {
    explicit ClassNameCache(std::function<std::string(const hyClassID&)> generator)
        : generate(std::move(generator)) {
        names.max_load_factor(1.0f);
    }

    std::mutex mutex;
    std::function<std::string(const hyClassID&)> generate;
    boost::unordered_map<int, std::string> names;
};

std::string host_class_name(const hyClassID& cls) {
    const std::size_t extent = 0;
    const matrix::unique_hyarray_ptr probe = create_numeric(ArraySize(&extent, 1), cls, hyREAL);
    const char* name = hyGetClassName(probe.get());
    return name != nullptr ? name : "";
}

ClassNameCache& class_name_cache() {
    static ClassNameCache cache(&host_class_name);
    return cache;
}

}  // namespace

bool is_semi_numeric(hyClassID cls, hyComplexity complexity) noexcept {
    return find_converter(cls, complexity) != nullptr;
}

bool is_semi_numeric(const hyArray* a) {
    return is_semi_numeric(matrix::class_id(a), complexity(a));
}

hyComplexity complexity(const hyArray* a) {
    return complexity(matrix::is_complex(a));
}

hyComplexity complexity(bool is_complex) noexcept {
    return is_complex ? hyCOMPLEX : hyREAL;
}

bool is_all_real(const hyArray* a) {
    if (!is_semi_numeric(a)) {
        return false;
    }
    return matrix::apply_visitor(a, IsRealDispatch{});
}

const std::string& semi_numeric_class_name(hyClassID cls) {
    ClassNameCache& cache = class_name_cache();
    {
        const std::lock_guard lock(cache.mutex);
        if (!cache.names.empty()) {
            const auto found = cache.names.find(cls);
            if (found != cache.names.end()) {
                return found->second;
            }
        }
    }
    // Two threads may both get here for one class; the first insertion wins
    // and both return it.
    std::string name = cache.generate(cls);
    const std::lock_guard lock(cache.mutex);
    return cache.names.try_emplace(cls, std::move(name)).first->second;
}

void require_semi_numeric(const hyArray* a, const hyClassID toClass) {
    KLF_ASSERT_AT(is_semi_numeric(toClass, hyREAL), "is_semi_numeric(toClass)", "src/numeric", 142,
                  "void klf::require_semi_numeric(const hyArray *, const hyClassID)");
    if (is_semi_numeric(a)) {
        return;
    }
    if (toClass == hyLOGICAL_CLASS) {
        throw_message<msg::LogicalValueExpected>(hyGetClassName(a));
    }
    throw_message<msg::NumericValueExpected>(semi_numeric_class_name(toClass), hyGetClassName(a));
}

void require_all_real(const hyArray* a) {
    if (!is_all_real(a)) {
        throw_message<msg::RealValueExpected>();
    }
}

matrix::unique_hyarray_ptr create_numeric(const ArraySize& size, const hyClassID cls,
                                          const hyComplexity complexity) {
    KLF_ASSERT_AT(is_semi_numeric(cls, complexity), "is_semi_numeric(cls, complexity)",
                  "src/numeric", 161,
                  "matrix::unique_hyarray_ptr klf::create_numeric(const ArraySize &, const "
                  "hyClassID, const hyComplexity)");
    std::vector<std::size_t> dims;
    dims.reserve(size.size());
    for (std::size_t i = 0; i < size.size(); ++i) {
        dims.push_back(size(i));
    }
    return matrix::detail::do_create_numeric(dims, cls, complexity);
}

matrix::unique_hyarray_ptr convert_numeric(const hyArray* source, const hyClassID cls,
                                           const hyComplexity complexity) {
    const Converter converter = find_converter(cls, complexity);
    KLF_ASSERT_AT(converter != nullptr, "converter", "src/numeric", 170,
                  "matrix::unique_hyarray_ptr klf::convert_numeric(const hyArray *, const "
                  "hyClassID, const hyComplexity)");
    if (converter == nullptr) {
        // Diagnostics are off and there is no conversion to run.
        throw std::logic_error("convert_numeric: class " + std::to_string(cls) +
                               " with complexity " + std::to_string(complexity) +
                               " is not a numeric target");
    }
    return converter(source);
}

}  // namespace klf
