#pragma once

#include <cstddef>
#include <exception>
#include <memory>
#include <optional>
#include <string_view>

#include "xml/Fault.hpp"
#include "xml/MemoryBudget.hpp"

struct XML_ParserStruct;

namespace Xml {

/// The attributes of one tag, for as long as the event lasts.
class Attributes {
public:
    /// `pairs` holds `count` texts: names and values by turns.
    Attributes(const char* const* pairs, std::size_t count) : pairs(pairs), count(count) {}

    /// Nothing when the tag has no attribute of this name.
    [[nodiscard]] std::optional<std::string_view> find(std::string_view name) const;

private:
    const char* const* pairs;
    std::size_t count;
};

/// Is told of a file's contents in their order, in UTF-8. May throw; what it throws leaves the
/// parser, a `Fault` with the event's place.
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

struct Limits {
    /// Elements inside each other.
    std::size_t depth = 256;
    /// Bytes of one tag, comment or instruction, where a file is fed in parts.
    std::size_t markup = std::size_t{4} * 1024 * 1024;
    /// Bytes that the parser may hold at one time.
    std::size_t memory = std::size_t{32} * 1024 * 1024;
    /// Another encoding than UTF-8 or its part US-ASCII is refused when it is declared.
    bool onlyUtf8 = false;
};

/// Takes well-formed XML 1.0 in UTF-8, UTF-16, ISO-8859-1 and US-ASCII and refuses everything else,
/// declarations of entities and attributes and document types outside of the file. For one file, in
/// one thread.
class Parser {
public:
    explicit Parser(Receiver& receiver, const Limits& limits = {});
    Parser(const Parser&) = delete;
    Parser& operator=(const Parser&) = delete;
    ~Parser();

    /// The file's next bytes, at most 1 GiB. Throws `Fault`; then the parser is of no further use.
    void feed(std::string_view part);
    /// Throws `Fault` when the file is not complete.
    void finish();

private:
    struct Handlers;
    struct Release {
        void operator()(XML_ParserStruct* parser) const noexcept;
    };

    template <class Function>
    void guarded(Function function) noexcept;
    void checkDeclaration(const char* version, const char* encoding) const;
    void parse(std::string_view part, bool last);
    void checkMarkupSize() const;
    [[nodiscard]] Place place() const;
    [[nodiscard]] std::wstring cause(std::string_view part) const;

    Receiver& receiver;
    Limits limits;
    MemoryBudget budget;
    std::unique_ptr<XML_ParserStruct, Release> parser;
    /// What a handler threw: it must not pass through the library's own frames.
    std::exception_ptr failure;
    std::size_t depth = 0;
    std::size_t fed = 0;
    bool byteOrderMark = false;
};

/// Throws `Fault` unless the whole `text` is well-formed.
void checkWellFormed(std::string_view text, const Limits& limits);

} // namespace Xml
