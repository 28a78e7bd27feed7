// Reference steps and paths: hashing as Boost.ContainerHash computes it, the
// cached `.` hash, ordering and equality, the fingerprint of steps, the
// internal-error points, copy on write of paths, and the conversion to and
// from the host's subscript struct.
#include <kelvor/common/foundation/matrix/references.hpp>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <functional>
#include <sstream>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>
#include <boost/algorithm/hex.hpp>
#include <boost/container_hash/hash.hpp>

#include <hyarray/testing.hpp>
#include <message_matchers.hpp>

namespace {

using namespace klf::hy;
using namespace kelvor::testing;
using namespace matrix::testing;

std::size_t combine(std::size_t seed, std::size_t v) {
    boost::hash_combine(seed, v);
    return seed;
}
// The same mixing written out, so that a Boost with other hashing shows.
std::uint64_t mix(std::uint64_t x) {
    for (const int shift : {32, 32}) {
        x ^= x >> shift;
        x *= 0x0e9846af9b1a615dull;
    }
    return x ^ (x >> 28);
}
std::uint64_t mixed(std::uint64_t seed, std::uint64_t v) {
    return mix(seed + 0x9e3779b9u + v);
}
// Little-endian 4-byte words, then the 0-3 remaining bytes under a marker bit.
std::uint64_t name_hash(std::string_view name) {
    std::uint64_t seed = 0, word = 0;
    std::size_t i = 0;
    for (; i + 4 <= name.size(); i += 4) {
        std::memcpy(&word, name.data() + i, 4);
        seed = mixed(seed, word);
    }
    std::uint32_t tail = 1;
    for (std::size_t j = name.size(); j-- > i;) {
        tail = tail << 8 | static_cast<unsigned char>(name[j]);
    }
    return mixed(seed, tail);
}
template <class... D>
klf::HyArraySequence args(D... values) {
    klf::HyArraySequence s;
    (s.push_back(scalar(values)), ...);
    return s;
}
Ref annotated(Ref r, std::uint64_t annotation) {
    r.set_annotation(annotation);
    return r;
}
matrix::unique_hyarray_ptr subs_struct(Dims dims, std::initializer_list<Element> values) {
    return structure(dims, {"type", "subs"}, values);
}
// The fingerprint streams of the steps, each consumer call as hex and a space.
std::string hex_of(const Refs& path) {
    std::string out;
    std::function<void(const char*, std::size_t)> feed = [&](const char* p, std::size_t n) {
        out += boost::algorithm::hex_lower(std::string(p, n)) + ' ';
    };
    for (const Ref& r : path) {
        incorporate_data(feed, r);
    }
    return out;
}

class Refs_ : public ::testing::Test {
protected:
    void TearDown() override { EXPECT_EQ(live_.delta(), 0); }
    static Ref dot(std::string_view name) { return DotRef(klf::TxId(name)); }
    LiveArrays live_;
};

TEST_F(Refs_, HashesAndFingerprintsOfSteps) {
    for (const std::string name : {"a", "ab", "abc", "abcd", "abcde", "velocity_2"}) {
        SCOPED_TRACE(name);
        const std::size_t step = combine(0, boost::hash_range(name.begin(), name.end()));
        EXPECT_EQ(step, mixed(0, name_hash(name)));
        const Ref r = dot(name);
        EXPECT_EQ(r.annotation(), 0u);  // filled on first use
        EXPECT_EQ(hash_value(r), combine(2, step));
        EXPECT_EQ(r.annotation(), step);  // cached through a const reference
        EXPECT_EQ(boost::hash<Ref>()(r), combine(2, step));
    }
    // A non-zero annotation is the step hash; copies keep it, stripping clears it.
    EXPECT_EQ(hash_value(annotated(ParenRef(args(1)), 77)), combine(0, 77));
    EXPECT_EQ(hash_value(Ref(annotated(BraceRef(), 77))), combine(1, 77));
    Ref x = annotated(dot("x"), 0x1234);
    EXPECT_EQ(hash_value(x), mix(2 + 0x9e3779b9u + 0x1234));
    strip_annotation_inplace(x);
    EXPECT_EQ(hash_value(x), hash_value(dot("x")));
    // The fingerprint: the kind, then the name or the arguments; no annotation.
    EXPECT_EQ(hex_of(Refs(dot("ab")) += ParenRef()), "0000000000000002 6162 0000000000000000 ");
    EXPECT_EQ(
        hex_of(annotated(BraceRef(args(2.5)), 99)),
        "0000000000000001 00000006 00 00 0000000000000001 0000000000000001 40040000 00000000 ");
}

TEST_F(Refs_, OrderAndEquality) {
    // In order: the kinds, then `.` names by their bytes taken as signed, a prefix first.
    const Ref sorted[] = {ParenRef(), BraceRef(), dot("\x80"), dot("a"),
                          dot("ab"),  dot("abc"), dot("b")};
    for (std::size_t i = 0; i < std::size(sorted); ++i) {
        for (std::size_t j = i + 1; j < std::size(sorted); ++j) {
            SCOPED_TRACE(::testing::Message() << i << " before " << j);
            EXPECT_EQ(compare(sorted[i], sorted[j]), std::partial_ordering::less);
            EXPECT_EQ(compare(sorted[j], sorted[i]), std::partial_ordering::greater);
            EXPECT_FALSE(sorted[i] == sorted[j] || equal_ignore_annotation(sorted[i], sorted[j]));
        }
    }
    const Ref x1 = dot("x"), x2 = dot("x"), wrong = annotated(dot("x"), 5);
    EXPECT_EQ(compare(x1, wrong), std::partial_ordering::equivalent);
    EXPECT_TRUE(x1 == x2);  // which leaves both holding the step hash
    EXPECT_EQ(combine(2, x1.annotation()), hash_value(dot("x")));
    EXPECT_EQ(x2.annotation(), x1.annotation());
    EXPECT_FALSE(x1 == wrong);  // a wrong cached hash makes them differ, and stays
    EXPECT_TRUE(equal_ignore_annotation(x1, wrong));
    EXPECT_EQ(wrong.annotation(), 5u);
    // `()` and `{}` steps tell apart by differing annotations only.
    EXPECT_FALSE(annotated(ParenRef(), 1) == annotated(ParenRef(), 2));
}

// Argument sequences have no order and no hash: every path to them is an
// internal error, reported with the header's fixed place.
TEST(RefDeathTest, SequenceOrderAndHashAreInternalErrors) {
    const std::string at =
        "shouldn't get here, file toolbox/kelvor/common/foundation/matrix/ot/"
        "HyArraySequence, line ";
    const Ref p = ParenRef(args(1)), q = ParenRef(args(1));
    EXPECT_DEATH(compare(p, q), at + "107");
    EXPECT_DEATH(hash_value(p), at + "111");
    EXPECT_DEATH((void)(p == q), at + "111");
    EXPECT_DEATH(equal_ignore_annotation(Ref(BraceRef()), Ref(BraceRef())), at + "107");
    EXPECT_DEATH((void)(annotated(ParenRef(), 3) == annotated(ParenRef(), 3)), at + "107");
}

TEST_F(Refs_, PathsAreCopiedOnWriteAndGrowAllOrNothing) {
    const Refs p = Refs(dot("a")) += ParenRef(args(1, 2));
    const std::string before = hex_of(p);
    Refs q = p;
    q += BraceRef();
    EXPECT_EQ(hex_of(p), before);
    const std::string three = hex_of(q);
    q += q;
    q += q[0];  // a step of the same path
    EXPECT_EQ(hex_of(q), three + three + hex_of(dot("a")));
    // Every change unshares the block, appending nothing included.
    Refs r = p;
    r += Refs();
    EXPECT_EQ(p.steps().use_count() + r.steps().use_count(), 2u);
    EXPECT_EQ(hex_of(r), before);
    EXPECT_EQ((std::ostringstream() << Refs() << p).str(), ".a(1x1 double, 1x1 double)");
    // Growing a shared path copies its steps: when that fails, nothing changed.
    for (bool whole_path : {false, true}) {
        const SweepResult r = sweep_allocation_failures([&] {
            Refs shared = p;
            try {
                whole_path ? shared += q : shared += q[1];
            } catch (const std::bad_alloc&) {
                EXPECT_EQ(hex_of(shared), before);
                EXPECT_EQ(shared.steps().use_count(), 2u);
                throw;
            }
            return shared.size();
        });
        EXPECT_GT(r.failure_points, 2u);
        EXPECT_TRUE(r.leaking_points.empty());
    }
}

TEST_F(Refs_, ConvertsBothWaysRejectsOtherValuesAndFailsCleanly) {
    const HyArrayRefsConverter convert;
    // Written: an n×1 struct with k×1 argument cells, without annotations.
    const auto host =
        subs_struct({3, 1}, {text(u"{}"), cell({2, 1}, {scalar(1), scalar(2)}), text(u"."),
                             text(u"gain"), text(u"()"), cell({0, 1}, {})});
    const Refs path = (Refs(annotated(BraceRef(args(1, 2)), 9)) += dot("gain")) += ParenRef();
    EXPECT_TRUE(hyAreMatricesEqual(convert(path).get(), host.get()));
    const auto none = convert(Refs());  // 0×1, fields "type" then "subs"
    EXPECT_EQ(dims_of(none.get()), (std::vector<std::size_t>{0, 1}));
    ASSERT_EQ(none->get_number_of_struct_fields(), 2);
    EXPECT_STREQ(none->get_struct_field_names()[0], "type");
    EXPECT_STREQ(none->get_struct_field_names()[1], "subs");
    // Read: the same kinds, identifiers and argument values, annotations 0.
    const Refs back = convert(host);
    EXPECT_EQ(hex_of(back), hex_of(path));
    EXPECT_TRUE(std::ranges::all_of(back, [](const Ref& r) { return r.annotation() == 0; }));
    EXPECT_EQ(convert(subs_struct({0, 0}, {})).size(), 0u);
    // Other shapes of the struct and of argument cells are read too.
    const auto wide = subs_struct(
        {1, 2}, {text(u"{}"), cell({1, 2}, {scalar(1), scalar(2)}), text(u"."), text(u"gain")});
    EXPECT_EQ(hex_of(convert(wide)) + hex_of(Ref(ParenRef())), hex_of(path));
    const auto column = subs_struct(
        {2, 1}, {text(u"{}"), cell({2, 1}, {scalar(1), scalar(2)}), text(u"."), text(u"gain")});
    EXPECT_TRUE(hyAreMatricesEqual(convert(convert(wide)).get(), column.get()));
    // Failures leave no partial result and no leak.
    for (const SweepResult& r :
         {sweep_allocation_failures([&] { return convert(wide).size(); }),
          sweep_allocation_failures([&] { return convert(path) != nullptr; })}) {
        EXPECT_GT(r.failure_points, 1u);
        EXPECT_TRUE(r.leaking_points.empty());
    }
    // What is not a subscript struct is rejected.
    const ExpectedMessage bad{"kelvor:common:foundation:matrix:ref", "InvalidRefStruct", {}, {}};
    // Name, value, the rejection; those of the text and identifier readers pass unchanged.
    const std::tuple<const char*, matrix::unique_hyarray_ptr, ExpectedMessage> rows[] = {
        {"a cell", cell({1, 1}, {text(u".")}), bad},
        {"no subs field, no elements", structure({0, 0}, {"type"}, {}), bad},
        {"type ' .'", subs_struct({1, 1}, {text(u" ."), text(u"a")}), bad},
        {"type '('", subs_struct({1, 1}, {text(u"("), cell({0, 0}, {})}), bad},
        {"() no cell", subs_struct({1, 2}, {text(u"."), text(u"a"), text(u"()"), scalar(1)}), bad},
        {"not an identifier", subs_struct({1, 1}, {text(u"."), text(u"1x")}),
         ExpectedMessage{"kelvor:core:identifier", "InvalidIdentifier", {ustring(u"1x")}, {}}},
        {"type not text", subs_struct({1, 1}, {scalar(1), text(u"x")}),
         hy_message("StringValueExpected", {}, {hy_message("InvalidStringClass", {"double"})})},
    };
    for (const auto& [name, value, expected] : rows) {
        SCOPED_TRACE(name);
        EXPECT_MESSAGE(convert(value), expected);
    }
}

}  // namespace
