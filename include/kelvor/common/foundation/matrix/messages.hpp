// Catalogued messages of the matrix layer.
//
// Every rejection of bad input leaves the library as a klf::MessageException
// built from one of the message classes below: one class per key, named after
// the key, whose constructor takes the key's arguments in order and fills the
// catalog, key and argument list. Callers that want to inspect an error read
// `e.message().id()` (catalog, key, arguments) and `e.causes()`.
//
// Errors that can be decided late travel as an ExceptionFactory: a recipe that
// builds (never throws) the exception. factory_with_cause() wraps a factory so
// that the user-facing key stays the caller's while the precise reason rides
// along as a cause (msg = kelvor::common::foundation::matrix::hy):
//
//     ExceptionFactory top = [] { return make_exception(msg::StringValueExpected{}); };
//     throw factory_with_cause<msg::NullHyArray>(top)();   // StringValueExpected, caused by
//     NullHyArray
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <utility>

#include <kelvor/common/foundation/matrix/export.hpp>
#include <kelvor/core/exception.hpp>
#include <kelvor/core/ustring.hpp>

namespace klf {

/// A deferred error: calling it builds the exception to throw.
using ExceptionFactory = std::function<klf::MessageException()>;

namespace detail {

/// 8-bit text argument of a message: a std::string, or a C string where a
/// null pointer stands for the empty text (hosts report missing class names so).
class NarrowText {
public:
    NarrowText(std::string text) : text_(std::move(text)) {}
    NarrowText(const char* text) : text_(text != nullptr ? text : "") {}
    NarrowText(std::string_view text) : text_(text) {}
    std::string&& take() && { return std::move(text_); }

private:
    std::string text_;
};

}  // namespace detail

/// Wraps an identifier into the exception the library throws.
KELVOR_MATRIX_EXPORT klf::MessageException make_exception(const resource_core::BaseMsgID& id);

/// Throws the message of class Msg built from `args`.
template <class Msg, class... Args>
[[noreturn]] void throw_message(Args&&... args) {
    throw make_exception(Msg(std::forward<Args>(args)...));
}

/// A factory whose exception is `factory`'s with one more cause: the message
/// of class Cause built from `args`. The arguments are kept in their own types
/// until the exception is built (a `const char*` stays a pointer).
template <class Cause, class... Args>
ExceptionFactory factory_with_cause(ExceptionFactory factory, Args... args) {
    return [factory = std::move(factory), ... args = std::move(args)]() {
        klf::MessageException outer = factory();
        outer.addCause(make_exception(Cause(args...)));
        return outer;
    };
}

namespace detail {
/// Reports a broken internal precondition: asks the foundation's diagnostics
/// whether to stop and, if so, ends the process naming the four texts.
/// Returns only when diagnostics are switched off.
KELVOR_MATRIX_EXPORT void assertion_failed(const char* condition, const char* file, int line,
                                           const char* function);
}  // namespace detail

}  // namespace klf

/// Asserts an internal precondition with fixed report texts, so that the
/// report does not depend on how the tree is laid out or compiled.
#define KLF_ASSERT_AT(cond, text, file, line, function)                  \
    do {                                                                 \
        if (!(cond))                                                     \
            ::klf::detail::assertion_failed(text, file, line, function); \
    } while (false)

namespace kelvor::common::foundation::matrix::hy {

inline constexpr const char* hy_catalog = "kelvor:common:foundation:matrix:hy";
inline constexpr const char* ref_catalog = "kelvor:common:foundation:matrix:ref";
inline constexpr const char* getdimarg_catalog = "TARVEX:getdimarg";

/// Keys without arguments, with their catalogs.
#define KELVOR_MATRIX_NOARG_MESSAGES(X)      \
    X(InsufficientInputs, hy_catalog)        \
    X(ExcessiveInputs, hy_catalog)           \
    X(InsufficientOutputs, hy_catalog)       \
    X(ExcessiveOutputs, hy_catalog)          \
    X(ScalarValueExpected, hy_catalog)       \
    X(UnexpectedComplex, hy_catalog)         \
    X(UnexpectedSparse, hy_catalog)          \
    X(NonVectorDimension, hy_catalog)        \
    X(NegativeDimension, hy_catalog)         \
    X(NonIntegerDimension, hy_catalog)       \
    X(RealValueExpected, hy_catalog)         \
    X(NullHyArray, hy_catalog)               \
    X(CharVectorNotARow, hy_catalog)         \
    X(InvalidStringElementArray, hy_catalog) \
    X(MissingElement, hy_catalog)            \
    X(InvalidStringArray, hy_catalog)        \
    X(NonScalarValue, hy_catalog)            \
    X(InvalidScalarString, hy_catalog)       \
    X(StringValueExpected, hy_catalog)       \
    X(InvalidNullInput, hy_catalog)          \
    X(InvalidNullParam, hy_catalog)          \
    X(InvalidParamType, hy_catalog)          \
    X(InvalidParamDim, hy_catalog)           \
    X(InvalidRefStruct, ref_catalog)         \
    X(dimensionMustBePositiveInteger, getdimarg_catalog)

#define KELVOR_MATRIX_DECLARE_NOARG_MESSAGE(Name, Catalog)              \
    class KELVOR_MATRIX_EXPORT Name : public resource_core::BaseMsgID { \
    public:                                                             \
        Name();                                                         \
    };
KELVOR_MATRIX_NOARG_MESSAGES(KELVOR_MATRIX_DECLARE_NOARG_MESSAGE)
#undef KELVOR_MATRIX_DECLARE_NOARG_MESSAGE

/// The value is not of the expected class (expected class, actual class name).
class KELVOR_MATRIX_EXPORT UnexpectedClass : public resource_core::BaseMsgID {
public:
    UnexpectedClass(ustring expected, klf::detail::NarrowText actual);
};

/// A size vector of a non-numeric class (actual class name).
class KELVOR_MATRIX_EXPORT UnexpectedClassGeneric : public resource_core::BaseMsgID {
public:
    explicit UnexpectedClassGeneric(klf::detail::NarrowText actual);
};

/// Element counts differ (current size text and count, requested size text and count).
class KELVOR_MATRIX_EXPORT InconsistentSizesForReshape : public resource_core::BaseMsgID {
public:
    InconsistentSizesForReshape(ustring current, std::int64_t current_count, ustring requested,
                                std::int64_t requested_count);
};

/// A logical value was expected (actual class name).
class KELVOR_MATRIX_EXPORT LogicalValueExpected : public resource_core::BaseMsgID {
public:
    explicit LogicalValueExpected(klf::detail::NarrowText actual);
};

/// A numeric value was expected (target class name, actual class name).
class KELVOR_MATRIX_EXPORT NumericValueExpected : public resource_core::BaseMsgID {
public:
    NumericValueExpected(klf::detail::NarrowText target, klf::detail::NarrowText actual);
};

/// A cell slot holds something other than characters (the slot's class name).
class KELVOR_MATRIX_EXPORT CellContainsNonCharacterVector : public resource_core::BaseMsgID {
public:
    explicit CellContainsNonCharacterVector(klf::detail::NarrowText actual);
};

/// The value's class holds no text (its class name).
class KELVOR_MATRIX_EXPORT InvalidStringClass : public resource_core::BaseMsgID {
public:
    explicit InvalidStringClass(klf::detail::NarrowText actual);
};

}  // namespace kelvor::common::foundation::matrix::hy
