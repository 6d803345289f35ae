#include "tests/support/CallText.hpp"

#include <algorithm>
#include <iterator>

#include "platform/TextEncoding.hpp"

namespace Quarlen::Tests::CallText {

using namespace Kel_cpp;

namespace {

std::string hexNumber(std::uint32_t number, int digitCount) {
    static constexpr char digits[] = "0123456789ABCDEF";
    std::string text;
    for (int digit = digitCount - 1; digit >= 0; --digit) {
        text += digits[(number >> (4U * static_cast<unsigned>(digit))) & 0x0FU];
    }
    return text;
}

std::string codeUnits(const std::wstring& argument) {
    std::string units;
    for (const wchar_t unit : argument) {
        units += '\\' + hexNumber(static_cast<std::uint32_t>(unit), 4);
    }
    return units;
}

std::string quoted(const std::string& text) {
    std::string marked = "\"";
    for (const char each : text) {
        marked += each == '"' ? std::string("\\\"") : std::string(1, each);
    }
    return marked + '"';
}

std::string quotedWhenItHolds(const char* characters, const std::string& text) {
    return text.find_first_of(characters) == std::string::npos ? text : quoted(text);
}

std::string joined(const std::vector<std::string>& texts) {
    std::string all;
    for (const std::string& each : texts) {
        all += (&each == &texts.front() ? "" : ", ") + each;
    }
    return all;
}

template <class List, class ToText>
std::string joined(const List& elements, ToText toText) {
    std::vector<std::string> texts;
    std::transform(elements.begin(), elements.end(), std::back_inserter(texts), toText);
    return joined(texts);
}

/// As `joined`, for records of which one may be null.
template <class Element, class ToText>
std::string joinedRecords(const RecordList<Element>& records, ToText toText) {
    return joined(records, [&toText](const std::shared_ptr<Element>& each) {
        return each ? toText(*each) : std::string("null");
    });
}

std::string inputText(const ServiceInput& input) {
    const std::string name = element(input.serviceName);
    std::string text = name.front() == '"' ? name : quotedWhenItHolds(" ", name);
    for (const std::uint8_t byte : input.requestBytes) {
        text += ' ' + hexNumber(byte, 2);
    }
    if (!input.parameters.empty()) {
        text += " parameters [" + list(input.parameters) + ']';
    }
    return input.context == 0 ? text : text + " context " + std::to_string(input.context);
}

/// The caller sets the path only; the rest is for the runtime to fill.
bool hasMoreThanItsPath(const UpdatePackageInfo& package) {
    return !package.name.empty() || !package.version.empty() || !package.stagedPath.empty() ||
           package.size != 0 || !package.state.empty() || !package.message.empty();
}

} // namespace

std::string text(const std::wstring& argument) {
    const std::string converted = Platform::toUtf8(argument);
    return converted.empty() ? codeUnits(argument) : converted;
}

std::string oneOf(const std::wstring& argument) {
    return quotedWhenItHolds(",\"", text(argument));
}

std::string element(const std::wstring& argument) {
    return argument.empty() ? "\"\"" : oneOf(argument);
}

std::string list(const std::vector<std::wstring>& texts) {
    return joined(texts, element);
}

std::string list(const std::vector<std::uint64_t>& numbers) {
    return joined(numbers, [](std::uint64_t number) { return std::to_string(number); });
}

std::string list(const RecordList<ServiceInput>& inputs) {
    return joinedRecords(inputs, inputText);
}

std::string list(const RecordList<TargetFilter>& filters) {
    return joinedRecords(filters, [](const TargetFilter& filter) {
        return oneOf(filter.name) + (filter.enabled ? "=on" : "=off");
    });
}

std::string list(const RecordList<UpdatePackageInfo>& packages) {
    return joinedRecords(packages, [](const UpdatePackageInfo& package) {
        return element(package.packagePath) + (hasMoreThanItsPath(package) ? " and more" : "");
    });
}

std::string following(const std::string& arguments) {
    return arguments.empty() ? arguments : ", " + arguments;
}

std::string whenSet(const char* name, bool set) {
    return set ? std::string(", ") + name + " not empty" : std::string();
}

} // namespace Quarlen::Tests::CallText
