#include "xml/Parser.hpp"

#include <algorithm>
#include <cctype>
#include <expat.h>
#include <new>
#include <string>

#include "xml/Quoting.hpp"
#include "xml/SyntaxCause.hpp"

namespace Xml {
namespace {

constexpr std::string_view utf8Mark = "\xEF\xBB\xBF";

constexpr XML_Memory_Handling_Suite memoryFunctions{
    MemoryBudget::allocate, MemoryBudget::reallocate, MemoryBudget::release};

std::string lowerCase(std::string_view text) {
    std::string lower(text);
    std::transform(lower.begin(), lower.end(), lower.begin(),
                   [](unsigned char unit) { return static_cast<char>(std::tolower(unit)); });
    return lower;
}

/// VersionNum of XML 1.0, production 26.
bool isVersion(std::string_view version) {
    return version.size() > 2 && version.starts_with("1.") &&
           version.find_first_not_of("0123456789", 2) == std::string_view::npos;
}

/// By its byte order mark or by a character that has a zero for one of its two bytes (XML 1.0,
/// appendix F).
bool isUtf16(std::string_view begin) {
    return begin.starts_with("\xFE\xFF") || begin.starts_with("\xFF\xFE") ||
           begin.substr(0, 2).find('\0') != std::string_view::npos;
}

} // namespace

std::optional<std::string_view> Attributes::find(std::string_view name) const {
    for (std::size_t index = 0; index + 1 < count; index += 2) {
        if (pairs[index] == name) {
            return pairs[index + 1];
        }
    }
    return std::nullopt;
}

/// The callbacks of the library; their user data is the parser.
struct Parser::Handlers {
    static Parser& of(void* self) { return *static_cast<Parser*>(self); }

    static void XMLCALL begin(void* self, const XML_Char* element, const XML_Char** pairs) {
        of(self).guarded([&](Parser& parser) {
            const auto count =
                static_cast<std::size_t>(XML_GetSpecifiedAttributeCount(parser.parser.get()));
            parser.checkElement(element, count / 2);
            parser.open.push_back(shortened(element));
            parser.receiver.begin(element, {pairs, count});
        });
    }

    static void XMLCALL end(void* self, const XML_Char* /*element*/) {
        of(self).guarded([](Parser& parser) {
            parser.receiver.end();
            parser.open.pop_back();
        });
    }

    static void XMLCALL text(void* self, const XML_Char* part, int length) {
        of(self).guarded([&](Parser& parser) {
            parser.receiver.text({part, static_cast<std::size_t>(length)});
        });
    }

    static void XMLCALL declaration(void* self, const XML_Char* version, const XML_Char* encoding,
                                    int /*standalone*/) {
        of(self).guarded([&](Parser& parser) { parser.checkDeclaration(version, encoding); });
    }

    static void XMLCALL entity(void* self, const XML_Char* /*name*/, int /*isParameter*/,
                               const XML_Char* /*value*/, int /*length*/, const XML_Char* /*base*/,
                               const XML_Char* /*systemId*/, const XML_Char* /*publicId*/,
                               const XML_Char* /*notation*/) {
        of(self).guarded([](Parser&) { throw Fault(L"entity declarations are not supported"); });
    }

    /// Their attributes would be kept, and compared with one another one by one.
    static void XMLCALL attributeList(void* self, const XML_Char* /*element*/,
                                      const XML_Char* /*attribute*/, const XML_Char* /*type*/,
                                      const XML_Char* /*value*/, int /*isRequired*/) {
        of(self).guarded([](Parser&) { throw Fault(L"attribute declarations are not supported"); });
    }

    static void XMLCALL documentType(void* self, const XML_Char* /*name*/, const XML_Char* systemId,
                                     const XML_Char* publicId, int /*hasInternalSubset*/) {
        of(self).guarded([&](Parser&) {
            if (systemId != nullptr || publicId != nullptr) {
                throw Fault(L"a document type outside of the file is not supported");
            }
        });
    }

