#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>
#include <boost/numeric/conversion/converter_policies.hpp>

#include <hyarray/testing.hpp>
#include <kelvor/common/foundation/matrix/fields.hpp>

namespace mt = matrix::testing;
namespace host = matrix::host;
using matrix::unique_hyarray_ptr;

namespace {

double first(const hyArray* a) {
    return matrix::data_as<double>(a)[0];
}

// 1x2 struct with fields a, b, c; element 1's c is never set.
unique_hyarray_ptr abc() {
    return mt::structure(
        {1, 2}, {"a", "b", "c"},
        {mt::scalar(1), mt::text(u"b0"), mt::scalar(3), mt::scalar(11), mt::text(u"b1"), nullptr});
}

// what() of the std::domain_error that f raises, or "" when it returns.
template <class F>
std::string domain_error_of(F&& f) {
    try {
        f();
    } catch (const std::domain_error& e) {
        return e.what();
    }
    return "";
}

TEST(GetField, BorrowsOrGivesNullByNameAndChecksByNumber) {
    const unique_hyarray_ptr s = abc();
    EXPECT_EQ(matrix::get_ustring(klf::get_field(s.get(), 1, "b")), u"b1");
    EXPECT_EQ(klf::get_field(s.get(), 1, "b"), hyGetField(s.get(), 1, "b"));
    EXPECT_EQ(klf::get_field(s.get(), 2, "a"), nullptr);
    EXPECT_EQ(klf::get_field(s.get(), 0, "z"), nullptr);
    EXPECT_EQ(klf::get_field(s.get(), 1, "c"), nullptr);
    EXPECT_EQ(klf::get_field(mt::scalar(1).get(), 0, "a"), nullptr);
    EXPECT_EQ(klf::get_field_number(s.get(), "c"), 2u);
    EXPECT_EQ(klf::get_field_number(s.get(), "A"), static_cast<std::size_t>(-1));
    EXPECT_EQ(klf::get_num_fields(s.get()), 3u);
    EXPECT_EQ(klf::get_num_fields(mt::scalar(1).get()), 0u);
    // By number, the index is checked first, then the field; the writer checks the same.
    EXPECT_EQ(klf::get_field_by_number(s.get(), 1, 2), nullptr);  // never set
    const struct {
        std::size_t index, field;
        std::string error;  // what() of the domain_error, "" for success
    } rows[] = {
        {0, 0, ""},
        {1, 1, ""},
        {2, 0, "invalid access to index 2 of an hyArray with 2 elements."},
        {0, 5, "invalid access to field numbered 5 of an hyArray with 3 fields."},
        {0, 3, "invalid access to field numbered 3 of an hyArray with 3 fields."},
        {7, 9, "invalid access to index 7 of an hyArray with 2 elements."},
        {SIZE_MAX, 0,
         "invalid access to index 18446744073709551615 of an hyArray with 2 elements."},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << row.index << ", " << row.field);
        // The writer keeps the value when the checks fail, and destroys a replaced one.
        const mt::LiveArrays live;
        unique_hyarray_ptr value = mt::scalar(42);
        EXPECT_EQ(domain_error_of([&] {
                      klf::set_field_by_number(s.get(), row.index, row.field, std::move(value));
                  }),
                  row.error);
        EXPECT_EQ(value == nullptr, row.error.empty());  // NOLINT(bugprone-use-after-move)
        value.reset();
        EXPECT_EQ(live.delta(), 0);
        // The reader then finds the written value, or raises the same error.
        const hyArray* read = nullptr;
        EXPECT_EQ(domain_error_of(
                      [&] { read = klf::get_field_by_number(s.get(), row.index, row.field); }),
                  row.error);
        EXPECT_EQ(read != nullptr && first(read) == 42, row.error.empty());
    }
}

TEST(SetField, ReplacesOrAddsTheField) {
    const mt::LiveArrays live;
    unique_hyarray_ptr s = abc();
    unique_hyarray_ptr value = mt::scalar(5);
    const hyArray* const raw = value.get();
    klf::set_field(s.get(), 0, "a", std::move(value));
    EXPECT_EQ(value, nullptr);  // NOLINT(bugprone-use-after-move): handed over
    EXPECT_EQ(klf::get_field(s.get(), 0, "a"), raw);
    // A shared copy of the struct keeps its value when the other one is written.
    unique_hyarray_ptr twin = matrix::detail::do_shared_copy(s.get());
    klf::set_field(s.get(), 1, "a", mt::scalar(8));
    EXPECT_EQ(first(klf::get_field(twin.get(), 1, "a")), 11);
    EXPECT_EQ(first(klf::get_field(s.get(), 1, "a")), 8);
    twin.reset();
    klf::set_field(s.get(), 1, "d", mt::scalar(6));
    EXPECT_EQ(klf::get_num_fields(s.get()), 4u);
    EXPECT_EQ(klf::get_field_number(s.get(), "d"), 3u);
    EXPECT_EQ(first(klf::get_field(s.get(), 1, "d")), 6);
    EXPECT_EQ(klf::get_field(s.get(), 0, "d"), nullptr);
    // The new field is added before the index is checked.
    unique_hyarray_ptr kept = mt::scalar(7);
    EXPECT_EQ(domain_error_of([&] { klf::set_field(s.get(), 5, "e", std::move(kept)); }),
              "invalid access to index 5 of an hyArray with 2 elements.");
    EXPECT_NE(kept, nullptr);
    EXPECT_EQ(klf::get_num_fields(s.get()), 5u);
    EXPECT_EQ(klf::get_field_number(s.get(), "e"), 4u);
    EXPECT_EQ(klf::get_field(s.get(), 0, "e"), nullptr);
    // hyAddField refuses an empty name with -1, which cannot be a size.
    EXPECT_THROW(klf::set_field(s.get(), 0, "", std::move(kept)),
                 boost::numeric::negative_overflow);
    kept.reset();
    s.reset();
    EXPECT_EQ(live.delta(), 0);
}

