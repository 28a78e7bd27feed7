// Host values written as JSON, for test data and command-line tools.
//
// A value is `null` (no array: an unset cell element or field) or an object
// whose "class" is a host class name. README.md beside this file gives the
// whole format; in short:
//
//     {"class": "double", "dims": [1, 2], "values": [2.5, "-0"]}
//     {"class": "int8", "dims": [1, 1], "complex": true, "values": [3], "imag": [-2]}
//     {"class": "char", "text": "abc"}
//     {"class": "double", "sparse": true, "dims": [3, 2], "entries": [[1, 0, 4.5]]}
//     {"class": "cell", "dims": [2, 1], "elements": [{"class": "char", "text": "x"}, null]}
//     {"class": "struct", "dims": [1, 1], "fields": ["b", "a"], "elements": [[v_b, v_a]]}
//     {"class": "function_handle", "saved": {"class": "struct", …}}
//     {"class": "object", "class_name": "pkg.Model", "dims": [1, 1]}
//
//     matrix::unique_hyarray_ptr v = klf::value_json::to_hyarray(nlohmann::json::parse(text));
#pragma once

#include <stdexcept>
#include <string>

#include <nlohmann/json.hpp>

#include <hyarray/hyarray.hpp>

namespace klf::value_json {

/// A JSON text that does not describe a value; what() names the place.
class FormatError : public std::invalid_argument {
public:
    using std::invalid_argument::invalid_argument;
};

/// The host value `value` describes; null for JSON null. FormatError for
/// malformed descriptions; host errors pass unchanged.
matrix::unique_hyarray_ptr to_hyarray(const nlohmann::json& value);

}  // namespace klf::value_json
