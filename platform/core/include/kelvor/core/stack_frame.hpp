// Call-stack frames of the family: the file, the function or script name and
// the line (counted from 0) of each level of a call stack.
//
//     klf::StackFrame f(klf::FileName(fl::filesystem::upath(u"/src/model.m")), u"step", 11);
//     ustring file = f.file();   // u"/src/model.m"
#pragma once

#include <cstddef>
#include <utility>

#include <fl/filesystem/path.hpp>
#include <kelvor/core/ustring.hpp>

namespace klf {

/// The file of a frame. Holds the path as given; its text is the path's
/// stored (native) text.
class FileName {
public:
    FileName() = default;
    explicit FileName(fl::filesystem::upath path) : path_(std::move(path)) {}

    const fl::filesystem::upath& path() const noexcept { return path_; }
    operator ustring() const { return path_.native(); }

    friend bool operator==(const FileName&, const FileName&) = default;

private:
    fl::filesystem::upath path_;
};

class StackFrame {
public:
    StackFrame(const FileName& file, const ustring& name, std::size_t line)
        : file_(file), name_(name), line_(line) {}

    const FileName& file() const noexcept { return file_; }
    const ustring& name() const noexcept { return name_; }
    /// Line number counted from 0.
    std::size_t line() const noexcept { return line_; }

    friend bool operator==(const StackFrame&, const StackFrame&) = default;

private:
    FileName file_;
    ustring name_;
    std::size_t line_;
};

}  // namespace klf