    static void install(XML_Parser parser, Parser* self) {
        XML_SetUserData(parser, self);
        XML_SetElementHandler(parser, begin, end);
        XML_SetCharacterDataHandler(parser, text);
        XML_SetXmlDeclHandler(parser, declaration);
        XML_SetEntityDeclHandler(parser, entity);
        XML_SetAttlistDeclHandler(parser, attributeList);
        XML_SetStartDoctypeDeclHandler(parser, documentType);
    }
};

void Parser::Release::operator()(XML_ParserStruct* parser) const noexcept {
    XML_ParserFree(parser);
}

Parser::Parser(Receiver& receiver, const Limits& limits)
    : receiver(receiver), limits(limits), budget(limits.memory) {
    const MemoryBudget::Use use(budget);
    parser.reset(XML_ParserCreate_MM(nullptr, &memoryFunctions, nullptr));
    if (!parser) {
        throw std::bad_alloc();
    }
    Handlers::install(parser.get(), this);
}

Parser::~Parser() = default;

void Parser::feed(std::string_view part) {
    if (fed == 0) {
        byteOrderMark = part.starts_with(utf8Mark);
        if (limits.onlyUtf8 && isUtf16(part)) {
            throw Fault(notUtf8);
        }
    }
    parse(part, false);
    fed += part.size();
    checkMarkupSize();
}

void Parser::finish() {
    parse({}, true);
}

/// Ignores the events that the library still reports after it has been told to stop.
template <class Function>
void Parser::guarded(Function function) noexcept {
    if (failure) {
        return;
    }
    try {
        try {
            function(*this);
            return;
        } catch (const Fault& fault) {
            throw Fault(fault.cause(), place());
        }
    } catch (...) {
        failure = std::current_exception();
    }
    XML_StopParser(parser.get(), XML_FALSE);
}

/// Counts the element, whose attributes are `attributes` in number.
void Parser::checkElement(const char* element, std::size_t attributes) {
    if (open.size() == limits.depth) {
        throw Fault(L"more than " + std::to_wstring(limits.depth) + L" elements inside each other");
    }
    if (++tags > limits.tags) {
        throw Fault(L"more than " + std::to_wstring(limits.tags) + L" elements");
    }
    if (attributes > limits.attributes) {
        throw Fault(L"more than " + std::to_wstring(limits.attributes) + L" attributes of " +
                    inQuotes(element));
    }
}

void Parser::checkDeclaration(const char* version, const char* encoding) const {
    if (version != nullptr && !isVersion(version)) {
        throw Fault(L"the declared version is none of XML 1");
    }
    if (encoding == nullptr) {
        return;
    }
    const std::string name = lowerCase(encoding);
    const bool ascii = name == "us-ascii" && !byteOrderMark;
    if ((limits.onlyUtf8 || byteOrderMark) && name != "utf-8" && !ascii) {
        throw Fault(L"the declared encoding is " + inQuotes(encoding) + L", expected UTF-8");
    }
}

void Parser::parse(std::string_view part, bool last) {
    const MemoryBudget::Use use(budget);
    const XML_Status status =
        XML_Parse(parser.get(), part.data(), static_cast<int>(part.size()), last ? 1 : 0);
    if (failure) {
        std::rethrow_exception(failure);
    }
    if (status != XML_STATUS_OK) {
        throw Fault(cause(), place());
    }
}

/// Limits incomplete markup, which the library keeps in memory and scans again with each part.
void Parser::checkMarkupSize() const {
    const auto complete = std::max<XML_Index>(XML_GetCurrentByteIndex(parser.get()), 0);
    if (fed - std::min(fed, static_cast<std::size_t>(complete)) > limits.markup) {
        throw Fault(L"a tag, comment or instruction larger than " +
                        std::to_wstring(limits.markup / 1024 / 1024) + L" MiB",
                    place());
    }
}

Place Parser::place() const {
    const auto offset = std::max<XML_Index>(XML_GetCurrentByteIndex(parser.get()), 0);
    return {static_cast<std::size_t>(offset), XML_GetCurrentLineNumber(parser.get()),
            XML_GetCurrentColumnNumber(parser.get()) + 1};
}

std::wstring Parser::cause() const {
    const XML_Error code = XML_GetErrorCode(parser.get());
    if (code == XML_ERROR_NO_MEMORY) {
        return L"it would need more than " + std::to_wstring(limits.memory / 1024 / 1024) +
               L" MiB of memory";
    }
    int offset = 0;
    int size = 0;
    const char* const known = XML_GetInputContext(parser.get(), &offset, &size);
    std::string_view text;
    if (known != nullptr && offset < size) {
        text = std::string_view(known, static_cast<std::size_t>(size))
                   .substr(static_cast<std::size_t>(offset));
    }
    return causeOf({code, text, offset > 0 && !text.empty() ? known[offset - 1] : '\0',
                    open.empty() ? std::string_view() : open.back(), limits.onlyUtf8});
}

void checkWellFormed(std::string_view text, const Limits& limits) {
    Receiver nobody;
    Parser parser(nobody, limits);
    parser.feed(text);
    parser.finish();
}

} // namespace Xml
