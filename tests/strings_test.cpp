#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <stdexcept>
#include <variant>
#include <vector>

#include <gtest/gtest.h>

#include <cppmicroservices/BundleContext.h>
#include <hyarray/testing.hpp>
#include <kelvor/common/foundation/matrix/services.hpp>
#include <kelvor/common/foundation/matrix/strings.hpp>
#include <kelvor/core/bundle.hpp>

#include "message_matchers.hpp"

using kelvor::testing::ExpectedMessage;
using kelvor::testing::hy_message;
using matrix::unique_hyarray_ptr;
using namespace matrix::testing;

namespace {

using Element = std::optional<ustring>;

// Presents the values entered in its table as strings (any other value: no
// object) and records how the library uses it.
class TableService final : public klf::StringExtractionService,
                           public std::enable_shared_from_this<TableService> {
public:
    struct Strings {
        klf::ArraySize size;
        std::vector<Element> elements;
    };
    void add(const hyArray* value, Strings strings) {
        table_.insert_or_assign(value, std::move(strings));
    }
    void forget() { table_.clear(); }

    std::unique_ptr<klf::ExtractedString> extract(const hyArray* value) override {
        ++extracts;
        if (throws) {
            throw std::runtime_error("extract failed");
        }
        const auto it = table_.find(value);
        return it == table_.end() ? nullptr : std::make_unique<Extracted>(*this, it->second);
    }

    int extracts = 0;
    bool throws = false;
    std::vector<std::size_t> requested;  // element indices, in call order
    int alive = 0;                       // extracted objects not yet destroyed
    long shares_in_element = 0;          // holders of this service while an element is read

private:
    class Extracted final : public klf::ExtractedString {
    public:
        Extracted(TableService& s, const Strings& v) : s_(s), v_(v) { ++s_.alive; }
        ~Extracted() override { --s_.alive; }
        klf::ArraySize size() override { return v_.size; }
        Element element(std::size_t i) override {
            s_.requested.push_back(i);
            s_.shares_in_element = s_.weak_from_this().use_count();
            return v_.elements.at(i);
        }

    private:
        TableService& s_;
        const Strings& v_;
    };
    std::map<const hyArray*, Strings> table_;
};

// Keeps a TableService registered in the process-wide registry.
struct Registered {
    std::shared_ptr<TableService> service = std::make_shared<TableService>();
    cppmicroservices::ServiceRegistration<klf::StringExtractionService> registration =
        klf::get_global_bundle_context().RegisterService<klf::StringExtractionService>(service);
    ~Registered() { registration.Unregister(); }
};

// Expected results: the value, or the cause the plain operations attach.
using Single = std::variant<Element, ExpectedMessage>;
struct Strings {
    std::vector<Element> values;
    klf::SizeVariant size;
};
using Array = std::variant<Strings, ExpectedMessage>;

ExpectedMessage cause(std::string key, std::string class_name = {}) {
    return class_name.empty() ? hy_message(std::move(key))
                              : hy_message(std::move(key), {std::move(class_name)});
}

// The ustring forms follow from the element forms: a missing element is a
// "MissingElement" rejection there.
void expect_single(const hyArray* v, const Single& expected) {
    if (const auto* why = std::get_if<ExpectedMessage>(&expected)) {
        EXPECT_MESSAGE(klf::to_ustring(v), hy_message("StringValueExpected", {}, {*why}));
        EXPECT_MESSAGE(klf::to_string_element(v), hy_message("InvalidScalarString", {}, {*why}));
        EXPECT_EQ(klf::to_maybe_ustring(v), std::nullopt);
        EXPECT_EQ(klf::to_maybe_string_element(v), std::nullopt);
        return;
    }
    const Element& e = std::get<Element>(expected);
    EXPECT_EQ(klf::to_string_element(v), e);
    EXPECT_EQ(klf::to_maybe_string_element(v), std::optional<Element>(e));
    EXPECT_EQ(klf::to_maybe_ustring(v), e);
    if (e) {
        EXPECT_EQ(klf::to_ustring(v), *e);
    } else {
        EXPECT_MESSAGE(klf::to_ustring(v),
                       hy_message("StringValueExpected", {}, {cause("MissingElement")}));
    }
}

void expect_array(const hyArray* v, const Array& expected) {
    if (const auto* why = std::get_if<ExpectedMessage>(&expected)) {
        EXPECT_MESSAGE(klf::to_ustring_array(v), hy_message("InvalidStringArray", {}, {*why}));
        EXPECT_MESSAGE(klf::to_string_element_array(v),
                       hy_message("InvalidStringElementArray", {}, {*why}));
        EXPECT_FALSE(klf::to_maybe_ustring_array(v));
        EXPECT_FALSE(klf::to_maybe_string_element_array(v));
        return;
    }
    const Strings& s = std::get<Strings>(expected);
    const auto maybe_elements = klf::to_maybe_string_element_array(v);
    ASSERT_TRUE(maybe_elements);
    for (const auto& got : {klf::to_string_element_array(v), *maybe_elements}) {
        EXPECT_EQ(got.values, s.values);
        EXPECT_TRUE(got.size == s.size);
    }
    std::vector<ustring> present;
    for (const Element& e : s.values) {
        if (!e) {
            EXPECT_MESSAGE(klf::to_ustring_array(v),
                           hy_message("InvalidStringArray", {}, {cause("MissingElement")}));
            EXPECT_FALSE(klf::to_maybe_ustring_array(v));
            return;
        }
        present.push_back(*e);
    }
    const auto maybe_texts = klf::to_maybe_ustring_array(v);
    ASSERT_TRUE(maybe_texts);
    for (const auto& got : {klf::to_ustring_array(v), *maybe_texts}) {
        EXPECT_EQ(got.values, present);
        EXPECT_TRUE(got.size == s.size);
    }
}

using Make = std::function<unique_hyarray_ptr(TableService&)>;

Make value(std::function<unique_hyarray_ptr()> make) {
    return [make](TableService&) { return make(); };
}
Make served(klf::ArraySize size, std::vector<Element> elements) {
    return [=](TableService& s) {
        unique_hyarray_ptr v = object("StringLike");
        s.add(v.get(), {size, elements});
        return v;
    };
}

struct Row {
    const char* name;
    Make make;
    Single single;
    Array array;
};

const klf::ScalarSize scalar_size{};

class Strings_ : public ::testing::Test {
protected:
    void TearDown() override { EXPECT_EQ(live_.delta(), 0); }
    LiveArrays live_;
};

TEST_F(Strings_, AcceptedInputFormsForAllEightOperations) {
    const ExpectedMessage null = cause("NullHyArray"), not_row = cause("CharVectorNotARow"),
                          non_scalar = cause("NonScalarValue");
    const Row rows[] = {
        {"null", value([] { return unique_hyarray_ptr(); }), null, null},
        {"row 1x5", value([] { return text(u"hello"); }), u"hello",
         Strings{{u"hello"}, scalar_size}},
        {"row 1x0", value([] {
             return chars({1, 0}, u"");
         }),
         u"", Strings{{u""}, scalar_size}},
        {"0x0", value([] {
             return chars({0, 0}, u"");
         }),
         u"", Strings{{u""}, scalar_size}},
        {"0x0x0", value([] {
             return chars({0, 0, 0}, u"");
         }),
         u"", Strings{{u""}, scalar_size}},
        {"no dims", value([] { return chars({}, u"z"); }), u"z", Strings{{u"z"}, scalar_size}},
        {"5x1", value([] {
             return chars({5, 1}, u"abcde");
         }),
         not_row, not_row},
        {"0x3", value([] {
             return chars({0, 3}, u"");
         }),
         not_row, not_row},
        {"3x0", value([] {
             return chars({3, 0}, u"");
         }),
         not_row, not_row},
        {"2x2", value([] {
             return chars({2, 2}, u"abcd");
         }),
         not_row, not_row},
        {"1x1x3", value([] {
             return chars({1, 1, 3}, u"abc");
         }),
         not_row, not_row},
        {"cell 1x1", value([] {
             return cell({1, 1}, {text(u"ab")});
         }),
         non_scalar, Strings{{u"ab"}, klf::ArraySize{1, 1}}},
        {"cell 0x0", value([] {
             return cell({0, 0}, {});
         }),
         non_scalar, Strings{{}, klf::ArraySize{0, 0}}},
        {"cell 2x3 column-major", value([] {
             return cell({2, 3}, {text(u"11"), text(u"21"), text(u"12"), text(u"22"), text(u"13"),
                                  text(u"23")});
         }),
         non_scalar, Strings{{u"11", u"21", u"12", u"22", u"13", u"23"}, klf::ArraySize{2, 3}}},
        {"cell of empty texts", value([] {
             return cell({2, 1}, {chars({0, 0}, u""), chars({1, 0}, u"")});
         }),
         non_scalar, Strings{{u"", u""}, klf::ArraySize{2, 1}}},
        {"cell, column slot", value([] {
             return cell({1, 2}, {text(u"a"), chars({2, 1}, u"bc")});
         }),
         non_scalar, not_row},
        {"cell, non-char slot before an empty one", value([] {
             return cell({1, 3}, {text(u"a"), scalar(1), nullptr});
         }),
         non_scalar, cause("CellContainsNonCharacterVector", "double")},
        {"cell, empty slot before a non-char one", value([] {
             return cell({1, 3}, {text(u"a"), nullptr, logical(true)});
         }),
         non_scalar, null},
        {"cell, cell slot", value([] {
             return cell({1, 1}, {cell({1, 1}, {text(u"a")})});
         }),
         non_scalar, cause("CellContainsNonCharacterVector", "cell")},
        {"logical, no object", value([] { return logical(true); }),
         cause("InvalidStringClass", "logical"), cause("InvalidStringClass", "logical")},
        {"object, no object", value([] { return object("StringLike"); }),
         cause("InvalidStringClass", "StringLike"), cause("InvalidStringClass", "StringLike")},
        {"served, one present", served({1, 1}, {u"x"}), u"x", Strings{{u"x"}, scalar_size}},
        {"served, one missing", served({1, 1}, {std::nullopt}), std::nullopt,
         Strings{{std::nullopt}, scalar_size}},
        {"served, zero", served({1, 0}, {}), non_scalar, Strings{{}, klf::ArraySize{1, 0}}},
        {"served, several", served({1, 2}, {u"p", u"q"}), non_scalar,
         Strings{{u"p", u"q"}, klf::ArraySize{1, 2}}},
        {"served, several with a missing one", served({3, 1}, {u"a", std::nullopt, u"c"}),
         non_scalar, Strings{{u"a", std::nullopt, u"c"}, klf::ArraySize{3, 1}}},
    };
    ASSERT_STREQ(hyGetClassName(scalar(1).get()), "double");
    Registered registered;
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        const unique_hyarray_ptr v = row.make(*registered.service);
        expect_single(v.get(), row.single);
        expect_array(v.get(), row.array);
        registered.service->forget();  // the next row's value may reuse the address
    }
    EXPECT_EQ(registered.service->alive, 0);
}

