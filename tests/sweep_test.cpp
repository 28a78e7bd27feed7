// Allocation-failure sweep: every public operation that creates or copies host
// arrays is run with the host's n-th allocation failing, for n = 0, 1, 2 …
// until it completes. Each failure must surface as std::bad_alloc, release
// everything the run made, and leave every input equal to an independent
// copy made before the sweep; the run that completes must give the same
// result as an unarmed run.
#include <cstdlib>
#include <functional>
#include <iostream>
#include <optional>
#include <string>
#include <typeinfo>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <hyarray/testing.hpp>
#include <kelvor/common/foundation/matrix/cells.hpp>
#include <kelvor/common/foundation/matrix/fields.hpp>
#include <kelvor/common/foundation/matrix/fingerprint.hpp>
#include <kelvor/common/foundation/matrix/interchange.hpp>
#include <kelvor/common/foundation/matrix/missing.hpp>
#include <kelvor/common/foundation/matrix/numeric.hpp>
#include <kelvor/common/foundation/matrix/references.hpp>
#include <kelvor/common/foundation/matrix/shape.hpp>
#include <kelvor/common/foundation/matrix/sizes.hpp>
#include <kelvor/common/foundation/matrix/strings.hpp>

namespace {

namespace mt = matrix::testing;
using matrix::unique_hyarray_ptr;
using Values = std::vector<unique_hyarray_ptr>;

// What a run produced: arrays (compared by fingerprint once the failure is
// disarmed) and a text for everything else.
struct Outcome {
    Values arrays;
    std::string text;
};

struct Case {
    std::string name;
    // Fresh, unshared inputs; called twice, for the inputs and their witnesses.
    std::function<Values()> inputs;
    // Arguments made before the failure is armed (shared copies to consume,
    // values to hand over); released after the run.
    std::function<Values(const Values&)> prepare;
    std::function<Outcome(const Values& in, Values& args)> run;
    bool allocates = true;
};

std::string fingerprint(const hyArray* a) {
    std::string bytes;
    std::function<void(const char*, std::size_t)> feed = [&](const char* p, std::size_t n) {
        bytes.append(p, n).push_back('|');
    };
    incorporate_data(feed, a);
    return bytes;
}

std::string digest(const Outcome& o) {
    std::string d = o.text;
    for (const auto& a : o.arrays)
        d += "#" + fingerprint(a.get());
    return d;
}

Values list(auto&&... arrays) {
    Values v;
    (v.push_back(std::move(arrays)), ...);
    return v;
}

Outcome one(unique_hyarray_ptr a) {
    return Outcome{list(std::move(a)), {}};
}

Outcome text(std::string t) {
    return Outcome{{}, std::move(t)};
}

std::string narrow(const std::u16string& s) {
    return std::string(s.begin(), s.end());
}

Values shared_copies(const Values& in) {
    Values v;
    for (const auto& a : in)
        v.push_back(matrix::detail::do_shared_copy(a.get()));
    return v;
}

// A struct with every kind of slot: numbers, text, a nested cell, an empty slot.
unique_hyarray_ptr rich_struct() {
    return mt::structure({2, 1}, {"a", "b"},
                         {mt::doubles({1, 2}, {1, 2}), mt::text(u"x"),
                          mt::cell({2, 1}, {mt::text(u"y"), mt::int8s({1, 1}, {3})}), nullptr});
}

unique_hyarray_ptr rich_cell() {
    return mt::cell({1, 3},
                    {mt::text(u"abc"), rich_struct(), mt::complex_doubles({1, 1}, {{1, 2}})});
}

unique_hyarray_ptr string_cell() {
    return mt::cell({2, 2}, {mt::text(u"a"), mt::text(u"bc"), mt::text(u""), mt::text(u"d")});
}

unique_hyarray_ptr stack_struct() {
    return mt::structure({2, 1}, {"file", "name", "line"},
                         {mt::text(u"/m/a.m"), mt::text(u"f"), mt::scalar(3), mt::text(u"/m/b.m"),
                          mt::text(u"g"), mt::scalar(1)});
}

unique_hyarray_ptr sized_object() {
    // "size" without "reshape": looked up, created and dropped on every reshape.
    if (!matrix::host::is_class_defined("sweep.SizedOnly"))
        matrix::host::define_class("sweep.SizedOnly", {}, {"size"});
    const std::size_t one[] = {1, 1};
    return matrix::host::create_object("sweep.SizedOnly", one);
}

klf::hy::Refs paren_path(const Values& in) {
    klf::HyArraySequence args;
    for (const auto& a : in)
        args.push_back(matrix::detail::do_shared_copy(a.get()));
    klf::hy::Refs path(klf::hy::DotRef(klf::TxId("model")));
    path += klf::hy::ParenRef(std::move(args));
    path += klf::hy::BraceRef(klf::HyArraySequence{});
    return path;
}

template <class Record>
std::string record_text(Record* r) {
    std::string t = std::to_string(r->n);
    if constexpr (requires(Record rec) { rec.x; }) {
        for (std::size_t k = 0; k < r->n; ++k)
            t += "," + std::to_string(static_cast<double>(r->x[k]));
        std::free(r->x);
    } else {
        for (std::size_t k = 0; k <= r->n; ++k)
            t += "," + std::to_string(r->jc[k]);
        std::free(r->jc);
        std::free(r->ir);
    }
    std::free(r);
    return t;
}

std::string pairs_text(const klf::UStringArray& a) {
    std::string t = klf::is_scalar(a.size) ? "scalar" : "array";
    for (const auto& s : a.values)
        t += ":" + narrow(s);
    return t;
}

std::string elements_text(const klf::StringElementArray& a) {
    std::string t = klf::is_scalar(a.size) ? "scalar" : "array";
    for (const auto& s : a.values)
        t += ":" + (s ? narrow(*s) : "<missing>");
    return t;
}

Values no_inputs() {
    return {};
}

std::vector<Case> cases() {
    std::vector<Case> c;
    const auto add = [&c](std::string name, std::function<Values()> inputs,
                          std::function<Outcome(const Values&, Values&)> run,
                          std::function<Values(const Values&)> prepare = {},
                          bool allocates = true) {
        c.push_back(Case{std::move(name), std::move(inputs), std::move(prepare), std::move(run),
                         allocates});
    };
    const auto rich = [] { return list(rich_cell()); };
    const auto shared = [](const Values& in) { return shared_copies(in); };

    // --- cells ---------------------------------------------------------------
    add(
        "cells", rich,
        [](const Values&, Values& args) {
            return Outcome{klf::cells(std::move(args[0])), {}};
        },
        shared);
    add("get_cell", rich, [](const Values& in, Values&) { return one(klf::get_cell(in[0], 1)); });
    add(
        "get_cell(&&)", rich,
        [](const Values&, Values& args) { return one(klf::get_cell(std::move(args[0]), 1)); },
        shared);
    add(
        "make_cell_array", rich,
        [](const Values&, Values& args) { return one(klf::make_cell_array(std::move(args))); },
        shared);
    add("CellBuilder and to_hyarray_impl", rich, [](const Values& in, Values&) {
        klf::detail::CellBuilder build(5);
        build(klf::detail::to_hyarray_impl(in[0].get()));
        build(klf::detail::to_hyarray_impl(ustring(u"text")));
        build(klf::detail::to_hyarray_impl(u"chars"));
        build(klf::detail::to_hyarray_impl(static_cast<const char16_t*>(nullptr)));
        build(klf::detail::to_hyarray_impl(std::nullopt));
        return one(std::move(build)());
    });

    // --- struct fields -------------------------------------------------------
    const auto fields_in = [] { return list(rich_struct()); };
    add(
        "set_field (new field)", fields_in,
        [](const Values&, Values& args) {
            klf::set_field(args[0].get(), 1, "c", std::move(args[1]));
            return one(std::move(args[0]));
        },
        [](const Values& in) {
            return list(matrix::detail::do_shared_copy(in[0].get()), mt::scalar(7));
        });
    add(
        "set_field_by_number", fields_in,
        [](const Values&, Values& args) {
            klf::set_field_by_number(args[0].get(), 0, 1, std::move(args[1]));
            return one(std::move(args[0]));
        },
        [](const Values& in) {
            return list(matrix::detail::do_shared_copy(in[0].get()), mt::text(u"new"));
        });
    add("create_hyarray_struct", no_inputs, [](const Values&, Values&) {
        const char* names[] = {"p", "q"};
        return one(unique_hyarray_ptr(klf::create_hyarray_struct(2, 3, 2, names)));
    });
    add(
        "get_field_values", fields_in,
        [](const Values&, Values& args) {
            Outcome o;
            for (auto& row : klf::get_field_values(args[0].get(), {"b", "a"}))
                for (auto& v : row)
                    o.arrays.push_back(std::move(v));
            return o;
        },
        shared);
    add(
        "get_field_maybe_values", fields_in,
        [](const Values&, Values& args) {
            Outcome o;
            for (auto& row : klf::get_field_maybe_values(args[0].get(), {"a", "zz", "b"}))
                for (auto& v : row) {
                    o.text += v ? "v" : "-";
                    if (v)
                        o.arrays.push_back(std::move(*v));
                }
            return o;
        },
        shared);

    // --- shape and sizes -----------------------------------------------------
    // Numbers, and a scalar object whose class is asked for its methods.
    const auto reshaped = [] {
        return list(mt::int16s({2, 3}, {1, 2, 3, 4, 5, 6}), sized_object());
    };
    using Reshape = std::function<unique_hyarray_ptr(unique_hyarray_ptr, std::size_t)>;
    const std::vector<std::pair<std::string, Reshape>> reshapes = {
        {"reshape(ArraySize)",
         [](unique_hyarray_ptr a, std::size_t n) {
             return klf::reshape(std::move(a), klf::ArraySize{n, 1});
         }},
        {"reshape(SizeVariant)",
         [](unique_hyarray_ptr a, std::size_t n) {
             return klf::reshape(std::move(a), klf::SizeVariant(klf::ArraySize{1, 1, n}));
         }},
        {"reshape(dims)",
         [](unique_hyarray_ptr a, std::size_t) {
             return klf::reshape(std::move(a),
                                 std::vector<std::optional<std::size_t>>{std::nullopt, 1});
         }},
        {"set_rows",
         [](unique_hyarray_ptr a, std::size_t) { return klf::set_rows(std::move(a), 1); }},
        {"set_cols",
         [](unique_hyarray_ptr a, std::size_t) { return klf::set_cols(std::move(a), 1); }},
        {"to_row", [](unique_hyarray_ptr a, std::size_t) { return klf::to_row(std::move(a)); }},
        {"to_column",
         [](unique_hyarray_ptr a, std::size_t) { return klf::to_column(std::move(a)); }},
        {"transpose",
         [](unique_hyarray_ptr a, std::size_t) { return klf::transpose(std::move(a)); }},
    };
    for (const auto& [name, op] : reshapes) {
        add(
            name, reshaped,
            [op = op](const Values&, Values& args) {
                return Outcome{list(op(std::move(args[0]), 6), op(std::move(args[1]), 1)), {}};
            },
            shared);
    }
    add(
        "reshape(other)", reshaped,
        [](const Values& in, Values& args) {
            return one(klf::reshape(std::move(args[1]), in[1].get()));
        },
        shared);
    add(
        "reshape(ScalarSize) of a 1x1 cell",
        [] {
            return list(mt::cell({1, 1}, {mt::text(u"only")}));
        },
        [](const Values&, Values& args) {
            return one(klf::reshape(std::move(args[0]), klf::SizeVariant(klf::ScalarSize{})));
        },
        shared);
    add("to_hyarray(ArraySize)", no_inputs, [](const Values&, Values&) {
        return one(klf::to_hyarray(klf::ArraySize{2, 0, 5}));
    });

    // --- numerics and missing values -----------------------------------------
    add("create_numeric", no_inputs, [](const Values&, Values&) {
        return one(klf::create_numeric(klf::ArraySize{2, 2}, hyUINT16_CLASS, hyCOMPLEX));
    });
    const auto sources = [] {
        return list(mt::complex_doubles({2, 1}, {{1.5, 0}, {-300, 0}}), mt::chars({1, 2}, u"az"));
    };
    for (int cls = hyLOGICAL_CLASS; cls <= hyUINT64_CLASS; ++cls) {
        for (const hyComplexity x : {hyREAL, hyCOMPLEX}) {
            const auto target = static_cast<hyClassID>(cls);
            if (!klf::is_semi_numeric(target, x))
                continue;
            add("convert_numeric to " + std::to_string(cls) + (x == hyCOMPLEX ? " complex" : ""),
                sources, [target, x](const Values& in, Values&) {
                    return Outcome{list(klf::convert_numeric(in[0].get(), target, x),
                                        klf::convert_numeric(in[1].get(), target, x)),
                                   {}};
                });
        }
    }
    add("make_missing", no_inputs, [](const Values&, Values&) { return one(klf::make_missing()); });
    add("make_nan", no_inputs, [](const Values&, Values&) { return one(klf::make_nan()); });

    // --- strings: they create nothing, but reading a shared cell unshares it --
    const auto strings_in = [] { return list(string_cell(), mt::text(u"row")); };
    using Read = std::function<std::string(const hyArray*)>;
    const std::vector<std::pair<std::string, Read>> reads = {
        {"to_ustring", [](const hyArray* a) { return narrow(klf::to_ustring(a)); }},
        {"to_maybe_ustring",
         [](const hyArray* a) {
             auto s = klf::to_maybe_ustring(a);
             return s ? narrow(*s) : "<none>";
         }},
        {"to_string_element",
         [](const hyArray* a) {
             auto s = klf::to_string_element(a);
             return s ? narrow(*s) : "<missing>";
         }},
        {"to_maybe_string_element",
         [](const hyArray* a) {
             auto s = klf::to_maybe_string_element(a);
             return s ? (*s ? narrow(**s) : "<missing>") : "<none>";
         }},
        {"to_ustring_array", [](const hyArray* a) { return pairs_text(klf::to_ustring_array(a)); }},
        {"to_maybe_ustring_array",
         [](const hyArray* a) {
             auto s = klf::to_maybe_ustring_array(a);
             return s ? pairs_text(*s) : "<none>";
         }},
        {"to_string_element_array",
         [](const hyArray* a) { return elements_text(klf::to_string_element_array(a)); }},
        {"to_maybe_string_element_array",
         [](const hyArray* a) {
             auto s = klf::to_maybe_string_element_array(a);
             return s ? elements_text(*s) : "<none>";
         }},
    };
    for (const auto& [name, read] : reads) {
        const bool array_form = name.find("array") != std::string::npos;
        add(
            name, strings_in,
            [read = read, array_form](const Values&, Values& args) {
                // The scalar forms read the text row; the array forms the shared cell too.
                return text(read(args[1].get()) + "/" + (array_form ? read(args[0].get()) : ""));
            },
            shared, array_form);
    }

    // --- references ----------------------------------------------------------
    const auto args_in = [] { return list(mt::scalar(2), rich_cell()); };
    add("HyArraySequence copy", args_in, [](const Values& in, Values&) {
        klf::HyArraySequence s;
        for (const auto& a : in)
            s.push_back(matrix::detail::do_shared_copy(a.get()));
        const klf::HyArraySequence copy(s);
        Outcome o;
        for (const hyArray* a : {copy[0], copy[1]})
            o.arrays.push_back(matrix::detail::do_shared_copy(a));
        return o;
    });
    add("Refs copy and appends of () steps", args_in, [](const Values& in, Values&) {
        const klf::hy::Refs path = paren_path(in);
        klf::hy::Refs copy = path;
        copy += path;                   // unshares: every step copied
        copy += path[1];                // one () step
        copy += klf::hy::Ref(path[1]);  // a copied step, moved in
        return one(klf::hy::HyArrayRefsConverter{}(copy));
    });
    add("reference converter to the host", args_in, [](const Values& in, Values&) {
        return one(klf::hy::HyArrayRefsConverter{}(paren_path(in)));
    });
    add(
        "reference converter from the host",
        [] {
            Values in = list(mt::scalar(2), rich_cell());
            in.push_back(klf::hy::HyArrayRefsConverter{}(paren_path(in)));
            return in;
        },
        [](const Values& in, Values&) {
            const klf::hy::Refs path = klf::hy::HyArrayRefsConverter{}(in[2]);
            return one(klf::hy::HyArrayRefsConverter{}(path));
        });

    // --- interchange ---------------------------------------------------------
    add("to_hyarray of the vector records", no_inputs, [](const Values&, Values&) {
        double reals[] = {1.5, -2};
        std::int32_t ints[] = {7, -8, 9};
        bool bools[] = {true, false};
        std::int32_t jc[] = {0, 1, 3}, ir[] = {1, 0, 2};
        const KlRealVectorTag r{2, reals};
        const KlIntVectorTag i{3, ints};
        const KlBoolVectorTag b{2, bools};
        const KlSparsityPatternTag p{2, 3, jc, ir};
        return Outcome{list(klf::to_hyarray(&r), klf::to_hyarray(&i), klf::to_hyarray(&b),
                            klf::to_hyarray(&p)),
                       {}};
    });
    add(
        "from_hyarray of the vector records",
        [] {
            return list(mt::doubles({1, 3}, {1, 2, 3}), mt::int32s({2, 1}, {4, 5}),
                        mt::logicals({1, 2}, {true, false}),
                        mt::sparse_logicals(3, 2, {{0, 0, true}, {2, 1, true}}));
        },
        [](const Values& in, Values&) {
            return text(record_text(klf::from_hyarray<KlRealVectorTag>(in[0].get())) + ";" +
                        record_text(klf::from_hyarray<KlIntVectorTag>(in[1].get())) + ";" +
                        record_text(klf::from_hyarray<KlBoolVectorTag>(in[2].get())) + ";" +
                        record_text(klf::from_hyarray<KlSparsityPatternTag>(in[3].get())));
        },
        {}, false);
    add("stack_to_hyarray", no_inputs, [](const Values&, Values&) {
        const std::vector<klf::StackFrame> frames = {
            {klf::FileName(fl::filesystem::upath(u"/m/a.m")), u"f", 2},
            {klf::FileName(fl::filesystem::upath(u"/m/b.m")), u"g", 0}};
        return one(klf::stack_to_hyarray(frames));
    });
    add(
        "hyarray_to_stack", [] { return list(stack_struct()); },
        [](const Values&, Values& args) {
            std::string t;
            for (const auto& f : klf::hyarray_to_stack(args[0].get()))
                t += narrow(static_cast<ustring>(f.file())) + ":" + narrow(f.name()) + ":" +
                     std::to_string(f.line()) + ";";
            return text(t);
        },
        shared);
    add(
        "to_upath", [] { return list(mt::text(u"/tmp/x")); },
        [](const Values& in, Values&) { return text(narrow(klf::to_upath(in[0]).native())); }, {},
        false);
    add("fl::filesystem::to_hyarray", no_inputs, [](const Values&, Values&) {
        return one(fl::filesystem::to_hyarray(fl::filesystem::upath(u"/tmp/y")));
    });

    // --- fingerprint ---------------------------------------------------------
    add(
        "incorporate_data of a function handle",
        [] {
            return list(
                mt::cell({2, 1}, {mt::function_handle(u"sin", u"/m/sin.m"), rich_struct()}));
        },
        [](const Values&, Values& args) { return text(fingerprint(args[0].get())); }, shared);
    return c;
}

struct Tally {
    std::size_t failure_points = 0;
    bool completed = false;
};

// Failed assertions so far in the running test.
int failures() {
    const ::testing::TestResult* r =
        ::testing::UnitTest::GetInstance()->current_test_info()->result();
    int n = 0;
    for (int i = 0; i < r->total_part_count(); ++i)
        n += r->GetTestPartResult(i).failed();
    return n;
}

Tally sweep(const Case& row) {
    Tally tally;
    const int failed_before = failures();
    const Values inputs = row.inputs();
    const Values witnesses = row.inputs();

    Outcome reference;
    std::string expected;
    {
        Values args = row.prepare ? row.prepare(inputs) : Values{};
        reference = row.run(inputs, args);
        expected = digest(reference);
        reference = {};
    }

    for (std::size_t n = 0; n < 10000; ++n) {
        SCOPED_TRACE("allocation " + std::to_string(n) + " fails");
        const std::size_t baseline = mt::live_arrays();
        std::optional<Outcome> result;
        {
            Values args = row.prepare ? row.prepare(inputs) : Values{};
            try {
                mt::AllocationFailure armed(n);
                result = row.run(inputs, args);
            } catch (const std::bad_alloc&) {
                ++tally.failure_points;
            } catch (const std::exception& e) {
                ADD_FAILURE() << "raised " << typeid(e).name() << ": " << e.what();
                return tally;
            } catch (...) {
                ADD_FAILURE() << "raised something that is not a std::exception";
                return tally;
            }
            mt::clear_allocation_failure();
        }
        for (std::size_t k = 0; k < inputs.size(); ++k) {
            EXPECT_TRUE(hyAreMatricesEqual(inputs[k].get(), witnesses[k].get())) << "input " << k;
        }
        if (result) {
            EXPECT_EQ(digest(*result), expected);
            result.reset();
            EXPECT_EQ(mt::live_arrays(), baseline);
            tally.completed = true;
            return tally;
        }
        EXPECT_EQ(mt::live_arrays(), baseline);
        if (failures() != failed_before)
            return tally;
    }
    return tally;
}

TEST(AllocationFailureSweep, EveryFailurePointRaisesBadAllocAndChangesNothing) {
    // Process-wide state made on first use is not part of any operation.
    (void)klf::make_missing();
    (void)klf::semi_numeric_class_name(hyDOUBLE_CLASS);
    (void)fingerprint(rich_struct().get());

    const mt::LiveArrays live;
    std::size_t operations = 0, points = 0;
    for (const Case& row : cases()) {
        SCOPED_TRACE(row.name);
        const Tally tally = sweep(row);
        EXPECT_TRUE(tally.completed);
        EXPECT_EQ(tally.failure_points > 0, row.allocates)
            << tally.failure_points << " failure points";
        std::cout << "  " << row.name << ": " << tally.failure_points << " failure points\n";
        ++operations;
        points += tally.failure_points;
    }
    EXPECT_EQ(live.delta(), 0);
    std::cout << "allocation-failure sweep: " << operations << " operations, " << points
              << " failure points\n";
}

}  // namespace
