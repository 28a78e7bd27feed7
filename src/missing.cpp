// The missing value, through the registered service or the built-in default.
#include <kelvor/common/foundation/matrix/missing.hpp>

#include <algorithm>
#include <cstddef>
#include <memory>

#include <kelvor/core/numeric.hpp>

#include "service_lookup.hpp"

namespace klf {
namespace {

/// Used while no other library has registered a missing-value service: a
/// missing value is a double NaN, and any real full double array made only of
/// NaNs (of any payload or sign) is one. Stateless.
class DefaultMissingService final : public MissingService {
public:
    matrix::unique_hyarray_ptr make_missing() override { return make_nan(); }

    bool is_missing(const hyArray* a) override {
        if (matrix::class_id(a) != hyDOUBLE_CLASS) {
            return false;
        }
        if (matrix::is_complex(a) || matrix::is_sparse(a)) {
            return false;
        }
        const auto* first = static_cast<const double*>(matrix::data(a));
        return std::all_of(first, first + matrix::number_of_elements(a),
                           [](double v) { return klf_is_nan(v); });
    }
};

}  // namespace

namespace detail {

std::shared_ptr<MissingService> missing_service() {
    return service_or_default<MissingService, DefaultMissingService>();
}

}  // namespace detail

matrix::unique_hyarray_ptr make_missing() {
    return detail::missing_service()->make_missing();
}

bool is_missing(const hyArray* a) {
    return detail::missing_service()->is_missing(a);
}

matrix::unique_hyarray_ptr make_nan() {
    const double nan = klf_get_nan();
    static constexpr std::size_t one_by_one[] = {1, 1};
    matrix::unique_hyarray_ptr a =
        matrix::detail::do_create_uninitnumeric(one_by_one, hyDOUBLE_CLASS, hyREAL);
    *static_cast<double*>(matrix::data(a.get())) = nan;
    return a;
}

}  // namespace klf
