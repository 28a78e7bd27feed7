// Host value trees from fuzzer bytes.
#include "value_decoder.hpp"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <optional>
#include <span>

#include <hyarray/testing.hpp>
#include <kelvor/common/foundation/matrix/fingerprint.hpp>
#include <kelvor/common/foundation/matrix/numeric.hpp>
#include <kelvor/common/foundation/matrix/services.hpp>
#include <kelvor/core/bundle.hpp>

namespace fuzz {
namespace {

using matrix::unique_hyarray_ptr;

constexpr int max_depth = 3;
constexpr std::size_t max_nodes = 48;

constexpr std::array<hyClassID, 12> full_classes = {
    hyLOGICAL_CLASS, hyCHAR_CLASS,   hyDOUBLE_CLASS, hySINGLE_CLASS, hyINT8_CLASS,  hyUINT8_CLASS,
    hyINT16_CLASS,   hyUINT16_CLASS, hyINT32_CLASS,  hyUINT32_CLASS, hyINT64_CLASS, hyUINT64_CLASS};
constexpr std::array<hyClassID, 3> sparse_classes = {hyLOGICAL_CLASS, hyDOUBLE_CLASS,
                                                     hySINGLE_CLASS};
constexpr std::array<const char16_t*, 12> texts = {u".",      u"()",         u"{}",   u"a",
                                                   u"model",  u"x_1",        u"1bad", u"",
                                                   u"/m/a.m", u"C:\\m\\b.m", u"file", u"gain"};
constexpr std::array<const char*, 3> object_classes = {"fz.Plain", "fz.Sized", "fz.Strings"};

// Presents objects of class fz.Strings as strings: even elements present,
// odd ones missing.
class StringsService final : public klf::StringExtractionService {
    class Extracted final : public klf::ExtractedString {
    public:
        explicit Extracted(klf::ArraySize size) : size_(std::move(size)) {}
        klf::ArraySize size() override { return size_; }
        std::optional<ustring> element(std::size_t i) override {
            if (i % 2 != 0)
                return std::nullopt;
            return ustring(u"s") + static_cast<char16_t>(u'0' + i % 10);
        }

    private:
        klf::ArraySize size_;
    };

public:
    std::unique_ptr<klf::ExtractedString> extract(const hyArray* value) override {
        if (value == nullptr || matrix::class_id(value) != hyOBJECT_CLASS ||
            !hyIsA(value, "fz.Strings"))
            return nullptr;
        return std::make_unique<Extracted>(
            klf::ArraySize(matrix::dims(value), matrix::number_of_dims(value)));
    }
};

std::size_t element_width(hyClassID cls) {
    switch (cls) {
        case hyLOGICAL_CLASS:
        case hyINT8_CLASS:
        case hyUINT8_CLASS:
            return 1;
        case hyCHAR_CLASS:
        case hyINT16_CLASS:
        case hyUINT16_CLASS:
            return 2;
        case hySINGLE_CLASS:
        case hyINT32_CLASS:
        case hyUINT32_CLASS:
            return 4;
        default:
            return 8;
    }
}

struct Decoder {
    Reader& in;
    std::size_t nodes = 0;

    std::vector<std::size_t> dims(std::size_t max_ndims, std::size_t max_extent) {
        std::vector<std::size_t> d(in.below(max_ndims + 1));
        for (auto& e : d)
            e = in.below(max_extent + 1);
        return d;
    }

    unique_hyarray_ptr full() {
        const hyClassID cls = full_classes[in.below(full_classes.size())];
        const bool complex = cls >= hyDOUBLE_CLASS && (in.byte() & 1) != 0;
        const auto d = dims(3, 3);
        auto a = matrix::detail::do_create_numeric(d, cls, complex ? hyCOMPLEX : hyREAL);
        const std::size_t n = matrix::number_of_elements(a.get()) * (complex ? 2 : 1);
        void* out = matrix::data(a.get());
        if (cls == hyLOGICAL_CLASS) {
            for (std::size_t k = 0; k < n; ++k)
                static_cast<bool*>(out)[k] = (in.byte() & 1) != 0;
        } else {
            in.bytes(out, n * element_width(cls));
        }
        return a;
    }

