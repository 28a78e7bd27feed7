// Reference steps and paths: hashing as Boost.ContainerHash computes it, the
// cached `.` hash, ordering and equality, the fingerprint of steps, the
// internal-error points, copy on write of paths, and the conversion to and
// from the host's subscript struct.
#include <kelvor/common/foundation/matrix/references.hpp>

#include <bit>
#include <cstdio>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <boost/container_hash/hash.hpp>

#include <fl/diag.hpp>
#include <hyarray/testing.hpp>
#include <kelvor/common/foundation/matrix/fields.hpp>
#include <message_matchers.hpp>

namespace {

using namespace matrix::testing;
using klf::TxId;
using klf::hy::BraceRef;
using klf::hy::DotRef;
using klf::hy::ParenRef;
using klf::hy::Ref;
using klf::hy::Refs;
using matrix::unique_hyarray_ptr;

// The 64-bit mixing step and combine of Boost.ContainerHash 1.81, written out.
std::uint64_t mix(std::uint64_t x) {
    const std::uint64_t m = 0x0e9846af9b1a615d;
    x ^= x >> 32;
    x *= m;
    x ^= x >> 32;
    x *= m;
    x ^= x >> 28;
    return x;
}
std::uint64_t combine(std::uint64_t seed, std::uint64_t v) {
    return mix(seed + 0x9e3779b9 + v);
}

klf::HyArraySequence args(std::initializer_list<double> values) {
    klf::HyArraySequence s;
    for (double v : values) {
        s.push_back(scalar(v));
    }
    return s;
}
Ref dot(const char* name) {
    return DotRef(TxId(name));
}

std::vector<std::string> chunks_of(const Ref& r) {
    std::vector<std::string> chunks;
    std::function<void(const char*, std::size_t)> feed = [&](const char* p, std::size_t n) {
        std::string s;
        for (std::size_t i = 0; i < n; ++i) {
            char b[3];
            std::snprintf(b, sizeof b, "%02x", static_cast<unsigned char>(p[i]));
            s += b;
        }
        chunks.push_back(s);
    };
    klf::hy::incorporate_data(feed, r);
    return chunks;
}

TEST(RefHash, DotStepsHashTheirNameAsBoostDoes) {
    for (const char* name : {"a", "ab", "abc", "abcd", "abcde", "velocity_2"}) {
        SCOPED_TRACE(name);
        const std::string s(name);
        std::size_t step = 0;
        boost::hash_combine(step, boost::hash_range(s.begin(), s.end()));
        std::size_t expected = 2;
        boost::hash_combine(expected, step);
        const Ref r = dot(name);
        EXPECT_EQ(klf::hy::hash_value(r), expected);
        EXPECT_EQ(r.annotation(), step);  // cached through a const reference
        EXPECT_EQ(boost::hash<Ref>()(r), expected);
    }
    // The tail word of "abcde" carries a marker bit above its byte.
    const std::uint64_t words = combine(combine(0, 0x64636261), 0x165);
    EXPECT_EQ(dot("abcde").annotation(), 0u);
    EXPECT_EQ(klf::hy::hash_value(dot("abcde")), combine(2, combine(0, words)));
}

TEST(RefHash, AnnotationIsTheCacheAndTheIndexHash) {
    Ref r = dot("x");
    r.set_annotation(0x1234);
    EXPECT_EQ(klf::hy::hash_value(r), mix(2 + 0x9e3779b9 + 0x1234));
    klf::hy::strip_annotation_inplace(r);
    EXPECT_EQ(r.annotation(), 0u);
    EXPECT_EQ(klf::hy::hash_value(r), klf::hy::hash_value(dot("x")));
    Ref p = ParenRef(args({1}));
    p.set_annotation(77);
    EXPECT_EQ(klf::hy::hash_value(p), combine(0, 77));
    Ref b = BraceRef();
    b.set_annotation(77);
    EXPECT_EQ(klf::hy::hash_value(b), combine(1, 77));
    const Ref copy = b;
    EXPECT_EQ(copy.annotation(), 77u);
}

TEST(RefOrder, KindsThenSignedNameBytes) {
    struct Row {
        const char* name;
        Ref a, b;
        std::partial_ordering expected;
    };
    const Row rows[] = {
        {"{} before .", BraceRef(), dot("a"), std::partial_ordering::less},
        {". after ()", dot("a"), ParenRef(), std::partial_ordering::greater},
        {"() before {}", ParenRef(), BraceRef(), std::partial_ordering::less},
        {"ab < abc", dot("ab"), dot("abc"), std::partial_ordering::less},
        {"b > abc", dot("b"), dot("abc"), std::partial_ordering::greater},
        {"ab == ab", dot("ab"), dot("ab"), std::partial_ordering::equivalent},
        {"bytes are signed", dot("\x80"), dot("a"), std::partial_ordering::less},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(klf::hy::compare(row.a, row.b), row.expected);
    }
}

TEST(RefEquality, ByKindHashAndName) {
    const Ref x1 = dot("x"), x2 = dot("x");
    EXPECT_TRUE(x1 == x2);
    EXPECT_NE(x1.annotation(), 0u);
    EXPECT_EQ(x1.annotation(), x2.annotation());
    EXPECT_FALSE(dot("x") == dot("y"));
    EXPECT_FALSE(dot("x") == Ref(ParenRef()));
    Ref y = dot("x");
    y.set_annotation(5);  // a wrong cached hash makes them differ
    EXPECT_FALSE(x1 == y);
    EXPECT_TRUE(klf::hy::equal_ignore_annotation(x1, y));
    EXPECT_FALSE(klf::hy::equal_ignore_annotation(dot("x"), dot("xy")));
    EXPECT_EQ(y.annotation(), 5u);
    Ref p = ParenRef(), q = ParenRef();
    p.set_annotation(1);
    q.set_annotation(2);
    EXPECT_FALSE(p == q);
    EXPECT_FALSE(Ref(ParenRef()) == Ref(BraceRef()));
}

TEST(RefFingerprint, KindThenNameOrArguments) {
    EXPECT_EQ(chunks_of(dot("ab")), (std::vector<std::string>{"0000000000000002", "6162"}));
    EXPECT_EQ(chunks_of(ParenRef()), (std::vector<std::string>{"0000000000000000"}));
    Ref annotated = BraceRef(args({2.5}));
    annotated.set_annotation(99);
    EXPECT_EQ(
        chunks_of(annotated),
        (std::vector<std::string>{"0000000000000001", "00000006", "00", "00", "0000000000000001",
                                  "0000000000000001", "40040000", "00000000"}));
    std::function<void(const char*, std::size_t)> empty;
    EXPECT_THROW(klf::hy::incorporate_data(empty, dot("a")), std::bad_function_call);
}

// Argument sequences have no order and no hash: every path to them is an
// internal error, reported with the header's fixed place.
TEST(RefDeathTest, SequenceOrderAndHashAreInternalErrors) {
    const char* at107 =
        "shouldn't get here, file "
        "toolbox/kelvor/common/foundation/matrix/ot/HyArraySequence, line 107";
    const char* at111 =
        "shouldn't get here, file "
        "toolbox/kelvor/common/foundation/matrix/ot/HyArraySequence, line 111";
    const Ref p = ParenRef(args({1})), q = ParenRef(args({1}));
    EXPECT_DEATH(klf::hy::compare(p, q), at107);
    EXPECT_DEATH(klf::hy::hash_value(p), at111);
    EXPECT_DEATH((void)(p == q), at111);
    EXPECT_DEATH(klf::hy::equal_ignore_annotation(Ref(BraceRef()), Ref(BraceRef())), at107);
    Ref a = ParenRef(), b = ParenRef();
    a.set_annotation(3);
    b.set_annotation(3);
    EXPECT_DEATH((void)(a == b), at107);
}

TEST(RefDeathTest, WithDiagnosticsOffSequencesAreUnorderedAndUnequal) {
    foundation::core::diag::set_terminate_enabled(false);
    const Ref p = ParenRef(args({1}));
    EXPECT_EQ(klf::hy::compare(p, p), std::partial_ordering::unordered);
    EXPECT_EQ(klf::hy::hash_value(p), combine(0, 0));
    EXPECT_FALSE(p == p);
    EXPECT_FALSE(klf::hy::equal_ignore_annotation(p, p));
    foundation::core::diag::set_terminate_enabled(true);
}

TEST(Refs, CopyOnWrite) {
    const LiveArrays live;
    {
        EXPECT_EQ(Ref().id(), 0u);
        EXPECT_TRUE(Ref().get_if<ParenRef>()->args().empty());
        Refs empty;
        EXPECT_EQ(empty.size(), 0u);
        EXPECT_EQ(empty.steps().use_count(), 1u);
        Refs p(dot("a"));
        p += ParenRef(args({1, 2}));
        Refs q = p;
        EXPECT_EQ(p.steps().use_count(), 2u);
        q += BraceRef();
        EXPECT_EQ(p.size(), 2u);
        EXPECT_EQ(q.size(), 3u);
        EXPECT_EQ(p.steps().use_count(), 1u);
        EXPECT_TRUE(q[1].get_if<ParenRef>() != nullptr);
        EXPECT_NE(q[1].get_if<ParenRef>()->args()[0], p[1].get_if<ParenRef>()->args()[0]);
        q += q;
        EXPECT_EQ(q.size(), 6u);
        for (std::size_t i = 0; i < 3; ++i) {
            EXPECT_EQ(q[i + 3].id(), q[i].id());
        }
        q += q[0];  // a step of the same path
        EXPECT_EQ(q.size(), 7u);
        EXPECT_TRUE(klf::hy::equal_ignore_annotation(q[6], dot("a")));
        // Blocks are powers of two: header and slots fill them.
        const std::size_t slots = q.steps().capacity();
        EXPECT_GE(slots, 7u);
        EXPECT_LT(std::bit_ceil(24 + slots * sizeof(Ref)), 24 + (slots + 1) * sizeof(Ref));
        Refs r;
        r = q;
        swap(r, empty);
        EXPECT_EQ(empty.size(), 7u);
        EXPECT_EQ(r.size(), 0u);
        std::ostringstream os;
        EXPECT_EQ(&(os << r), &os);
        EXPECT_EQ(os.str(), "");
        os << p;
        EXPECT_EQ(os.str(), ".a(1x1 double, 1x1 double)");
    }
    EXPECT_EQ(live.delta(), 0);
}

TEST(Refs, GrowingIsAllOrNothing) {
    Refs p(dot("a"));
    p += ParenRef(args({1, 2, 3}));
    const Ref step = BraceRef(args({4}));
    const LiveArrays live;
    const SweepResult r = sweep_allocation_failures([&] {
        Refs q = p;  // shared: growing copies every step
        try {
            q += step;
        } catch (...) {
            EXPECT_EQ(q.size(), 2u);
            EXPECT_EQ(q.steps().use_count(), 2u);
            throw;
        }
        return q.size();
    });
    EXPECT_GT(r.failure_points, 2u);
    EXPECT_TRUE(r.leaking_points.empty());
    EXPECT_EQ(live.delta(), 0);
    EXPECT_EQ(p.size(), 2u);
}

// --- conversion -----------------------------------------------------------------

const kelvor::testing::ExpectedMessage invalid_ref_struct{
    "kelvor:common:foundation:matrix:ref", "InvalidRefStruct", {}, {}};

unique_hyarray_ptr subs_struct(Dims dims, std::initializer_list<Element> values) {
    return structure(dims, {"type", "subs"}, values);
}

TEST(RefsConverter, FromHostForm) {
    const klf::hy::HyArrayRefsConverter convert;
    const LiveArrays live;
    {
        const unique_hyarray_ptr s = subs_struct(
            {1, 3}, {text(u"."), text(u"a"), text(u"()"), cell({1, 2}, {scalar(1), scalar(2)}),
                     text(u"{}"), cell({0, 0}, {})});
        const Refs path = convert(s);
        ASSERT_EQ(path.size(), 3u);
        EXPECT_EQ(path[0].get_if<DotRef>()->id().view(), "a");
        EXPECT_EQ(path[0].annotation(), 0u);
        const klf::HyArraySequence& a = path[1].get_if<ParenRef>()->args();
        ASSERT_EQ(a.size(), 2u);
        EXPECT_EQ(values_of<double>(a[1]), std::vector<double>{2});
        EXPECT_TRUE(path[2].get_if<BraceRef>()->args().empty());
        EXPECT_EQ(convert(subs_struct({0, 0}, {})).size(), 0u);
    }
    EXPECT_EQ(live.delta(), 0);
}

TEST(RefsConverter, RejectsWhatIsNotASubscriptStruct) {
    const klf::hy::HyArrayRefsConverter convert;
    struct Row {
        const char* name;
        unique_hyarray_ptr value;
    };
    const Row rows[] = {
        {"a cell", cell({1, 1}, {text(u".")})},
        {"no subs field, no elements", structure({0, 0}, {"type"}, {})},
        {"type ' .'", subs_struct({1, 1}, {text(u" ."), text(u"a")})},
        {"type '('", subs_struct({1, 1}, {text(u"("), cell({0, 0}, {})})},
        {"arguments not a cell",
         subs_struct({1, 2}, {text(u"."), text(u"a"), text(u"()"), scalar(1)})},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        const LiveArrays live;
        EXPECT_MESSAGE(convert(row.value), invalid_ref_struct);
        EXPECT_EQ(live.delta(), 0);
    }
    try {  // failures of the text and identifier readers pass unchanged
        convert(subs_struct({1, 1}, {text(u"."), text(u"1x")}));
        ADD_FAILURE();
    } catch (const klf::MessageException& e) {
        EXPECT_EQ(e.message().id().key(), "InvalidIdentifier");
    }
    try {
        convert(subs_struct({1, 1}, {scalar(1), text(u"x")}));
        ADD_FAILURE();
    } catch (const klf::MessageException& e) {
        EXPECT_EQ(e.message().id().key(), "StringValueExpected");
    }
}

TEST(RefsConverter, ToHostFormAndBack) {
    const klf::hy::HyArrayRefsConverter convert;
    const LiveArrays live;
    {
        const unique_hyarray_ptr empty = convert(Refs());
        EXPECT_EQ(dims_of(empty.get()), (std::vector<std::size_t>{0, 1}));
        EXPECT_EQ(klf::get_num_fields(empty.get()), 2u);
        EXPECT_STREQ(empty->get_struct_field_names()[0], "type");
        EXPECT_STREQ(empty->get_struct_field_names()[1], "subs");

        const unique_hyarray_ptr host =
            subs_struct({1, 3}, {text(u"{}"), cell({1, 2}, {scalar(1), text(u"k")}), text(u"."),
                                 text(u"gain"), text(u"()"), cell({0, 0}, {})});
        Refs path = convert(host);
        Ref annotated = path[1];
        annotated.set_annotation(9);  // annotations are not part of the host form
        path += annotated;
        const unique_hyarray_ptr written = convert(path);
        EXPECT_EQ(dims_of(written.get()), (std::vector<std::size_t>{4, 1}));
        const hyArray* args = hyGetField(written.get(), 0, "subs");
        EXPECT_EQ(dims_of(args), (std::vector<std::size_t>{2, 1}));
        EXPECT_EQ(values_of<double>(hyGetCell(args, 0)), std::vector<double>{1});
        EXPECT_EQ(matrix::get_ustring(hyGetCell(args, 1)), u"k");
        EXPECT_EQ(matrix::get_ustring(hyGetField(written.get(), 1, "type")), u".");
        EXPECT_EQ(matrix::get_ustring(hyGetField(written.get(), 1, "subs")), u"gain");
        EXPECT_EQ(dims_of(hyGetField(written.get(), 2, "subs")), (std::vector<std::size_t>{0, 1}));

        const Refs back = convert(written);
        ASSERT_EQ(back.size(), 4u);
        for (std::size_t i = 0; i < 4; ++i) {
            SCOPED_TRACE(i);
            EXPECT_EQ(back[i].id(), path[i].id());
            EXPECT_EQ(back[i].annotation(), 0u);
        }
        EXPECT_TRUE(back[1] == path[1]);
        EXPECT_TRUE(hyAreMatricesEqual(back[0].get_if<BraceRef>()->args()[1],
                                       path[0].get_if<BraceRef>()->args()[1]));
    }
    EXPECT_EQ(live.delta(), 0);
}

TEST(RefsConverter, FailuresLeaveNothingBehind) {
    const klf::hy::HyArrayRefsConverter convert;
    const unique_hyarray_ptr host = subs_struct(
        {2, 1}, {text(u"()"), cell({1, 2}, {scalar(1), scalar(2)}), text(u"."), text(u"x")});
    const Refs path = convert(host);
    for (auto op : {std::function<std::size_t()>([&] { return convert(host).size(); }),
                    std::function<std::size_t()>([&] { return convert(path) ? 1u : 0u; })}) {
        const LiveArrays live;
        const SweepResult r = sweep_allocation_failures(op);
        EXPECT_GT(r.failure_points, 0u);
        EXPECT_TRUE(r.leaking_points.empty());
        EXPECT_EQ(live.delta(), 0);
    }
}

}  // namespace
