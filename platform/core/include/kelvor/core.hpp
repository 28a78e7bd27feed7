// The family's core library: sizes, identifiers, messages and exceptions, text
// conversions, floating-point helpers, stack frames, vector records and the
// process-wide service registry.
#pragma once

#include <kelvor/core/array_size.hpp>
#include <kelvor/core/bundle.hpp>
#include <kelvor/core/exception.hpp>
#include <kelvor/core/numeric.hpp>
#include <kelvor/core/stack_frame.hpp>
#include <kelvor/core/stream_locale.hpp>
#include <kelvor/core/table_string.hpp>
#include <kelvor/core/ustring.hpp>
#include <kelvor/core/utf.hpp>
#include <kelvor/core/vector_records.hpp>