    unique_hyarray_ptr sparse() {
        const hyClassID cls = sparse_classes[in.below(sparse_classes.size())];
        const bool complex = cls != hyLOGICAL_CLASS && (in.byte() & 1) != 0;
        const std::size_t m = in.below(5), n = in.below(5);
        std::vector<std::size_t> ir, jc{0};
        for (std::size_t j = 0; j < n; ++j) {
            const std::uint8_t rows = in.byte();
            for (std::size_t i = 0; i < m; ++i)
                if ((rows >> i) & 1)
                    ir.push_back(i);
            jc.push_back(ir.size());
        }
        auto a = matrix::host::create_sparse(m, n, std::max<std::size_t>(ir.size(), 1), cls,
                                             complex ? hyCOMPLEX : hyREAL);
        std::copy(ir.begin(), ir.end(), matrix::host::ir(a.get()));
        std::copy(jc.begin(), jc.end(), matrix::host::jc(a.get()));
        void* values = matrix::data(a.get());
        const std::size_t count = ir.size() * (complex ? 2 : 1);
        if (cls == hyLOGICAL_CLASS) {
            for (std::size_t k = 0; k < count; ++k)
                static_cast<bool*>(values)[k] = (in.byte() & 3) != 0;
        } else {
            in.bytes(values, count * element_width(cls));
        }
        return a;
    }

    unique_hyarray_ptr text() {
        const std::uint8_t choice = in.byte();
        if (choice < 192)
            return matrix::testing::text(texts[choice % texts.size()]);
        std::u16string s(in.below(6), u'\0');
        in.bytes(s.data(), s.size() * 2);
        return matrix::testing::text(s);
    }

    unique_hyarray_ptr number() {
        const std::uint8_t choice = in.byte();
        if (choice < 128)
            return matrix::testing::scalar(static_cast<double>(choice % 8) - 1);
        double v = 0;
        in.bytes(&v, sizeof v);
        return matrix::testing::scalar(v);
    }

    unique_hyarray_ptr slot(int depth) {
        if (in.below(6) == 0)
            return nullptr;
        return value(depth + 1);
    }

    unique_hyarray_ptr cell(int depth) {
        const auto d = dims(2, 3);
        auto c = matrix::detail::do_create_cell(d);
        const std::size_t n = matrix::number_of_elements(c.get());
        for (std::size_t k = 0; k < n; ++k)
            hySetCell(c.get(), k, slot(depth).release());
        return c;
    }

    unique_hyarray_ptr structure(int depth) {
        const auto d = dims(2, 2);
        std::vector<const char*> names;
        for (std::size_t f = in.below(4); f > 0; --f) {
            const char* name = field_names[in.below(field_names.size())].c_str();
            if (std::find(names.begin(), names.end(), name) == names.end())
                names.push_back(name);
        }
        auto s = matrix::detail::do_create_struct(d, names);
        const std::size_t n = matrix::number_of_elements(s.get());
        for (std::size_t k = 0; k < n; ++k)
            for (std::size_t f = 0; f < names.size(); ++f)
                hySetFieldByNumber(s.get(), k, static_cast<int>(f), slot(depth).release());
        return s;
    }

    unique_hyarray_ptr object() {
        const char* cls = object_classes[in.below(object_classes.size())];
        const auto d = dims(2, 2);
        switch (in.below(3)) {
            case 0:
                return matrix::host::create_object(cls, d);
            case 1:
                return matrix::host::create_object_deferred(cls, d);
            default:
                return matrix::host::create_opaque(cls, d);
        }
    }