TEST_F(Strings_, WithoutAServiceOtherClassesAreRejected) {
    const unique_hyarray_ptr v = logical(false);
    expect_single(v.get(), cause("InvalidStringClass", "logical"));
    expect_array(v.get(), cause("InvalidStringClass", "logical"));
}

TEST_F(Strings_, ServiceExtractsOncePerOperationAndReadsElementsInOrder) {
    Registered r;
    TableService& s = *r.service;
    const unique_hyarray_ptr square = object("StringLike"), gap = object("StringLike");
    s.add(square.get(), {{2, 2}, {u"a", u"b", u"c", u"d"}});
    s.add(gap.get(), {{3, 1}, {u"a", std::nullopt, u"c"}});
    const long holders = r.service.use_count();  // the registry's and ours

    const std::function<void(const hyArray*)> operations[] = {
        [](auto v) { (void)klf::to_maybe_ustring(v); },
        [](auto v) { (void)klf::to_maybe_string_element(v); },
        [](auto v) { (void)klf::to_ustring_array(v); },
        [](auto v) { (void)klf::to_maybe_ustring_array(v); },
        [](auto v) { (void)klf::to_string_element_array(v); },
        [](auto v) { (void)klf::to_maybe_string_element_array(v); },
        [](auto v) { EXPECT_ANY_THROW(klf::to_ustring(v)); },
        [](auto v) { EXPECT_ANY_THROW(klf::to_string_element(v)); },
    };
    // The single-string forms never read a non-scalar value's elements; the
    // array forms read all four, in order.
    const std::vector<std::size_t> none, all{0, 1, 2, 3};
    const std::vector<std::size_t>* reads[] = {&none, &none, &all, &all, &all, &all, &none, &none};
    for (std::size_t k = 0; k < std::size(operations); ++k) {
        SCOPED_TRACE(k);
        s.extracts = 0;
        s.requested.clear();
        operations[k](square.get());
        EXPECT_EQ(s.extracts, 1);
        EXPECT_EQ(s.requested, *reads[k]);
        EXPECT_EQ(s.alive, 0);
    }
    // The service is no longer held once elements are read.
    EXPECT_EQ(s.shares_in_element, holders);

    // The ustring array forms stop at the first missing element.
    s.requested.clear();
    EXPECT_MESSAGE(klf::to_ustring_array(gap.get()),
                   hy_message("InvalidStringArray", {}, {cause("MissingElement")}));
    EXPECT_FALSE(klf::to_maybe_ustring_array(gap.get()));
    EXPECT_EQ(s.requested, (std::vector<std::size_t>{0, 1, 0, 1}));
}

TEST_F(Strings_, ServiceErrorsPassUnchangedAlsoFromMaybeForms) {
    Registered r;
    r.service->throws = true;
    const unique_hyarray_ptr v = logical(true);
    EXPECT_THROW(klf::to_maybe_ustring(v.get()), std::runtime_error);
    EXPECT_THROW(klf::to_maybe_string_element_array(v.get()), std::runtime_error);
}

}  // namespace
