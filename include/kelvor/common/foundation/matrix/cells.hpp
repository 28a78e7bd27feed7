// Cells: splitting host cell arrays into owned elements and building new ones.
//
// Every element handed out here is a shared copy of the host's element: it
// shares data with its source until either side is changed (copy on write),
// so callers may keep or change it freely. Every cell built here from a list
// is a column (n x 1), and an array placed into a cell is handed over to it.
//
// A cell of mixed values is assembled with CellBuilder and the to_hyarray_impl
// overloads, one value per slot, in order:
//
//     klf::detail::CellBuilder build(3);
//     build(klf::detail::to_hyarray_impl(u"name"));
//     build(klf::detail::to_hyarray_impl(prhs[0]));
//     build(klf::detail::to_hyarray_impl(std::nullopt));   // the missing value
//     matrix::unique_hyarray_ptr cell = std::move(build)();
#pragma once

#include <cstddef>
#include <optional>
#include <vector>

#include <hyarray/hyarray.hpp>
#include <kelvor/common/foundation/matrix/export.hpp>
#include <kelvor/core/ustring.hpp>

namespace klf {

/// One shared copy per element of a cell array, in column-major order. The
/// call owns `array` and releases it on every path; a non-cell raises
/// "UnexpectedClass" ("cell", the host's class name).
KELVOR_MATRIX_EXPORT std::vector<matrix::unique_hyarray_ptr> cells(
    matrix::unique_hyarray_ptr array);

/// Shared copy of element `index` of a cell array. Neither the class nor the
/// index is checked: `array` must be a cell with more than `index` elements.
KELVOR_MATRIX_EXPORT matrix::unique_hyarray_ptr get_cell(const matrix::unique_hyarray_ptr& array,
                                                         std::size_t index);

/// As the other overload; the argument keeps its array (it is not consumed).
KELVOR_MATRIX_EXPORT matrix::unique_hyarray_ptr get_cell(matrix::unique_hyarray_ptr&& array,
                                                         std::size_t index);

/// A new n x 1 cell that takes over the n arrays; the vector's entries are
/// left null.
KELVOR_MATRIX_EXPORT matrix::unique_hyarray_ptr make_cell_array(
    std::vector<matrix::unique_hyarray_ptr> elements);

namespace detail {

/// Fills a new n x 1 cell slot by slot. The caller adds exactly n values (no
/// bound is kept), then takes the cell out of the builder as an rvalue.
class KELVOR_MATRIX_EXPORT CellBuilder {
public:
    explicit CellBuilder(std::size_t n);

    /// Hands `element` to the next slot; `element` is left null.
    void operator()(matrix::unique_hyarray_ptr&& element);

    /// The built cell, to be moved out: `auto c = std::move(builder)();`.
    matrix::unique_hyarray_ptr&& operator()() && { return std::move(cell); }

private:
    matrix::unique_hyarray_ptr cell;
    std::size_t next = 0;
};

/// Shared copy of `value`.
KELVOR_MATRIX_EXPORT matrix::unique_hyarray_ptr to_hyarray_impl(const hyArray* value);

/// New character array holding `text`.
KELVOR_MATRIX_EXPORT matrix::unique_hyarray_ptr to_hyarray_impl(const ustring& text);

/// New character array holding the zero-terminated `text`; null gives the
/// empty text.
KELVOR_MATRIX_EXPORT matrix::unique_hyarray_ptr to_hyarray_impl(const char16_t* text);

/// The missing value of the current missing-value service.
KELVOR_MATRIX_EXPORT matrix::unique_hyarray_ptr to_hyarray_impl(std::nullopt_t);

}  // namespace detail

}  // namespace klf
