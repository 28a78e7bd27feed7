// Message classes of the matrix layer and the assertion report.
#include <kelvor/common/foundation/matrix/messages.hpp>

#include <fl/diag.hpp>

namespace klf {

klf::MessageException make_exception(const resource_core::BaseMsgID& id) {
    return klf::MessageException(klf::Message(id));
}

namespace detail {

void assertion_failed(const char* condition, const char* file, int line, const char* function) {
    if (fl_diag_terminate() != 0) {
        foundation::core::diag::terminate(condition, file, line, function);
    }
}

}  // namespace detail
}  // namespace klf

namespace kelvor::common::foundation::matrix::hy {

namespace {
using Args = std::vector<resource_core::BaseMsgID::Argument>;
}

#define KELVOR_MATRIX_DEFINE_NOARG_MESSAGE(Name, Catalog) \
    Name::Name() : resource_core::BaseMsgID(Catalog, #Name, Args{}) {}
KELVOR_MATRIX_NOARG_MESSAGES(KELVOR_MATRIX_DEFINE_NOARG_MESSAGE)
#undef KELVOR_MATRIX_DEFINE_NOARG_MESSAGE

UnexpectedClass::UnexpectedClass(ustring expected, klf::detail::NarrowText actual)
    : resource_core::BaseMsgID(hy_catalog, "UnexpectedClass",
                               Args{std::move(expected), std::move(actual).take()}) {}

UnexpectedClassGeneric::UnexpectedClassGeneric(klf::detail::NarrowText actual)
    : resource_core::BaseMsgID(hy_catalog, "UnexpectedClassGeneric",
                               Args{std::move(actual).take()}) {}

InconsistentSizesForReshape::InconsistentSizesForReshape(ustring current,
                                                         std::int64_t current_count,
                                                         ustring requested,
                                                         std::int64_t requested_count)
    : resource_core::BaseMsgID(
          hy_catalog, "InconsistentSizesForReshape",
          Args{std::move(current), current_count, std::move(requested), requested_count}) {}

LogicalValueExpected::LogicalValueExpected(klf::detail::NarrowText actual)
    : resource_core::BaseMsgID(hy_catalog, "LogicalValueExpected", Args{std::move(actual).take()}) {
}

NumericValueExpected::NumericValueExpected(klf::detail::NarrowText target,
                                           klf::detail::NarrowText actual)
    : resource_core::BaseMsgID(hy_catalog, "NumericValueExpected",
                               Args{std::move(target).take(), std::move(actual).take()}) {}

CellContainsNonCharacterVector::CellContainsNonCharacterVector(klf::detail::NarrowText actual)
    : resource_core::BaseMsgID(hy_catalog, "CellContainsNonCharacterVector",
                               Args{std::move(actual).take()}) {}

InvalidStringClass::InvalidStringClass(klf::detail::NarrowText actual)
    : resource_core::BaseMsgID(hy_catalog, "InvalidStringClass", Args{std::move(actual).take()}) {}

}  // namespace kelvor::common::foundation::matrix::hy
