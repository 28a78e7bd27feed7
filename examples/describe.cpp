// describe: a host extension written on kelvor_matrix, the way a user of the
// library writes one.
//
// The host calls an extension with its outputs and inputs as arrays:
//
//     counts = describe(name, values, options)
//
// describe checks the input count, reads the name as text, converts the
// values to int32 (rounding halves away from zero, saturating, NaN to 0),
// reads two fields of every element of the options struct, reshapes the
// converted values into two rows, and fingerprints each input with SHA-256
// over the library's canonical byte stream. Bad input never gets further than
// the first check it fails: the caller receives a catalogued error.
//
// main() plays the host: it builds sample inputs, calls describe and prints
// what it saw, then passes inputs that are rejected and shows their messages.
#include <openssl/evp.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <iomanip>
#include <iostream>
#include <limits>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <kelvor/common/foundation/matrix/checks.hpp>
#include <kelvor/common/foundation/matrix/fields.hpp>
#include <kelvor/common/foundation/matrix/fingerprint.hpp>
#include <kelvor/common/foundation/matrix/messages.hpp>
#include <kelvor/common/foundation/matrix/numeric.hpp>
#include <kelvor/common/foundation/matrix/shape.hpp>
#include <kelvor/common/foundation/matrix/strings.hpp>
#include <kelvor/core/utf.hpp>

namespace {

// --- output ------------------------------------------------------------------

constexpr int label_width = 18;

// One aligned line; continuation lines of `value` are indented under it.
void show(std::string_view label, const std::string& value) {
    std::istringstream lines(value);
    std::string line;
    bool first = true;
    while (std::getline(lines, line)) {
        std::cout << "  " << std::left << std::setw(label_width) << (first ? label : "") << line
                  << '\n';
        first = false;
    }
}

std::string utf8(const ustring& text) {
    return klf::ustring_to_utf8_string(text);
}

std::string size_text(const hyArray* a) {
    return utf8(klf::to_user_string(klf::size(a)));
}

template <class T>
std::string join(const T* values, std::size_t n) {
    std::ostringstream out;
    for (std::size_t i = 0; i < n; ++i)
        out << (i == 0 ? "" : " ") << +values[i];
    return out.str();
}

// --- fingerprints --------------------------------------------------------------

// SHA-256 of a value's fingerprint stream, through OpenSSL's EVP interface.
std::string sha256_of(const hyArray* value) {
    const std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> ctx(EVP_MD_CTX_new(),
                                                                      &EVP_MD_CTX_free);
    if (!ctx || EVP_DigestInit_ex(ctx.get(), EVP_sha256(), nullptr) != 1) {
        throw std::runtime_error("SHA-256 is not available");
    }
    std::function<void(const char*, std::size_t)> feed = [&](const char* p, std::size_t n) {
        if (EVP_DigestUpdate(ctx.get(), p, n) != 1)
            throw std::runtime_error("SHA-256 failed");
    };
    incorporate_data(feed, value);

    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    if (EVP_DigestFinal_ex(ctx.get(), digest, &length) != 1) {
        throw std::runtime_error("SHA-256 failed");
    }
    std::ostringstream hex;
    for (unsigned int i = 0; i < length; ++i) {
        hex << std::hex << std::setw(2) << std::setfill('0') << int{digest[i]};
    }
    return hex.str();
}

}  // namespace

// --- the extension -------------------------------------------------------------

