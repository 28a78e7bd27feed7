// Catalogued messages and the family's exceptions.
//
// A failure is described by a message identifier (catalog, key, arguments);
// the user-visible text comes from the message catalog compiled into this
// library, whose texts have numbered placeholders {0}, {1}... filled from the
// arguments. An exception may carry causes: the detailed reasons behind it,
// kept as immutable copies in the order they were added.
//
//     klf::MessageException e{klf::Message(SomeMsgID(args...))};
//     e.addCause(klf::MessageException(klf::Message(InnerMsgID())));
//     e.what();   // "Outer text\n  caused by: Inner text"
//     throw e;
#pragma once

#include <cstdint>
#include <exception>
#include <memory>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include <kelvor/core/ustring.hpp>

namespace resource_core {

/// Identifies a catalogued message and carries the values of its placeholders.
/// Message classes derive from it and fill the three parts in their constructors.
class BaseMsgID {
public:
    /// A placeholder value: a signed integer, 8-bit (UTF-8) text or UTF-16 text.
    using Argument = std::variant<std::int64_t, std::string, ustring>;

    BaseMsgID() = default;
    BaseMsgID(std::string catalog, std::string key, std::vector<Argument> arguments);

    const std::string& catalog() const noexcept { return catalog_; }
    const std::string& key() const noexcept { return key_; }
    const std::vector<Argument>& arguments() const noexcept { return arguments_; }

    friend bool operator==(const BaseMsgID&, const BaseMsgID&) = default;

private:
    std::string catalog_;
    std::string key_;
    std::vector<Argument> arguments_;
};

}  // namespace resource_core

namespace klf {

/// A message ready to be shown: its identifier and the text formatted from it.
class Message {
public:
    explicit Message(const resource_core::BaseMsgID& id);

    const resource_core::BaseMsgID& id() const noexcept { return id_; }
    /// The catalog text with its placeholders filled. A key the catalog lacks
    /// gives "catalog:key", followed by " (arg, arg...)" when there are arguments.
    ustring text() const;

private:
    resource_core::BaseMsgID id_;
};

/// Base of the family's exceptions. clone() makes causes copyable by value.
class Exception : public std::exception {
public:
    virtual std::unique_ptr<Exception> clone() const = 0;
};

/// An exception that carries other exceptions as its causes.
class AttributedException : public Exception {
public:
    /// Appends a copy of `cause`.
    void addCause(const Exception& cause);
    /// The causes, in the order they were added.
    const std::vector<std::shared_ptr<const Exception>>& causes() const noexcept { return causes_; }

protected:
    /// Lets derived classes keep derived state (such as their text) current.
    virtual void causeAdded(const Exception& cause);

private:
    std::vector<std::shared_ptr<const Exception>> causes_;
};

/// The exception for bad input: a catalogued message and its causes.
class MessageException : public AttributedException {
public:
    explicit MessageException(const Message& message);

    const Message& message() const noexcept { return message_; }
    /// The message text in UTF-8, each cause's what() on a following line
    /// ("\n  caused by: ...", nested causes indented further).
    const char* what() const noexcept override { return what_.c_str(); }
    std::unique_ptr<Exception> clone() const override;

protected:
    void causeAdded(const Exception& cause) override;

private:
    Message message_;
    std::string what_;
};

/// One text of the compiled-in message catalog.
struct CatalogEntry {
    std::string catalog;
    std::string key;
    ustring text;
};

/// Every text of the catalog, in the order of the resource file.
const std::vector<CatalogEntry>& catalog_entries();

/// The catalog text of (catalog, key), or null when the catalog lacks it.
const ustring* find_catalog_text(std::string_view catalog, std::string_view key);

}  // namespace klf
