#include <iomanip>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include <kelvor/common/foundation/matrix/sizes.hpp>

namespace {

using klf::ArraySize;
using klf::ScalarSize;
using klf::SizeVariant;

TEST(Sizes, VariantOperationsFollowTheAlternativeHeld) {
    struct Row {
        const char* name;
        SizeVariant size;
        ustring text;
        bool scalar;
        std::size_t elements;
        ArraySize as_array;
    };
    const Row rows[] = {
        {"scalar", ScalarSize{}, u"<scalar>", true, 1, ArraySize{1, 1}},
        // Held alternative decides, not the dimensions.
        {"1x1", ArraySize{1, 1}, u"1x1", false, 1, ArraySize{1, 1}},
        {"2x3", ArraySize{2, 3}, u"2x3", false, 6, ArraySize{2, 3}},
        {"0x3", ArraySize{0, 3}, u"0x3", false, 0, ArraySize{0, 3}},
        {"2x3x4", ArraySize{2, 3, 4}, u"2x3x4", false, 24, ArraySize{2, 3, 4}},
        {"no dimensions", ArraySize{}, u"[]", false, 1, ArraySize{}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(klf::to_ustring(row.size), row.text);
        EXPECT_EQ(klf::is_scalar(row.size), row.scalar);
        EXPECT_EQ(klf::num_elements(row.size), row.elements);
        EXPECT_EQ(klf::to_array_size(row.size), row.as_array);
        std::ostringstream out;
        out << row.size;
        EXPECT_EQ(out.str(), std::string(row.text.begin(), row.text.end()));
    }
}

TEST(Sizes, ScalarTextIsOneProcessWideStringAndStreamsWithWidthAndFill) {
    const ustring& first = klf::to_ustring(ScalarSize{});
    EXPECT_EQ(first, u"<scalar>");
    EXPECT_EQ(&first, &klf::to_ustring(ScalarSize{}));
    EXPECT_EQ(ScalarSize{}, ScalarSize{});
    std::ostringstream out;
    out << std::setw(10) << std::setfill('*') << ScalarSize{} << '|' << std::left << std::setw(5)
        << SizeVariant(ArraySize{2, 3}) << '|' << std::setw(0) << ScalarSize{};
    EXPECT_EQ(out.str(), "**<scalar>|2x3**|<scalar>");
}

}  // namespace
