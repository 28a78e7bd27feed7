// The fingerprint stream: the golden vectors of tests/data pin down the bytes of
// every class family and rule; here also the invariances and differences the
// format promises, and that nothing the stream creates outlives it.
#include <kelvor/common/foundation/matrix/fingerprint.hpp>

#include <bit>
#include <cmath>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <tuple>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <boost/algorithm/hex.hpp>
#include <boost/endian/buffers.hpp>

#include <hyarray/testing.hpp>
#include <kelvor/common/foundation/matrix/services.hpp>
#include <kelvor/core/bundle.hpp>
#include <value_json.hpp>

namespace {

using namespace matrix::testing;
using matrix::unique_hyarray_ptr;
using Chunks = std::vector<std::string>;
using Feed = std::function<void(const char*, std::size_t)>;

// Each consumer call as lower-case hex.
Chunks stream_of(const hyArray* a) {
    Chunks chunks;
    Feed feed = [&](const char* p, std::size_t n) {
        boost::algorithm::hex_lower(p, p + n, std::back_inserter(chunks.emplace_back()));
    };
    incorporate_data(feed, a);
    return chunks;
}

// The substitute for null handles is made on first need and kept: make it
// before any test counts live arrays.
class Fingerprint : public ::testing::Test {
protected:
    static void SetUpTestSuite() { stream_of(nullptr); }
    void TearDown() override { EXPECT_EQ(live_.delta(), 0); }
    LiveArrays live_;
};

// Feeds an exotic value's class name whole, then its element count.
struct NameAndCount : klf::IncorporateExoticDataService {
    void incorporate_data(Feed& feed, const hyArray* a) override {
        const std::string name = hyGetClassName(a);
        feed(name.data(), name.size());
        const boost::endian::big_uint64_buf_t count(matrix::number_of_elements(a));
        feed(reinterpret_cast<const char*>(count.data()), sizeof count);
    }
};

// Keeps a NameAndCount registered for its lifetime.
struct NameAndCountRegistered {
    cppmicroservices::ServiceRegistration<klf::IncorporateExoticDataService> registration =
        klf::get_global_bundle_context().RegisterService<klf::IncorporateExoticDataService>(
            std::make_shared<NameAndCount>());
    ~NameAndCountRegistered() { registration.Unregister(); }
};

TEST_F(Fingerprint, GoldenVectors) {
    std::ifstream in(KELVOR_TEST_DATA_DIR "/fingerprint-vectors.json");
    ASSERT_TRUE(in) << "cannot open the golden vectors";
    const nlohmann::json file = nlohmann::json::parse(in);
    ASSERT_EQ(file.at("format"), "kelvor-fingerprint-vectors/1");
    ASSERT_GE(file.at("vectors").size(), 40u);
    for (const nlohmann::json& vector : file.at("vectors")) {
        SCOPED_TRACE(vector.at("name").get<std::string>());
        std::optional<NameAndCountRegistered> reg;
        if (vector.contains("service")) {
            ASSERT_EQ(vector.at("service"), "name-and-count");
            reg.emplace();
        }
        const unique_hyarray_ptr value = klf::value_json::to_hyarray(vector.at("value"));
        EXPECT_EQ(stream_of(value.get()), vector.at("chunks").get<Chunks>());
    }
}

TEST_F(Fingerprint, InvariancesAndDifferences) {
    // Name, two values, whether their streams are the same.
    const std::tuple<const char*, unique_hyarray_ptr, unique_hyarray_ptr, bool> rows[] = {
        {"+0 and -0", scalar(0.0), scalar(-0.0), true},
        {"NaN payloads", doubles({1, 1}, {std::bit_cast<double>(0x7ff8000000000001ull)}),
         doubles({1, 1}, {std::bit_cast<double>(0xfff0000000000123ull)}), true},
        {"single NaN payloads", singles({1, 1}, {std::bit_cast<float>(0x7fc00001u)}),
         singles({1, 1}, {std::bit_cast<float>(0xff800002u)}), true},
        {"field creation order", structure({{"b", scalar(1)}, {"a", scalar(2)}}),
         structure({{"a", scalar(2)}, {"b", scalar(1)}}), true},
        {"names not fed", structure({{"a", scalar(1)}}), structure({{"b", scalar(1)}}), true},
        {"file of a function handle", function_handle(u"sin", u"/a/sin.m"),
         function_handle(u"sin", u"/b/c/sin.m"), true},
        {"rows of a sparse array", sparse_logicals(3, 2, {{1, 0, true}}),
         sparse_logicals(5, 2, {{1, 0, true}}), true},
        {"+Inf and -Inf", scalar(HUGE_VAL), scalar(-HUGE_VAL), false},
        {"values", scalar(1), scalar(2), false},
        {"same bits, other class", int8s({1, 1}, {1}), uint8s({1, 1}, {1}), false},
        {"shape", doubles({1, 2}, {1, 2}), doubles({2, 1}, {1, 2}), false},
        {"function name", function_handle(u"sin"), function_handle(u"cos"), false},
        {"real and complex", scalar(1), complex_doubles({1, 1}, {{1, 0}}), false},
    };
    for (const auto& [name, a, b, same] : rows) {
        SCOPED_TRACE(name);
        EXPECT_EQ(stream_of(a.get()) == stream_of(b.get()), same);
    }
}

TEST_F(Fingerprint, RegisteredExoticServiceIsFoundAtEachUse) {
    const unique_hyarray_ptr a = object("Ab", {2, 1});
    std::optional<NameAndCountRegistered> reg(std::in_place);
    EXPECT_EQ(stream_of(a.get()), (Chunks{"4162", "0000000000000002"}));
    reg.reset();
    EXPECT_EQ(stream_of(a.get()), (Chunks{"41", "62"}));
}

TEST_F(Fingerprint, SavedStructOfAFunctionHandleIsReleasedWhenTheConsumerThrows) {
    const unique_hyarray_ptr fh = function_handle(u"sin", u"/a/sin.m"),
                             nested = cell({1, 1}, {function_handle(u"f", u"/x.m")});
    for (const hyArray* value : {fh.get(), nested.get()}) {
        // Every consumer call, one after another, is the one that throws.
        for (std::size_t fail_at = 0; fail_at < stream_of(value).size(); ++fail_at) {
            SCOPED_TRACE(fail_at);
            std::size_t seen = 0;
            Feed feed = [&](const char*, std::size_t) {
                if (seen++ == fail_at) {
                    throw std::runtime_error("consumer failed");
                }
            };
            EXPECT_THROW(incorporate_data(feed, value), std::runtime_error);
        }
    }
}

TEST_F(Fingerprint, Failures) {
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
        EXPECT_THAT([&] { stream_of(a.get()); },
                    ::testing::ThrowsMessage<matrix::HostError>(expected));
    }
}

}  // namespace
