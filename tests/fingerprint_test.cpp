// The fingerprint stream, call for call: hand-written streams per rule, the
// invariances and differences the format promises, the golden vectors of
// tests/data, and that nothing the stream creates outlives it.
#include <kelvor/common/foundation/matrix/fingerprint.hpp>

#include <cstdio>
#include <fstream>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <hyarray/testing.hpp>
#include <kelvor/common/foundation/matrix/services.hpp>
#include <kelvor/core/bundle.hpp>
#include <value_json.hpp>

namespace {

using namespace matrix::testing;
using matrix::unique_hyarray_ptr;
using Chunks = std::vector<std::string>;
using Feed = std::function<void(const char*, std::size_t)>;

std::string hex(const char* p, std::size_t n) {
    std::string s;
    for (std::size_t i = 0; i < n; ++i) {
        char b[3];
        std::snprintf(b, sizeof b, "%02x", static_cast<unsigned char>(p[i]));
        s += b;
    }
    return s;
}

Chunks stream_of(const hyArray* a) {
    Chunks chunks;
    Feed feed = [&](const char* p, std::size_t n) { chunks.push_back(hex(p, n)); };
    incorporate_data(feed, a);
    return chunks;
}

Chunks concat(std::initializer_list<Chunks> parts) {
    Chunks all;
    for (const Chunks& p : parts) {
        all.insert(all.end(), p.begin(), p.end());
    }
    return all;
}

const Chunks one_by_one = {"0000000000000001", "0000000000000001"};
Chunks header(const char* cls, bool sparse = false, bool complex = false) {
    return {cls, sparse ? "01" : "00", complex ? "01" : "00"};
}

// The substitute for null handles is made on first need and kept; make it
// before any test counts live arrays.
class Fingerprint : public ::testing::Test {
protected:
    static void SetUpTestSuite() { stream_of(nullptr); }
};

// Feeds an exotic value's class name whole, then its element count.
class NameAndCount : public klf::IncorporateExoticDataService {
public:
    void incorporate_data(Feed& feed, const hyArray* a) override {
        const std::string name = hyGetClassName(a);
        feed(name.data(), name.size());
        const std::size_t n = matrix::number_of_elements(a);
        char count[8];
        for (int i = 0; i < 8; ++i) {
            count[i] = static_cast<char>(n >> (8 * (7 - i)));
        }
        feed(count, 8);
    }
};

TEST_F(Fingerprint, StreamsOfEachRule) {
    struct Row {
        const char* name;
        std::function<unique_hyarray_ptr()> make;
        Chunks expected;
    };
    const Row rows[] = {
        {"double 2.5", [] { return scalar(2.5); },
         concat({header("00000006"), one_by_one, {"40040000", "00000000"}})},
        {"char A", [] { return text(u"A"); }, concat({header("00000004"), one_by_one, {"0041"}})},
        {"int16 2x3 column-major",
         [] {
             return int16s({2, 3}, {1, 2, 3, 4, 5, -1});
         },
         concat({header("0000000a"),
                 {"0000000000000002", "0000000000000003", "0001", "0002", "0003", "0004", "0005",
                  "ffff"}})},
        {"complex int8 3-2i",
         [] {
             return numeric<std::complex<std::int8_t>>({1, 1}, {{3, -2}});
         },
         concat({header("00000008", false, true), one_by_one, {"03", "fe"}})},
        {"single -1 as halves",
         [] {
             return singles({1, 1}, {-1.0f});
         },
         concat({header("00000007"), one_by_one, {"bf80", "0000"}})},
        {"uint64 max",
         [] {
             return uint64s({1, 1}, {~0ull});
         },
         concat({header("0000000f"), one_by_one, {"ffffffffffffffff"}})},
        {"logical",
         [] {
             return logicals({1, 2}, {true, false});
         },
         concat({header("00000003"), {"0000000000000001", "0000000000000002", "01", "00"}})},
        {"sparse logical: N, starts, rows, values",
         [] {
             return sparse_logicals(3, 2, {{1, 0, true}});
         },
         concat({header("00000003", true),
                 {"0000000000000002", "0000000000000000", "0000000000000001", "0000000000000001",
                  "0000000000000001", "01"}})},
        {"0x0 struct: dimensions only",
         [] {
             return structure({0, 0}, {"a"}, {});
         },
         {"0000000000000000", "0000000000000000"}},
        {"0x0 cell: dimensions only",
         [] {
             return cell({0, 0}, {});
         },
         {"0000000000000000", "0000000000000000"}},
        {"null cell element as 0x0 double",
         [] {
             return cell({1, 1}, {nullptr});
         },
         concat({one_by_one, header("00000006"), {"0000000000000000", "0000000000000000"}})},
        {"object, default service: name bytes", [] { return object("Ab"); }, {"41", "62"}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        const LiveArrays live;
        EXPECT_EQ(stream_of(row.make().get()), row.expected);
        EXPECT_EQ(live.delta(), 0);
    }
}

TEST_F(Fingerprint, SameStreamForEquivalentValues) {
    struct Row {
        const char* name;
        unique_hyarray_ptr a, b;
    };
    const Row rows[] = {
        {"+0 and -0", scalar(0.0), scalar(-0.0)},
        {"NaN payloads", doubles({1, 1}, {std::bit_cast<double>(0x7ff8000000000001ull)}),
         doubles({1, 1}, {std::bit_cast<double>(0xfff0000000000123ull)})},
        {"single NaN payloads", singles({1, 1}, {std::bit_cast<float>(0x7fc00001u)}),
         singles({1, 1}, {std::bit_cast<float>(0xff800002u)})},
        {"field creation order", structure({{"b", scalar(1)}, {"a", scalar(2)}}),
         structure({{"a", scalar(2)}, {"b", scalar(1)}})},
        {"field names are not fed", structure({{"a", scalar(1)}}), structure({{"b", scalar(1)}})},
        {"file of a function handle", function_handle(u"sin", u"/a/sin.m"),
         function_handle(u"sin", u"/b/c/sin.m")},
        {"rows of a sparse array", sparse_logicals(3, 2, {{1, 0, true}}),
         sparse_logicals(5, 2, {{1, 0, true}})},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(stream_of(row.a.get()), stream_of(row.b.get()));
    }
}

TEST_F(Fingerprint, DifferentStreamsForDifferentValues) {
    struct Row {
        const char* name;
        unique_hyarray_ptr a, b;
    };
    const Row rows[] = {
        {"+Inf and -Inf", scalar(HUGE_VAL), scalar(-HUGE_VAL)},
        {"values", scalar(1), scalar(2)},
        {"same bits, other class", int8s({1, 1}, {1}), uint8s({1, 1}, {1})},
        {"shape", doubles({1, 2}, {1, 2}), doubles({2, 1}, {1, 2})},
        {"function name", function_handle(u"sin"), function_handle(u"cos")},
        {"real and complex", scalar(1), complex_doubles({1, 1}, {{1, 0}})},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_NE(stream_of(row.a.get()), stream_of(row.b.get()));
    }
}

TEST_F(Fingerprint, GoldenVectors) {
    std::ifstream in(KELVOR_TEST_DATA_DIR "/fingerprint-vectors.json");
    ASSERT_TRUE(in) << "cannot open the golden vectors";
    const nlohmann::json file = nlohmann::json::parse(in);
    ASSERT_EQ(file.at("format"), "kelvor-fingerprint-vectors/1");
    ASSERT_GE(file.at("vectors").size(), 40u);
    for (const nlohmann::json& vector : file.at("vectors")) {
        SCOPED_TRACE(vector.at("name").get<std::string>());
        std::optional<cppmicroservices::ServiceRegistration<klf::IncorporateExoticDataService>> reg;
        if (vector.contains("service")) {
            ASSERT_EQ(vector.at("service"), "name-and-count");
            reg =
                klf::get_global_bundle_context().RegisterService<klf::IncorporateExoticDataService>(
                    std::make_shared<NameAndCount>());
        }
        const LiveArrays live;
        {
            const unique_hyarray_ptr value = klf::value_json::to_hyarray(vector.at("value"));
            EXPECT_EQ(stream_of(value.get()), vector.at("chunks").get<Chunks>());
        }
        EXPECT_EQ(live.delta(), 0);
        if (reg) {
            reg->Unregister();
        }
    }
}

TEST_F(Fingerprint, RegisteredExoticServiceIsFoundAtEachUse) {
    const unique_hyarray_ptr a = object("Ab", {2, 1});
    auto reg = klf::get_global_bundle_context().RegisterService<klf::IncorporateExoticDataService>(
        std::make_shared<NameAndCount>());
    EXPECT_EQ(stream_of(a.get()), (Chunks{"4162", "0000000000000002"}));
    reg.Unregister();
    EXPECT_EQ(stream_of(a.get()), (Chunks{"41", "62"}));
}

TEST_F(Fingerprint, SavedStructOfAFunctionHandleIsReleasedOnEveryPath) {
    const unique_hyarray_ptr fh = function_handle(u"sin", u"/a/sin.m");
    const unique_hyarray_ptr nested = cell({1, 1}, {function_handle(u"f", u"/x.m")});
    for (const hyArray* value : {fh.get(), nested.get()}) {
        const std::size_t calls = stream_of(value).size();
        ASSERT_GT(calls, 0u);
        for (std::size_t fail_at = 0; fail_at < calls; ++fail_at) {
            SCOPED_TRACE(fail_at);
            const LiveArrays live;
            std::size_t seen = 0;
            Feed feed = [&](const char*, std::size_t) {
                if (seen++ == fail_at) {
                    throw std::runtime_error("consumer failed");
                }
            };
            EXPECT_THROW(incorporate_data(feed, value), std::runtime_error);
            EXPECT_EQ(live.delta(), 0);
        }
    }
    // A saved form without a "function_handle" field feeds nothing.
    const unique_hyarray_ptr bare =
        matrix::host::create_function_handle(structure({{"other", scalar(1)}}));
    const LiveArrays live;
    EXPECT_TRUE(stream_of(bare.get()).empty());
    EXPECT_EQ(live.delta(), 0);
}

TEST_F(Fingerprint, Failures) {
    const LiveArrays live;
    Feed empty;
    EXPECT_THROW(incorporate_data(empty, scalar(1).get()), std::bad_function_call);
    EXPECT_THROW(incorporate_data(empty, nullptr), std::bad_function_call);
    // Classes without a stream raise the host's own rejection.
    for (const hyClassID cls :
         {hyUNKNOWN_CLASS, hyVOID_CLASS, static_cast<hyClassID>(19), static_cast<hyClassID>(-1)}) {
        SCOPED_TRACE(static_cast<int>(cls));
        std::string expected;
        try {
            matrix::detail::rejectInvalidClassId(cls);
        } catch (const matrix::HostError& e) {
            expected = e.what();
        }
        const unique_hyarray_ptr a =
            matrix::host::create_with_class_id(cls, std::vector<std::size_t>{1, 1});
        try {
            stream_of(a.get());
            ADD_FAILURE() << "no rejection";
        } catch (const matrix::HostError& e) {
            EXPECT_EQ(e.what(), expected);
        }
    }
    EXPECT_EQ(live.delta(), 0);
}

}  // namespace