// counts = describe(name, values, options): `values` as int32 in two rows.
void describe(int nlhs, hyArray* plhs[], int nrhs, const hyArray* prhs[]) {
    klf::check_num_inputs(3, 3, nrhs);
    klf::check_num_outputs(0, 1, nlhs);

    const ustring name = klf::to_ustring(prhs[0]);
    matrix::unique_hyarray_ptr counts = klf::convert_numeric(prhs[1], hyINT32_CLASS, hyREAL);
    const klf::FieldValues options = klf::get_field_values(prhs[2], {"unit", "scale"});

    show("name", utf8(name));
    show("values", size_text(prhs[1]) + " " + hyGetClassName(prhs[1]) + " as int32: " +
                       join(matrix::data_as<std::int32_t>(counts.get()),
                            matrix::number_of_elements(counts.get())));
    counts = klf::set_rows(std::move(counts), 2);
    show("set_rows 2", size_text(counts.get()));

    for (std::size_t i = 0; i < options.size(); ++i) {
        const hyArray* unit = options[i][0].get();
        const auto scale = klf::convert_numeric(options[i][1].get(), hyDOUBLE_CLASS, hyREAL);
        show("options(" + std::to_string(i + 1) + ")",
             "unit " + utf8(klf::to_ustring(unit)) + ", scale " +
                 join(matrix::data_as<double>(scale.get()), 1));
    }

    std::cout << "fingerprints (SHA-256 of the canonical stream)\n";
    const char* const labels[] = {"name", "values", "options"};
    for (int i = 0; i < nrhs; ++i)
        show(labels[i], sha256_of(prhs[i]));

    if (nlhs > 0)
        plhs[0] = counts.release();  // the host owns its outputs
}

// --- the host ------------------------------------------------------------------

namespace {

matrix::unique_hyarray_ptr text(std::u16string_view s) {
    return matrix::create(s.data(), s.size());
}

matrix::unique_hyarray_ptr doubles(std::initializer_list<double> values) {
    matrix::unique_hyarray_ptr a(hyCreateNumericMatrix(1, values.size(), hyDOUBLE_CLASS, hyREAL));
    std::copy(values.begin(), values.end(), matrix::data_as<double>(a.get()));
    return a;
}

// A 2x1 struct array with fields "unit" and "scale".
matrix::unique_hyarray_ptr options() {
    const char* const names[] = {"unit", "scale", nullptr};
    matrix::unique_hyarray_ptr s(klf::create_hyarray_struct(2, 1, 2, names));
    klf::set_field(s.get(), 0, "unit", text(u"rad/s"));
    klf::set_field(s.get(), 0, "scale", doubles({0.5}));
    klf::set_field(s.get(), 1, "unit", text(u"Hz"));
    klf::set_field(s.get(), 1, "scale", doubles({2}));
    return s;
}

// Calls describe as the host would, and shows the catalogued error it raises.
// Returns the error's key and its first cause's key ("" when none).
std::pair<std::string, std::string> call_rejected(std::string_view title,
                                                  std::vector<const hyArray*> inputs) {
    std::cout << title << '\n';
    hyArray* out[1] = {nullptr};
    try {
        describe(0, out, static_cast<int>(inputs.size()), inputs.data());
    } catch (const klf::MessageException& e) {
        const auto& id = e.message().id();
        std::string cause;
        if (!e.causes().empty()) {
            if (const auto* c = dynamic_cast<const klf::MessageException*>(e.causes()[0].get())) {
                cause = c->message().id().key();
            }
        }
        show("key", id.key());
        show("catalog", id.catalog());
        if (!cause.empty())
            show("cause", cause);
        show("what()", e.what());
        return {id.key(), cause};
    }
    return {};
}

}  // namespace

int main() {
    try {
        const auto name = text(u"rotor-7");
        const auto values =
            doubles({2.5, -1.5, 7, std::numeric_limits<double>::quiet_NaN(), 3e10, 4});
        const auto opts = options();

        std::cout << "counts = describe(name, values, options)\n";
        const hyArray* inputs[] = {name.get(), values.get(), opts.get()};
        hyArray* outputs[1] = {nullptr};
        describe(1, outputs, 3, inputs);
        const matrix::unique_hyarray_ptr counts(outputs[0]);

        // A 5x1 character array is text in a column: not a name.
        const auto column = klf::to_column(text(u"rotor"));
        const auto bad_name = call_rejected("\ndescribe(<5x1 char>, values, options)",
                                            {column.get(), values.get(), opts.get()});
        const auto too_few = call_rejected("\ndescribe(name, values)", {name.get(), values.get()});

        const bool as_expected = size_text(counts.get()) == "2x3" &&
                                 bad_name == std::pair<std::string, std::string>(
                                                 "StringValueExpected", "CharVectorNotARow") &&
                                 too_few.first == "InsufficientInputs";
        if (!as_expected) {
            std::cerr << "describe: unexpected results\n";
            return 1;
        }
        return 0;
    } catch (const std::exception& e) {
        std::cerr << "describe: " << e.what() << '\n';
        return 1;
    }
}
