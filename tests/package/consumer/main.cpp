// Links against the installed library and calls into it: an argument check
// that throws a catalogued error, a size text, and an exception built from a
// message class, whose text comes from the catalog compiled into the core.
#include <cstdio>
#include <string>

#include <kelvor/common/foundation/matrix/checks.hpp>
#include <kelvor/common/foundation/matrix/messages.hpp>
#include <kelvor/common/foundation/matrix/sizes.hpp>

namespace msg = kelvor::common::foundation::matrix::hy;

namespace {

int failures = 0;

void expect(bool ok, const char* what) {
    if (!ok) {
        std::fprintf(stderr, "consumer: %s\n", what);
        ++failures;
    }
}

}  // namespace

int main() {
    try {
        klf::check_num_inputs(1, 2, 3);
        expect(false, "check_num_inputs accepted 3 inputs for at most 2");
    } catch (const klf::MessageException& e) {
        expect(e.message().id().key() == "ExcessiveInputs", "wrong key for 3 of 1..2 inputs");
        // The catalog text, not the "catalog:key" stand-in for a missing text.
        expect(std::string(e.what()).rfind("kelvor:", 0) != 0, e.what());
    }

    expect(klf::to_ustring(klf::ScalarSize{}) == u"<scalar>", "ScalarSize text");

    const klf::MessageException e = klf::make_exception(msg::StringValueExpected{});
    expect(e.message().id().catalog() == "kelvor:common:foundation:matrix:hy", "catalog");
    expect(e.message().id().key() == "StringValueExpected", "key");
    expect(e.causes().empty(), "causes");

    if (failures == 0)
        std::puts("consumer: ok");
    return failures == 0 ? 0 : 1;
}
