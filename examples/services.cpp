// services: the four extension points of kelvor_matrix, each implemented,
// registered in the process-wide registry and seen taking effect.
//
// A library of the family that owns a kind of value (a missing marker, text
// objects, objects with their own size, opaque handles) registers one of
// these; kelvor_matrix finds it by interface name at its next call. The
// README's "Services" section is cut from this file ("// tour:<name>" to
// "// end tour"), so every snippet there is compiled and run here.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <kelvor/common/foundation/matrix/fingerprint.hpp>
#include <kelvor/common/foundation/matrix/missing.hpp>
#include <kelvor/common/foundation/matrix/services.hpp>
#include <kelvor/common/foundation/matrix/shape.hpp>
#include <kelvor/common/foundation/matrix/strings.hpp>
#include <kelvor/core/bundle.hpp>

namespace {

int failures = 0;

void expect(bool ok, int line) {
    if (!ok) {
        std::cerr << "services.cpp:" << line << ": unexpected result\n";
        ++failures;
    }
}
#define expect(cond) expect((cond), __LINE__)

// Objects the host would hand to an extension; here made with the host
// emulation's class registry.
matrix::unique_hyarray_ptr object_of(const std::string& cls, std::vector<std::string> methods) {
    matrix::host::define_class(cls, {}, std::move(methods));
    const std::size_t dims[] = {1, 1};
    return matrix::host::create_object(cls, dims);
}

// tour:service-missing
// Missing values are empty 0x0 character arrays in this family member.
class EmptyTextMissing : public klf::MissingService {
public:
    matrix::unique_hyarray_ptr make_missing() override { return matrix::create(u"", 0); }
    bool is_missing(const hyArray* a) override {
        return matrix::class_id(a) == hyCHAR_CLASS && matrix::is_empty(a);
    }
};
// end tour

void missing_service() {
    // tour:service-missing-use
    auto registration = klf::get_global_bundle_context().RegisterService<klf::MissingService>(
        std::make_shared<EmptyTextMissing>());
    expect(matrix::class_id(klf::make_missing().get()) == hyCHAR_CLASS);
    registration.Unregister();  // back to the default, a double NaN
    // end tour
    expect(matrix::class_id(klf::make_missing().get()) == hyDOUBLE_CLASS);
}

// tour:service-strings
// Objects of class demo.Label read as the one string "label".
class LabelText : public klf::StringExtractionService {
    struct One : klf::ExtractedString {
        klf::ArraySize size() override { return {1, 1}; }
        std::optional<ustring> element(std::size_t) override { return u"label"; }
    };

public:
    std::unique_ptr<klf::ExtractedString> extract(const hyArray* value) override {
        if (!hyIsA(value, "demo.Label"))
            return nullptr;  // not ours: the caller rejects it
        return std::make_unique<One>();
    }
};
// end tour

void string_service() {
    const auto label = object_of("demo.Label", {});
    expect(!klf::to_maybe_ustring(label.get()));
    // tour:service-strings-use
    auto registration =
        klf::get_global_bundle_context().RegisterService<klf::StringExtractionService>(
            std::make_shared<LabelText>());
    expect(klf::to_ustring(label.get()) == u"label");
    registration.Unregister();
    // end tour
}

// tour:service-fingerprint
// Opaque and object values fingerprint as their class name and element count.
class NameAndCount : public klf::IncorporateExoticDataService {
public:
    void incorporate_data(std::function<void(const char*, std::size_t)>& feed,
                          const hyArray* a) override {
        const std::string name = hyGetClassName(a);
        feed(name.data(), name.size());
        const std::uint64_t n = matrix::number_of_elements(a);
        char count[8];
        for (int i = 0; i < 8; ++i)
            count[i] = static_cast<char>(n >> (56 - 8 * i));
        feed(count, sizeof count);
    }
};
// end tour

void fingerprint_service() {
    const auto label = object_of("demo.Label", {});
    auto stream_of = [&] {
        std::string bytes;
        std::function<void(const char*, std::size_t)> feed = [&](const char* p, std::size_t n) {
            bytes.append(p, n);
        };
        incorporate_data(feed, label.get());
        return bytes;
    };
    expect(stream_of() == "demo.Label");  // the default: the class name alone
    // tour:service-fingerprint-use
    auto registration =
        klf::get_global_bundle_context().RegisterService<klf::IncorporateExoticDataService>(
            std::make_shared<NameAndCount>());
    // end tour
    expect(stream_of() == "demo.Label" + std::string("\0\0\0\0\0\0\0\1", 8));
    registration.Unregister();
}

// tour:service-shape
// Objects of class demo.Grid (which defines "size" and "reshape") keep their
// own shape, here a fixed 3x4 grid.
class GridShape : public klf::ObjectShapeService {
public:
    klf::ArraySize size(const hyArray*) override { return {3, 4}; }
    matrix::unique_hyarray_ptr reshape(matrix::unique_hyarray_ptr a,
                                       const klf::ArraySize&) override {
        return a;  // a grid keeps its shape
    }
};
// end tour

void shape_service() {
    // tour:service-shape-use
    // Kept for the life of the process once found: register it before first use.
    klf::get_global_bundle_context().RegisterService<klf::ObjectShapeService>(
        std::make_shared<GridShape>());
    const auto grid = object_of("demo.Grid", {"size", "reshape"});
    expect(klf::size(grid.get()) == (klf::ArraySize{3, 4}));
    // end tour
}

}  // namespace

int main() {
    try {
        missing_service();
        string_service();
        fingerprint_service();
        shape_service();
    } catch (const std::exception& e) {
        std::cerr << "services: " << e.what() << '\n';
        return 1;
    }
    if (failures == 0)
        std::cout << "services: all four took effect\n";
    return failures == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