    unique_hyarray_ptr value(int depth) {
        const bool leaf = depth >= max_depth || ++nodes > max_nodes;
        switch (in.below(leaf ? 6 : 8)) {
            case 0:
                return full();
            case 1:
                return sparse();
            case 2:
                return text();
            case 3:
                return number();
            case 4:
                return object();
            case 5:
                return matrix::testing::function_handle(texts[in.below(texts.size())],
                                                        texts[in.below(texts.size())]);
            case 6:
                return cell(depth);
            default:
                return structure(depth);
        }
    }
};

}  // namespace

const std::vector<std::string> field_names = {"a",    "b",    "file", "name",
                                              "line", "type", "subs", "gain"};

std::uint8_t Reader::byte() noexcept {
    if (n_ == 0)
        return 0;
    --n_;
    return *p_++;
}

std::size_t Reader::below(std::size_t bound) noexcept {
    return byte() % bound;
}

void Reader::bytes(void* out, std::size_t n) noexcept {
    const std::size_t k = std::min(n, n_);
    std::memcpy(out, p_, k);
    std::memset(static_cast<char*>(out) + k, 0, n - k);
    p_ += k;
    n_ -= k;
}

void set_up() {
    matrix::host::define_class("fz.Plain", {}, {});
    matrix::host::define_class("fz.Sized", {}, {"size", "reshape"});
    matrix::host::define_class("fz.Strings", {"fz.Plain"}, {"disp"});
    // Kept for the life of the process, as a library's own registration is.
    static auto registration =
        klf::get_global_bundle_context().RegisterService<klf::StringExtractionService>(
            std::make_shared<StringsService>());
    // Values made once on first use stay alive; make them before anything is counted.
    (void)fingerprint(matrix::testing::cell({1, 1}, {nullptr}).get());
}

unique_hyarray_ptr decode_value(Reader& in, int depth) {
    Decoder decoder{in};
    return decoder.value(depth);
}

unique_hyarray_ptr reordered(const hyArray* a) {
    if (a == nullptr)
        return nullptr;
    const std::span<const std::size_t> d(matrix::dims(a), matrix::number_of_dims(a));
    const std::size_t n = matrix::number_of_elements(a);
    if (matrix::class_id(a) == hyCELL_CLASS) {
        auto c = matrix::detail::do_create_cell(d);
        for (std::size_t k = 0; k < n; ++k)
            hySetCell(c.get(), k, reordered(hyGetCell(a, k)).release());
        return c;
    }
    if (matrix::class_id(a) == hySTRUCT_CLASS) {
        const int f = a->get_number_of_struct_fields();
        const char* const* names = a->get_struct_field_names();
        const std::vector<std::string> kept(names, names + f);
        std::vector<const char*> reversed;
        for (int i = f - 1; i >= 0; --i)
            reversed.push_back(kept[static_cast<std::size_t>(i)].c_str());
        auto s = matrix::detail::do_create_struct(d, reversed);
        for (std::size_t k = 0; k < n; ++k)
            for (int i = 0; i < f; ++i)
                hySetFieldByNumber(
                    s.get(), k, f - 1 - i,
                    reordered(hyGetField(a, k, kept[static_cast<std::size_t>(i)].c_str()))
                        .release());
        return s;
    }
    return matrix::detail::do_shared_copy(a);
}

bool identical(const hyArray* a, const hyArray* b) {
    if (a == nullptr || b == nullptr)
        return a == b;
    const hyClassID cls = matrix::class_id(a);
    const std::size_t k = matrix::number_of_dims(a);
    if (cls != matrix::class_id(b) || matrix::is_complex(a) != matrix::is_complex(b) ||
        matrix::is_sparse(a) != matrix::is_sparse(b) || k != matrix::number_of_dims(b) ||
        !std::equal(matrix::dims(a), matrix::dims(a) + k, matrix::dims(b)))
        return false;
    const std::size_t n = matrix::number_of_elements(a);
    if (cls == hyCELL_CLASS) {
        for (std::size_t i = 0; i < n; ++i)
            if (!identical(hyGetCell(a, i), hyGetCell(b, i)))
                return false;
        return true;
    }
    if (cls == hySTRUCT_CLASS) {
        const int f = a->get_number_of_struct_fields();
        if (f != b->get_number_of_struct_fields())
            return false;
        for (int j = 0; j < f; ++j) {
            const char* name = a->get_struct_field_names()[j];
            if (std::strcmp(name, b->get_struct_field_names()[j]) != 0)
                return false;
            for (std::size_t i = 0; i < n; ++i)
                if (!identical(hyGetField(a, i, name), hyGetField(b, i, name)))
                    return false;
        }
        return true;
    }
    if (!klf::is_semi_numeric(cls, hyREAL))
        return hyAreMatricesEqual(a, b);
    // Numbers bit for bit: equality of values would miss a changed NaN payload
    // or zero sign, and would call an unchanged NaN changed.
    std::size_t stored = n;
    if (matrix::is_sparse(a)) {
        const std::size_t cols = matrix::dims(a)[1];
        if (!std::equal(matrix::host::jc(a), matrix::host::jc(a) + cols + 1, matrix::host::jc(b)))
            return false;
        stored = matrix::host::jc(a)[cols];
        if (!std::equal(matrix::host::ir(a), matrix::host::ir(a) + stored, matrix::host::ir(b)))
            return false;
    }
    const std::size_t bytes = stored * element_width(cls) * (matrix::is_complex(a) ? 2 : 1);
    return bytes == 0 || std::memcmp(matrix::data(a), matrix::data(b), bytes) == 0;
}

std::string fingerprint(const hyArray* a) {
    std::string bytes;
    std::function<void(const char*, std::size_t)> feed = [&bytes](const char* p, std::size_t n) {
        bytes.append(p, n).push_back('\x1f');
    };
    incorporate_data(feed, a);
    return bytes;
}

void fail(const char* what) noexcept {
    std::fprintf(stderr, "fuzz invariant broken: %s\n", what);
    std::fflush(stderr);
    __builtin_trap();
}

}  // namespace fuzz
