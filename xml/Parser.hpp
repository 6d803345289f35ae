#pragma once

#include <cstddef>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "xml/Fault.hpp"
#include "xml/Limits.hpp"
#include "xml/MemoryBudget.hpp"

struct XML_ParserStruct;

namespace Xml {

/// The attributes of one tag; valid during the event only.
class Attributes {
public:
    /// `pairs` holds `count` texts: names and values in alternation.
    Attributes(const char* const* pairs, std::size_t count) : pairs(pairs), count(count) {}

    /// Nothing when the tag has no attribute of this name.
    [[nodiscard]] std::optional<std::string_view> find(std::string_view name) const;
    [[nodiscard]] std::size_t size() const { return count / 2; }
    /// Name and value, `index` below `size`.
    [[nodiscard]] std::pair<std::string_view, std::string_view> at(std::size_t index) const {
        return {pairs[2 * index], pairs[2 * index + 1]};
    }

private:
    const char* const* pairs;
    std::size_t count;
};

/// Receives the contents of a file as events in document order, in UTF-8. Its exceptions leave the
/// parser, a `Fault` with the place of the event.
class Receiver {
public:
    Receiver() = default;
    Receiver(const Receiver&) = delete;
    Receiver& operator=(const Receiver&) = delete;
    virtual ~Receiver() = default;

    virtual void begin(std::string_view /*element*/, const Attributes& /*attributes*/) {}
    virtual void end() {}
    /// Part of the innermost element's text; one text may come in any number of parts.
    virtual void text(std::string_view /*part*/) {}
};

/// A streaming XML parser: the caller feeds a file in parts, and the parser calls the `Receiver` on
/// the same thread for each tag and text. It accepts well-formed XML 1.0 in UTF-8, UTF-16,
/// ISO-8859-1 and US-ASCII and refuses declarations of entities and attributes and external
/// document types. `Limits` and a `MemoryBudget` bound its memory. A parser is used for one file
/// and by one thread; the receiver must outlive it.
class Parser {
public:
    Parser(Receiver& receiver, const Limits& limits);
    Parser(const Parser&) = delete;
    Parser& operator=(const Parser&) = delete;
    ~Parser();

    /// Parses the next bytes of the file, at most 1 GiB. After a thrown `Fault` the parser must not
    /// be used.
    void feed(std::string_view part);
    /// Throws `Fault` when the file is not complete.
    void finish();
    /// Of the event that the receiver is being told of.
    [[nodiscard]] Place place() const;

private:
    struct Handlers;
    struct Release {
        void operator()(XML_ParserStruct* parser) const noexcept;
    };

    template <class Function>
    void guarded(Function function) noexcept;
    void checkElement(const char* element, std::size_t attributes);
    void checkDeclaration(const char* version, const char* encoding) const;
    void parse(std::string_view part, bool last);
    void checkMarkupSize() const;
    [[nodiscard]] std::wstring cause() const;

    Receiver& receiver;
    Limits limits;
    MemoryBudget budget;
    std::unique_ptr<XML_ParserStruct, Release> parser;
    /// The exception of a handler, which must not pass through the frames of the library.
    std::exception_ptr failure;
    /// Names of the elements that are open, each cut to what a message shows.
    std::vector<std::string> open;
    std::size_t fed = 0;
    std::size_t tags = 0;
    bool byteOrderMark = false;
};

/// Throws `Fault` unless the whole `text` is well-formed.
void checkWellFormed(std::string_view text, const Limits& limits);

} // namespace Xml
