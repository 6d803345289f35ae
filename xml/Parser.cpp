#include "xml/Parser.hpp"

#include <algorithm>
#include <cctype>
#include <expat.h>
#include <new>
#include <string>

#include "platform/TextEncoding.hpp"

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

/// The cause of an invalid token, from the invalid byte and the byte before it.
std::wstring causeOfToken(char before, char unit) {
    const auto value = static_cast<unsigned char>(unit);
    if (unit == '<') {
        return L"a '<' in the wrong place, expected '&lt;' in a text";
    }
    if (unit == '&' || before == '&') {
        return L"a '&' that begins no reference, expected '&amp;'";
    }
    if (value > 0 && value < 0x20 && unit != '\t' && unit != '\n' && unit != '\r') {
        return L"a control character that XML does not allow";
    }
    if (value >= 0x80) {
        return L"no text in the file's encoding, or a character that cannot stand here";
    }
    return L"not well-formed";
}

/// Shortens a name, so that messages stay readable and many open elements need little memory.
std::string shownName(std::string_view element) {
    constexpr std::size_t maxShown = 60;
    return element.size() > maxShown ? std::string(element.substr(0, maxShown)) + "..."
                                     : std::string(element);
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
            if (parser.open.size() == parser.limits.depth) {
                throw Fault(L"more than " + std::to_wstring(parser.limits.depth) +
                            L" elements inside each other");
            }
            parser.open.push_back(shownName(element));
            const auto count = XML_GetSpecifiedAttributeCount(parser.parser.get());
            parser.receiver.begin(element, {pairs, static_cast<std::size_t>(count)});
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
        throw Fault(L"the declared encoding is \"" + Quarlen::Platform::fromUtf8(encoding) +
                    L"\", expected UTF-8");
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
        throw Fault(cause(part), place());
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

std::wstring Parser::cause(std::string_view part) const {
    const XML_Error code = XML_GetErrorCode(parser.get());
    if (code == XML_ERROR_NO_MEMORY) {
        return L"it would need more than " + std::to_wstring(limits.memory / 1024 / 1024) +
               L" MiB of memory";
    }
    const std::size_t offset = place().offset;
    if (code == XML_ERROR_INVALID_TOKEN && offset > fed && offset - fed < part.size()) {
        return causeOfToken(part[offset - fed - 1], part[offset - fed]);
    }
    const std::wstring words = code == XML_ERROR_NO_ELEMENTS && !open.empty()
                                   ? L"the file ends too early"
                                   : Quarlen::Platform::fromUtf8(XML_ErrorString(code));
    const bool ofTags = code == XML_ERROR_TAG_MISMATCH || code == XML_ERROR_NO_ELEMENTS;
    return ofTags && !open.empty()
               ? words + L", expected '</" + Quarlen::Platform::fromUtf8(open.back()) + L">'"
               : words;
}

void checkWellFormed(std::string_view text, const Limits& limits) {
    Receiver nobody;
    Parser parser(nobody, limits);
    parser.feed(text);
    parser.finish();
}

} // namespace Xml
