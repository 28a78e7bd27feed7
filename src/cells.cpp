// Cells: splitting cell arrays into shared copies and building column cells.
#include <kelvor/common/foundation/matrix/cells.hpp>

#include <array>
#include <string>
#include <utility>

#include <kelvor/common/foundation/matrix/messages.hpp>
#include <kelvor/common/foundation/matrix/missing.hpp>

namespace klf {
namespace {

namespace msg = kelvor::common::foundation::matrix::hy;

matrix::unique_hyarray_ptr shared_cell(const hyArray* array, std::size_t index) {
    return matrix::detail::do_shared_copy(hyGetCell(array, index));
}

}  // namespace

std::vector<matrix::unique_hyarray_ptr> cells(matrix::unique_hyarray_ptr array) {
    if (matrix::class_id(array.get()) != hyCELL_CLASS) {
        throw_message<msg::UnexpectedClass>(ustring(u"cell"), hyGetClassName(array.get()));
    }
    const std::size_t n = matrix::number_of_elements(array.get());
    std::vector<matrix::unique_hyarray_ptr> elements;
    elements.reserve(n);
    for (std::size_t k = 0; k < n; ++k) {
        elements.push_back(shared_cell(array.get(), k));
    }
    return elements;
}

matrix::unique_hyarray_ptr get_cell(const matrix::unique_hyarray_ptr& array, std::size_t index) {
    return shared_cell(array.get(), index);
}

matrix::unique_hyarray_ptr get_cell(matrix::unique_hyarray_ptr&& array, std::size_t index) {
    return shared_cell(array.get(), index);
}

matrix::unique_hyarray_ptr make_cell_array(std::vector<matrix::unique_hyarray_ptr> elements) {
    const std::array<std::size_t, 2> dims{elements.size(), 1};
    matrix::unique_hyarray_ptr cell = matrix::detail::do_create_cell(dims);
    for (std::size_t k = 0; k < elements.size(); ++k) {
        // The cell owns the element from here on, even if the call raises.
        hySetCell(cell.get(), k, elements[k].release());
    }
    return cell;
}

namespace detail {

CellBuilder::CellBuilder(std::size_t n) : cell(hyCreateCellMatrix(n, 1)) {}

void CellBuilder::operator()(matrix::unique_hyarray_ptr&& element) {
    hySetCell(cell.get(), next, element.release());
    ++next;
}

matrix::unique_hyarray_ptr to_hyarray_impl(const hyArray* value) {
    return matrix::detail::do_shared_copy(value);
}

matrix::unique_hyarray_ptr to_hyarray_impl(const ustring& text) {
    return matrix::create(text.data(), text.size());
}

matrix::unique_hyarray_ptr to_hyarray_impl(const char16_t* text) {
    const std::size_t length = text != nullptr ? std::char_traits<char16_t>::length(text) : 0;
    return matrix::create(text, length);
}

matrix::unique_hyarray_ptr to_hyarray_impl(std::nullopt_t) {
    return make_missing();
}

}  // namespace detail

}  // namespace klf