TEST(CreateHyarrayStruct, MakesEmptySlotsOrRefusesTooManyFields) {
    const mt::LiveArrays live;
    const char* const names[] = {"x", "y"};
    const unique_hyarray_ptr s(klf::create_hyarray_struct(2, 3, 2, names));
    EXPECT_EQ(mt::dims_of(s.get()), (std::vector<std::size_t>{2, 3}));
    EXPECT_EQ(klf::get_field_number(s.get(), "y"), 1u);  // a struct with the fields in order
    EXPECT_EQ(klf::get_field_by_number(s.get(), 5, 1), nullptr);
    // 2^31 fields do not fit the host's int: refused before the names are read.
    EXPECT_THROW((void)klf::create_hyarray_struct(1, 1, std::size_t{1} << 31, nullptr),
                 boost::numeric::positive_overflow);
    EXPECT_EQ(live.delta(), 1);
}

TEST(GetFieldValues, OneRowPerElementOneColumnPerName) {
    const unique_hyarray_ptr stack = mt::structure(
        {1, 3}, {"file", "name", "line"},
        {mt::text(u"f0"), mt::text(u"n0"), mt::scalar(10), mt::text(u"f1"), mt::text(u"n1"),
         mt::scalar(11), mt::text(u"f2"), mt::text(u"n2"), mt::scalar(12)});
    const mt::LiveArrays live;
    {
        // Shared copies of each element's value; a repeated name gives a second copy.
        const std::vector<std::string> names{"name", "line", "name"};
        const klf::FieldValues rows = klf::get_field_values(stack.get(), names);
        ASSERT_EQ(rows.size(), 3u);
        for (std::size_t i = 0; i < 3; ++i) {
            ASSERT_EQ(rows[i].size(), 3u);
            for (std::size_t k = 0; k < 3; ++k) {
                SCOPED_TRACE(testing::Message() << i << ", " << k);
                EXPECT_TRUE(host::shares_data(rows[i][k].get(),
                                              hyGetField(stack.get(), i, names[k].c_str())));
            }
            EXPECT_NE(rows[i][0].get(), rows[i][2].get());
        }
    }
    EXPECT_EQ(live.delta(), 0);
    // No names: a row per element all the same; a never-set slot gives null.
    EXPECT_EQ(klf::get_field_values(stack.get(), {}), klf::FieldValues(3));
    EXPECT_EQ(klf::get_field_values(abc().get(), {"c"})[1][0], nullptr);
    const auto sweep = mt::sweep_allocation_failures([&] {
        return klf::get_field_values(stack.get(), {"file", "line"});
    });
    EXPECT_GT(sweep.failure_points, 2u);
    EXPECT_TRUE(sweep.leaking_points.empty());
}

// Callers that only know the standard exceptions still catch it.
static_assert(std::is_base_of_v<std::domain_error, klf::GetFieldValuesFieldNotFound>);

TEST(GetFieldValues, AbsentNamesAreResolvedBeforeAnyElementOrMarkedEmpty) {
    const unique_hyarray_ptr s = abc();
    try {
        (void)klf::get_field_values(s.get(), {"a", "x", "y"});
        ADD_FAILURE() << "expected GetFieldValuesFieldNotFound";
    } catch (const klf::GetFieldValuesFieldNotFound& e) {
        EXPECT_EQ(e.name(), "x");
        EXPECT_STREQ(e.what(), "get_field_values: cannot resolve field named 'x'.");
    }
    const unique_hyarray_ptr none = mt::structure({0, 0}, {"a"}, {});
    EXPECT_TRUE(klf::get_field_values(none.get(), {"a"}).empty());
    EXPECT_THROW((void)klf::get_field_values(none.get(), {"a", "b"}),
                 klf::GetFieldValuesFieldNotFound);
    EXPECT_THROW((void)klf::get_field_values(mt::scalar(1).get(), {"a"}),
                 klf::GetFieldValuesFieldNotFound);
    // The maybe form marks absent names empty instead.
    const mt::LiveArrays live;
    {
        const klf::FieldMaybeValues rows = klf::get_field_maybe_values(s.get(), {"a", "x", "c"});
        ASSERT_EQ(rows.size(), 2u);
        for (std::size_t i = 0; i < 2; ++i) {
            SCOPED_TRACE(i);
            ASSERT_EQ(rows[i].size(), 3u);
            ASSERT_TRUE(rows[i][0].has_value());
            EXPECT_TRUE(host::shares_data(rows[i][0]->get(), hyGetField(s.get(), i, "a")));
            EXPECT_FALSE(rows[i][1].has_value());
        }
        // Present but never set: an optional holding null.
        EXPECT_EQ(rows[1][2], std::optional<unique_hyarray_ptr>(nullptr));
        EXPECT_EQ(klf::get_field_maybe_values(mt::scalar(1).get(), {"a"})[0].size(), 1u);
    }
    EXPECT_EQ(live.delta(), 0);
}

}  // namespace
