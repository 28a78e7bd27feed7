#include <algorithm>
#include <map>
#include <string_view>
#include <tuple>
#include <variant>

#include <gtest/gtest.h>

#include <cppmicroservices/BundleContext.h>
#include <hyarray/testing.hpp>
#include <kelvor/common/foundation/matrix/services.hpp>
#include <kelvor/common/foundation/matrix/strings.hpp>
#include <kelvor/core/bundle.hpp>

#include "message_matchers.hpp"

using namespace kelvor::testing;
using matrix::unique_hyarray_ptr;
using namespace matrix::testing;

namespace {

using Element = std::optional<ustring>;
using Texts = std::pair<std::vector<Element>, klf::SizeVariant>;

// Presents the values entered in its table as strings (any other value: no
// object) and records how the library uses it.
struct TableService final : klf::StringExtractionService,
                            std::enable_shared_from_this<TableService> {
    struct Extracted final : klf::ExtractedString {
        Extracted(TableService& s, const Texts& t) : s(s), t(t) { ++s.alive; }
        ~Extracted() override { --s.alive; }
        klf::ArraySize size() override { return klf::to_array_size(t.second); }
        Element element(std::size_t i) override {
            EXPECT_EQ(i, s.reads++);  // in increasing order, from the first
            s.holders_in_element = s.weak_from_this().use_count();
            return t.first.at(i);
        }
        TableService& s;
        const Texts& t;
    };
    std::map<const hyArray*, Texts> table;
    int extracts = 0, alive = 0;  // extract calls; extracted objects not yet destroyed
    bool throws = false;
    std::size_t reads = 0;        // element reads
    long holders_in_element = 0;  // owners of this service while an element is read

    std::unique_ptr<klf::ExtractedString> extract(const hyArray* value) override {
        ++extracts;
        if (throws) {
            throw std::runtime_error("extract failed");
        }
        const auto it = table.find(value);
        return it == table.end() ? nullptr : std::make_unique<Extracted>(*this, it->second);
    }
};

// Keeps a TableService registered in the process-wide registry.
struct Registered {
    std::shared_ptr<TableService> service = std::make_shared<TableService>();
    cppmicroservices::ServiceRegistration<klf::StringExtractionService> registration =
        klf::get_global_bundle_context().RegisterService<klf::StringExtractionService>(service);
    ~Registered() { registration.Unregister(); }
};

// An expected result: the value, or the one cause the operation's rejection carries.
template <class T>
using Outcome = std::variant<T, ExpectedMessage>;

// The ustring forms give what the element forms give, except that a value with
// a missing element is a "MissingElement" rejection there.
template <class T>
Outcome<T> present(const Outcome<T>& o, bool has_missing) {
    return has_missing && std::holds_alternative<T>(o) ? hy_message("MissingElement") : o;
}

// The throwing form gives the value or raises `key` with exactly the expected
// cause; the maybe form gives the same value or nothing. `seen` checks what the
// service saw of each call.
template <class T>
void expect_forms(const char* key, const Outcome<T>& want, auto get, auto maybe, auto as_t,
                  auto seen) {
    const T* value = std::get_if<T>(&want);
    if (value) {
        EXPECT_EQ(as_t(get()), *value);
    } else {
        EXPECT_MESSAGE(get(), hy_message(key, {}, {std::get<ExpectedMessage>(want)}));
    }
    seen();
    const auto m = maybe();
    EXPECT_EQ(m ? std::optional<T>(as_t(*m)) : std::nullopt,
              value ? std::optional<T>(*value) : std::nullopt);
    seen();
}
#define EXPECT_FORMS(key, want, op, as_t, reads)                                                 \
    expect_forms(                                                                                \
        key, want, [&] { return klf::to_##op(v); }, [&] { return klf::to_maybe_##op(v); }, as_t, \
        [&] { seen(reads); })

// With a registered service `s`, each operation on a value that is neither char nor cell
// asks it for one extract and reads elements in increasing order: none for a single
// string of another size, none past the first missing element for the ustring forms.
void expect_all(TableService* s, const hyArray* v, const Outcome<Element>& single,
                const Outcome<Texts>& array) {
    const std::string_view cls = v ? hyGetClassName(v) : "char";
    const std::vector<Element> elements =
        s && s->table.contains(v) ? std::get<Texts>(array).first : std::vector<Element>();
    const std::size_t n = elements.size(),
                      gap = std::ranges::find(elements, Element()) - elements.begin();
    const auto seen = [&](std::size_t reads) {
        if (s) {
            EXPECT_EQ(std::exchange(s->reads, 0), reads);
            EXPECT_EQ(std::exchange(s->extracts, 0), cls != "char" && cls != "cell" ? 1 : 0);
        }
    };
    const auto element = [](const auto& e) { return Element(e); };
    const auto texts = [](auto&& a) { return Texts({a.values.begin(), a.values.end()}, a.size); };
    EXPECT_FORMS("InvalidScalarString", single, string_element, element, n == 1 ? 1 : 0);
    EXPECT_FORMS("StringValueExpected", present(single, gap < n), ustring, element, n == 1 ? 1 : 0);
    EXPECT_FORMS("InvalidStringElementArray", array, string_element_array, texts, n);
    EXPECT_FORMS("InvalidStringArray", present(array, gap < n), ustring_array, texts,
                 std::min(n, gap + 1));
}

class Strings_ : public ::testing::Test {
protected:
    void TearDown() override { EXPECT_EQ(live_.delta(), 0); }
    LiveArrays live_;
};

TEST_F(Strings_, AcceptedInputsAndServiceUseForAllEightOperations) {
    using Size = klf::ArraySize;
    const klf::ScalarSize one;
    const auto null = hy_message("NullHyArray"), not_row = hy_message("CharVectorNotARow");
    const auto non_scalar = hy_message("NonScalarValue");
    const auto logical_class = hy_message("InvalidStringClass", {"logical"}),
               no_object = hy_message("InvalidStringClass", {"StringLike"});
    // Without a service, other classes are rejected by their host name.
    const unique_hyarray_ptr other = logical(false);
    expect_all(nullptr, other.get(), logical_class, logical_class);
    // Name, value, what the single-string forms give, what the array forms give.
    const std::tuple<const char*, unique_hyarray_ptr, Outcome<Element>, Outcome<Texts>> rows[] = {
        {"null", nullptr, null, null},
        {"row 1x5", text(u"hello"), u"hello", Texts{{u"hello"}, one}},
        {"row 1x0", chars({1, 0}, u""), u"", Texts{{u""}, one}},
        {"0x0", chars({0, 0}, u""), u"", Texts{{u""}, one}},
        {"0x0x0", chars({0, 0, 0}, u""), u"", Texts{{u""}, one}},
        {"no dims", chars({}, u"z"), u"z", Texts{{u"z"}, one}},
        {"5x1", chars({5, 1}, u"abcde"), not_row, not_row},
        {"0x3", chars({0, 3}, u""), not_row, not_row},
        {"3x0", chars({3, 0}, u""), not_row, not_row},
        {"2x2", chars({2, 2}, u"abcd"), not_row, not_row},
        {"1x1x3", chars({1, 1, 3}, u"abc"), not_row, not_row},
        {"cell 1x1", cell({1, 1}, {text(u"ab")}), non_scalar, Texts{{u"ab"}, Size{1, 1}}},
        {"cell 0x0", cell({0, 0}, {}), non_scalar, Texts{{}, Size{0, 0}}},
        {"cell 2x3 column-major",
         cell({2, 3},
              {text(u"11"), text(u"21"), text(u"12"), text(u"22"), text(u"13"), text(u"23")}),
         non_scalar, Texts{{u"11", u"21", u"12", u"22", u"13", u"23"}, Size{2, 3}}},
        {"cell of empty texts", cell({2, 1}, {chars({0, 0}, u""), chars({1, 0}, u"")}), non_scalar,
         Texts{{u"", u""}, Size{2, 1}}},
        {"cell, column slot", cell({1, 2}, {text(u"a"), chars({2, 1}, u"bc")}), non_scalar,
         not_row},
        {"cell, non-char slot before an empty one", cell({1, 3}, {text(u"a"), scalar(1), nullptr}),
         non_scalar, hy_message("CellContainsNonCharacterVector", {"double"})},
        {"cell, empty slot before a non-char one",
         cell({1, 3}, {text(u"a"), nullptr, logical(true)}), non_scalar, null},
        {"cell, cell slot", cell({1, 1}, {cell({1, 1}, {text(u"a")})}), non_scalar,
         hy_message("CellContainsNonCharacterVector", {"cell"})},
        {"logical, extract gives null", logical(true), logical_class, logical_class},
        {"object, extract gives null", object("StringLike"), no_object, no_object},
        {"served, one present", object("Served"), u"x", Texts{{u"x"}, one}},
        {"served, one missing", object("Served"), std::nullopt, Texts{{std::nullopt}, one}},
        {"served, zero", object("Served"), non_scalar, Texts{{}, Size{1, 0}}},
        {"served, several", object("Served"), non_scalar, Texts{{u"p", u"q"}, Size{1, 2}}},
        {"served, several with a missing one", object("Served"), non_scalar,
         Texts{{u"a", std::nullopt, u"c"}, Size{3, 1}}},
    };
    Registered registered;
    const long holders = registered.service.use_count();  // the registry's and ours
    for (const auto& [name, value, single, array] : rows) {
        SCOPED_TRACE(name);
        if (value && hyGetClassName(value.get()) == std::string_view("Served")) {
            registered.service->table[value.get()] = std::get<Texts>(array);
        }
        expect_all(registered.service.get(), value.get(), single, array);
    }
    EXPECT_EQ(registered.service->alive, 0);
    EXPECT_EQ(registered.service->holders_in_element, holders);  // not held while reading
    registered.service->throws = true;  // its own errors pass unchanged, also from maybe forms
    EXPECT_THROW((void)klf::to_maybe_ustring(other.get()), std::runtime_error);
    EXPECT_THROW((void)klf::to_maybe_string_element_array(other.get()), std::runtime_error);
}

}  // namespace
