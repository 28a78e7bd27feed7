// Typed dispatch by class: the view each array gets, and the three
// rejections.
#include <numeric>

#include "host_fixture.hpp"

namespace {

using namespace matrix::testing;
using host_test::host_error;
using matrix::typed_array;
using matrix::typed_sparse_matrix;
using matrix::unique_hyarray_ptr;
using DispatchTest = host_test::HostTest;

template <class T>
constexpr bool is_complex_v = false;
template <class T>
constexpr bool is_complex_v<std::complex<T>> = true;

// Takes every view; answers with the view's name and the sum of its values.
struct Describe {
    template <class T>
    std::string operator()(typed_array<T> v) const {
        return name<T>("full ") + " " + std::to_string(v.size()) + " " + total(v.begin(), v.end());
    }
    template <class T>
    std::string operator()(typed_sparse_matrix<T> s) const {
        return name<T>("sparse ") + " " + std::to_string(s.rows()) + "x" +
               std::to_string(s.cols()) + " " + total(s.values(), s.values() + s.nnz()) + " ir" +
               std::to_string(s.row_indices()[0]);
    }
    template <class T>
    static std::string name(std::string prefix) {
        return prefix + (is_complex_v<T> ? "complex" : "real");
    }
    template <class It>
    static std::string total(It b, It e) {
        double sum = 0;
        for (; b != e; ++b) {
            if constexpr (requires { b->real(); })
                sum += static_cast<double>(b->real() + b->imag());
            else
                sum += static_cast<double>(*b);
        }
        return std::to_string(static_cast<long long>(sum));
    }
};

}  // namespace

namespace {

struct ViewRow {
    const char* name;
    unique_hyarray_ptr (*make)();
    const char* expected;
};

TEST_F(DispatchTest, EachArrayGetsTheViewThatFitsIt) {
    const ViewRow rows[] = {
        {"double",
         [] {
             return doubles({2, 1}, {1, 2});
         },
         "full real 2 3"},
        {"complex single",
         [] {
             return complex_singles({1, 1}, {{1, 5}});
         },
         "full complex 1 6"},
        {"complex int8",
         [] {
             return numeric<std::complex<std::int8_t>>({1, 1}, {{2, 3}});
         },
         "full complex 1 5"},
        {"uint64",
         [] {
             return uint64s({1, 2}, {7, 8});
         },
         "full real 2 15"},
        {"logical",
         [] {
             return logicals({3, 1}, {true, false, true});
         },
         "full real 3 2"},
        {"char", [] { return text(u"AB"); }, "full real 2 131"},
        {"no dimensions", [] { return numeric<std::int32_t>({}, {-4}); }, "full real 1 -4"},
        {"sparse double",
         [] {
             return sparse_doubles(4, 2, {{3, 1, 2.0}});
         },
         "sparse real 4x2 2 ir3"},
        {"sparse logical",
         [] {
             return sparse_logicals(2, 2, {{1, 0, true}});
         },
         "sparse real 2x2 1 ir1"},
        {"sparse complex",
         [] {
             return sparse<std::complex<float>>(1, 3, {{0, 2, {1, 1}}});
         },
         "sparse complex 1x3 2 ir0"},
    };
    for (const ViewRow& row : rows) {
        SCOPED_TRACE(row.name);
        const unique_hyarray_ptr a = row.make();
        EXPECT_EQ(matrix::apply_visitor(a.get(), Describe{}), row.expected);
    }
}

struct OnlyRealDouble {
    int operator()(typed_array<double>) const { return 1; }
};
struct OnlyComplexDouble {
    int operator()(typed_array<std::complex<double>>) const { return 1; }
};
struct FullOnly {
    template <class T>
    int operator()(typed_array<T>) const {
        return 1;
    }
};

TEST_F(DispatchTest, InvalidClassIdsAreRejectedFirst) {
    for (int id : {0, 5, 19, -1, 1000}) {
        SCOPED_TRACE(id);
        const unique_hyarray_ptr a = matrix::host::create_with_class_id(
            static_cast<hyClassID>(id), std::vector<std::size_t>{1, 1});
        EXPECT_EQ(matrix::class_id(a.get()), id);
        EXPECT_EQ(host_error([&] { matrix::apply_visitor(a.get(), Describe{}); }),
                  "invalid class ID " + std::to_string(id));
    }
    EXPECT_THROW(matrix::host::create_with_class_id(hyDOUBLE_CLASS, {}), matrix::HostError);
}

TEST_F(DispatchTest, ClassesTheVisitorDoesNotTakeAreRejectedWithItsType) {
    matrix::host::define_class("dispatch.Thing", {}, {});
    const std::size_t one[] = {1, 1};
    struct Row {
        unique_hyarray_ptr a;
        const char* label;
    };
    Row rows[] = {
        {cell({1, 1}, {nullptr}), "cell (1)"},
        {structure({}), "struct (2)"},
        {function_handle(u"f"), "function_handle (16)"},
        {matrix::host::create_opaque("dispatch.Thing", one), "opaque (17)"},
        {matrix::host::create_object("dispatch.Thing", one), "object (18)"},
        {int8s({1, 1}, {1}), "int8 (8)"},
        {text(u"x"), "char (4)"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.label);
        EXPECT_EQ(
            host_error([&] { matrix::apply_visitor(row.a.get(), OnlyRealDouble{}); }),
            std::string("the visitor (anonymous namespace)::OnlyRealDouble does not take arrays "
                        "of class ") +
                row.label);
    }
}

TEST_F(DispatchTest, ShapesThatDoNotFitTheViewAreRejectedWithTheView) {
    struct Row {
        const char* name;
        unique_hyarray_ptr a;
        std::function<void(const hyArray*)> visit;
        std::string expected;
    };
    const std::string full = "matrix::typed_array<double>";
    Row rows[] = {
        {"complex as real", complex_doubles({2, 3}, {{}, {}, {}, {}, {}, {}}),
         [](const hyArray* a) { matrix::apply_visitor(a, OnlyRealDouble{}); },
         "a complex double array of size 2x3 does not fit the typed view " + full},
        {"sparse as full", sparse_doubles(3, 1, {}),
         [](const hyArray* a) { matrix::apply_visitor(a, FullOnly{}); },
         "a sparse double array of size 3x1 does not fit the typed view " + full},
        {"real as complex", doubles({}, {1}),
         [](const hyArray* a) { matrix::apply_visitor(a, OnlyComplexDouble{}); },
         "a double array of size (no dimensions) does not fit the typed view "
         "matrix::typed_array<std::complex<double> >"},
        {"sparse logical as full", sparse_logicals(1, 1, {}),
         [](const hyArray* a) { matrix::apply_visitor(a, FullOnly{}); },
         "a sparse logical array of size 1x1 does not fit the typed view "
         "matrix::typed_array<bool>"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(host_error([&] { row.visit(row.a.get()); }), row.expected);
    }
}

TEST_F(DispatchTest, TypedStorageChecksClassAndComplexity) {
    unique_hyarray_ptr a = complex_doubles({1, 1}, {{1, 2}});
    EXPECT_EQ(matrix::data_as<std::complex<double>>(a.get())[0], std::complex<double>(1, 2));
    EXPECT_EQ(host_error([&] { matrix::data_as<double>(a.get()); }),
              "typed access: a complex double array does not hold double elements");
    EXPECT_THROW(matrix::data_as<float>(static_cast<const hyArray*>(a.get())), matrix::HostError);
    EXPECT_EQ(matrix::data(cell({1, 1}, {nullptr}).get()), nullptr);
}

}  // namespace
