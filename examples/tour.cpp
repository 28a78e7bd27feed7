// tour: one short use of each family of kelvor_matrix.
//
// The README's tour is cut from this file (the lines between "// tour:<name>"
// and "// end tour"; scripts/update_readme.py), so every snippet there is
// compiled and run here. expect() states what each line produces; the program
// exits non-zero when one does not hold.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include <kelvor/common/foundation/matrix/cells.hpp>
#include <kelvor/common/foundation/matrix/checks.hpp>
#include <kelvor/common/foundation/matrix/fields.hpp>
#include <kelvor/common/foundation/matrix/fingerprint.hpp>
#include <kelvor/common/foundation/matrix/interchange.hpp>
#include <kelvor/common/foundation/matrix/messages.hpp>
#include <kelvor/common/foundation/matrix/missing.hpp>
#include <kelvor/common/foundation/matrix/numeric.hpp>
#include <kelvor/common/foundation/matrix/references.hpp>
#include <kelvor/common/foundation/matrix/shape.hpp>
#include <kelvor/common/foundation/matrix/sizes.hpp>
#include <kelvor/common/foundation/matrix/strings.hpp>

namespace {

int failures = 0;

void expect(bool ok, int line) {
    if (!ok) {
        std::cerr << "tour.cpp:" << line << ": unexpected result\n";
        ++failures;
    }
}
#define expect(cond) expect((cond), __LINE__)

matrix::unique_hyarray_ptr text(std::u16string_view s) {
    return matrix::create(s.data(), s.size());
}

matrix::unique_hyarray_ptr row(std::initializer_list<double> values) {
    matrix::unique_hyarray_ptr a(hyCreateNumericMatrix(1, values.size(), hyDOUBLE_CLASS, hyREAL));
    std::copy(values.begin(), values.end(), matrix::data_as<double>(a.get()));
    return a;
}

void checks() {
    const auto x = row({1, 2});
    const hyArray* prhs[] = {x.get()};
    const int nrhs = 1;
    // tour:checks
    klf::check_num_inputs(1, 2, nrhs);  // else "InsufficientInputs" / "ExcessiveInputs"
    try {
        klf::check_hyarray_is_scalar(prhs[0]);  // a 1x2 value is not a scalar
    } catch (const klf::MessageException& e) {
        expect(e.message().id().key() == "ScalarValueExpected");
    }
    // end tour
}

void sizes() {
    // tour:sizes
    const auto size_vector = row({2, 3});                            // as the host passes a size
    const klf::ArraySize s = klf::to_array_size(size_vector.get());  // 2x3
    expect(klf::num_elements(s) == 6);
    expect(klf::to_ustring(klf::SizeVariant{klf::ScalarSize{}}) == u"<scalar>");
    expect(klf::hyarray_to_dim(row({2}).get()) == 1);  // dimension numbers are zero-based
    // end tour
}

void shape() {
    // tour:shape
    matrix::unique_hyarray_ptr a = row({1, 2, 3, 4, 5, 6});  // 1x6
    a = klf::set_rows(std::move(a), 2);                      // 2x3, the same array
    expect(klf::size(a.get()) == (klf::ArraySize{2, 3}));
    a = klf::reshape(std::move(a), {std::nullopt, std::size_t{2}});  // 3x2: one dimension computed
    a = klf::to_column(std::move(a));                                // 6x1
    expect(klf::size(a.get()) == (klf::ArraySize{6, 1}));
    // end tour
}

void numeric() {
    // tour:numeric
    const auto source = row({2.5, -2.5, 1e10, std::nan("")});
    const auto n = klf::convert_numeric(source.get(), hyINT32_CLASS, hyREAL);
    const std::int32_t* v = matrix::data_as<std::int32_t>(n.get());
    expect(v[0] == 3 && v[1] == -3 && v[2] == INT32_MAX && v[3] == 0);  // round, saturate, NaN -> 0
    expect(klf::is_semi_numeric(hyCHAR_CLASS, hyREAL) &&
           !klf::is_semi_numeric(hyCELL_CLASS, hyREAL));
    // end tour
}

void missing() {
    // tour:missing
    const auto slot = klf::make_missing();  // without a MissingService: a 1x1 double NaN
    expect(klf::is_missing(slot.get()) && !klf::is_missing(row({1}).get()));
    // end tour
}

void strings() {
    // tour:strings
    expect(klf::to_ustring(text(u"rotor-7").get()) == u"rotor-7");
    const auto column = klf::to_column(text(u"abc"));          // 3x1: not a row
    expect(!klf::to_maybe_ustring(column.get()).has_value());  // to_ustring would throw
    const auto names = klf::make_cell_array({});               // a 0x1 cell: no strings
    expect(klf::to_ustring_array(names.get()).values.empty());
    // end tour
}

void cells() {
    // tour:cells
    std::vector<matrix::unique_hyarray_ptr> parts;
    parts.push_back(text(u"gain"));
    parts.push_back(row({0.5}));
    matrix::unique_hyarray_ptr c = klf::make_cell_array(std::move(parts));  // 2x1 cell
    const auto second = klf::get_cell(c, 1);                                // a shared copy
    std::vector<matrix::unique_hyarray_ptr> elements = klf::cells(std::move(c));
    expect(elements.size() == 2 && klf::to_ustring(elements[0].get()) == u"gain");
    // end tour
    expect(hyGetScalar(second.get()) == 0.5);
}

void fields() {
    // tour:fields
    const char* const names[] = {"file", "line", nullptr};
    matrix::unique_hyarray_ptr s(klf::create_hyarray_struct(2, 1, 2, names));  // 2x1, empty slots
    klf::set_field(s.get(), 0, "file", text(u"a.m"));
    klf::set_field(s.get(), 1, "file", text(u"b.m"));
    const klf::FieldValues rows = klf::get_field_values(s.get(), {"file", "line"});
    expect(klf::to_ustring(rows[1][0].get()) == u"b.m");  // [element][name]
    try {
        klf::get_field_values(s.get(), {"name"});
    } catch (const klf::GetFieldValuesFieldNotFound& e) {
        expect(e.name() == "name");
    }
    // end tour
}

void references() {
    // tour:references
    klf::hy::Refs path(klf::hy::DotRef(klf::TxId("model")));
    path += klf::hy::DotRef(klf::TxId("gain"));
    const auto subscripts = klf::hy::HyArrayRefsConverter{}(path);  // 2x1 struct: type, subs
    const klf::hy::Refs back = klf::hy::HyArrayRefsConverter{}(subscripts);
    expect(std::equal(back.begin(), back.end(), path.begin(), path.end()));
    std::ostringstream shown;
    shown << path;
    expect(shown.str() == ".model.gain");
    // end tour
}

void fingerprint() {
    // tour:fingerprint
    std::vector<std::string> calls;
    std::function<void(const char*, std::size_t)> feed = [&](const char* p, std::size_t n) {
        calls.emplace_back(p, n);  // a hash would absorb the bytes here
    };
    incorporate_data(feed, row({2.5}).get());
    // class, complexity, sparsity, two dimensions, then the double in two halves
    expect(calls.size() == 7 && calls[0] == std::string("\0\0\0\6", 4));
    // end tour
}

void interchange() {
    // tour:interchange
    const std::vector<klf::StackFrame> frames{
        {klf::FileName(fl::filesystem::upath(u"/src/model.m")), u"step", 11}};
    const auto stack = klf::stack_to_hyarray(frames);  // struct: file, name, line (from 1)
    expect(klf::hyarray_to_stack(stack.get()) == frames);
    expect(klf::to_upath(text(u"/src/model.m")) == fl::filesystem::upath(u"/src/model.m"));
    // end tour
}

}  // namespace

int main() {
    try {
        checks();
        sizes();
        shape();
        numeric();
        missing();
        strings();
        cells();
        fields();
        references();
        fingerprint();
        interchange();
    } catch (const std::exception& e) {
        std::cerr << "tour: " << e.what() << '\n';
        return 1;
    }
    if (failures == 0)
        std::cout << "tour: every family as described\n";
    return failures == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
