// Shape: the size of a value and reshaping it, natively or through the
// object-shape service.
#include <kelvor/common/foundation/matrix/shape.hpp>

#include <cstdint>
#include <utility>

#include <boost/container/small_vector.hpp>
#include <boost/numeric/conversion/cast.hpp>

#include <kelvor/common/foundation/matrix/cells.hpp>
#include <kelvor/common/foundation/matrix/messages.hpp>

#include "service_lookup.hpp"

namespace klf {
namespace {

namespace msg = kelvor::common::foundation::matrix::hy;
using matrix::unique_hyarray_ptr;

// Sizes of ordinary values: the host's own dimension list, changed in place.
class NativeShapeService final : public ObjectShapeService {
public:
    ArraySize size(const hyArray* a) override {
        a->_complete_opaque_dimensions();
        return ArraySize(matrix::dims(a), matrix::number_of_dims(a));
    }

    unique_hyarray_ptr reshape(unique_hyarray_ptr a, const ArraySize& target) override {
        const std::size_t n = matrix::number_of_elements(a.get());
        if (target.numElements() != n) {
            // Sequenced one by one: the message's arguments are built in this order.
            ustring current = to_user_string(size(a.get()));
            const auto current_count = boost::numeric_cast<std::int64_t>(n);
            ustring requested = to_user_string(target);
            const auto requested_count = boost::numeric_cast<std::int64_t>(target.numElements());
            throw_message<msg::InconsistentSizesForReshape>(std::move(current), current_count,
                                                            std::move(requested), requested_count);
        }
        // Up to three dimensions stay on the stack.
        boost::container::small_vector<std::size_t, 3> dims;
        for (std::size_t i = 0; i < target.size(); ++i) {
            dims.push_back(target(i));
        }
        // The element count is unchanged, so the host accepts the new list.
        (void)hySetDimensions(a.get(), dims.data(), dims.size());
        return a;
    }
};

ObjectShapeService& native_shape_service() {
    static NativeShapeService native;
    return native;
}

// Scalar objects and opaque values whose class says how to size and reshape
// them go to the registered service; everything else is native.
ObjectShapeService& strategy_of(const hyArray* a) {
    a->_complete_opaque_dimensions();
    if (matrix::number_of_elements(a) == 1) {
        const hyClassID cls = matrix::class_id(a);
        if ((cls == hyOPAQUE_CLASS || cls == hyOBJECT_CLASS) && matrix::find_method(a, "size") &&
            matrix::find_method(a, "reshape")) {
            return detail::object_shape_service();
        }
    }
    return native_shape_service();
}

}  // namespace

ArraySize size(const hyArray* a) {
    return strategy_of(a).size(a);
}

unique_hyarray_ptr reshape(unique_hyarray_ptr a, const ArraySize& size) {
    ObjectShapeService& strategy = strategy_of(a.get());
    return strategy.reshape(std::move(a), size);
}

unique_hyarray_ptr reshape(unique_hyarray_ptr a, const hyArray* other) {
    const ArraySize target = size(other);
    return reshape(std::move(a), target);
}

unique_hyarray_ptr reshape(unique_hyarray_ptr a, const SizeVariant& size) {
    // std::visit, so that a valueless variant raises std::bad_variant_access.
    return std::visit(
        [&a](const auto& s) -> unique_hyarray_ptr {
            if constexpr (std::is_same_v<std::decay_t<decltype(s)>, ArraySize>) {
                return reshape(std::move(a), s);
            } else {
                unique_hyarray_ptr result = reshape(std::move(a), ArraySize{1, 1});
                if (matrix::class_id(result.get()) == hyCELL_CLASS) {
                    return get_cell(result, 0);
                }
                return result;
            }
        },
        size);
}

unique_hyarray_ptr reshape(unique_hyarray_ptr a,
                           const std::vector<std::optional<std::size_t>>& dims) {
    const std::size_t total = strategy_of(a.get()).size(a.get()).numElements();
    const ArraySize target = compute_size(total, dims);
    return reshape(std::move(a), target);
}

unique_hyarray_ptr set_rows(unique_hyarray_ptr a, std::size_t rows) {
    return reshape(std::move(a), std::vector<std::optional<std::size_t>>{rows, std::nullopt});
}

unique_hyarray_ptr set_cols(unique_hyarray_ptr a, std::size_t cols) {
    return reshape(std::move(a), std::vector<std::optional<std::size_t>>{std::nullopt, cols});
}

unique_hyarray_ptr transpose(unique_hyarray_ptr a) {
    return unique_hyarray_ptr(hyTranspose(a.get()));
}

unique_hyarray_ptr to_row(unique_hyarray_ptr a) {
    const std::size_t n = size(a.get()).numElements();
    return reshape(std::move(a), ArraySize{1, n});
}

unique_hyarray_ptr to_column(unique_hyarray_ptr a) {
    const std::size_t n = size(a.get()).numElements();
    return reshape(std::move(a), ArraySize{n, 1});
}

}  // namespace klf
