#include "kel_server/Addresses.hpp"

#include <algorithm>
#include <cwctype>
#include <limits>
#include <system_error>

#include "platform/SystemError.hpp"
#include "platform/TextEncoding.hpp"
#include "std_util/StringUtils.hpp"

namespace Quarlen {

namespace {

constexpr std::wstring_view brokerUrlPlaceholder = L"$$BROKERURL$$";
constexpr std::wstring_view hostNamePlaceholder = L"$$HOSTNAME$$";

bool isUrl(const std::wstring& address) {
    return address.starts_with(L"http://") || address.starts_with(L"https://");
}

bool isDigit(wchar_t character) {
    return character >= L'0' && character <= L'9';
}

/// Stops at the first character that is no digit. A value beyond `limit` gives `limit`.
std::int64_t digitsValue(std::wstring_view digits, std::int64_t limit) {
    std::int64_t value = 0;
    for (const wchar_t character : digits) {
        if (!isDigit(character)) {
            break;
        }
        value = std::min(limit, value * 10 + (character - L'0'));
    }
    return value;
}

std::wstring readBrokerUrlFile(const std::wstring& path, const FileReader& readFile) {
    try {
        return Platform::fromUtf8(readFile(path));
    } catch (const std::system_error& error) {
        throw Kel_cpp::KelApiException(L"Broker URL file \"" + path + L"\" cannot be read: " +
                                           Platform::errorText(error.code()),
                                       error.code().value());
    }
}

} // namespace

std::wstring composeServerAddress(const std::wstring& address, std::int32_t port) {
    return isUrl(address) ? address : address + L":" + std::to_wstring(port);
}

void substitutePlaceholders(std::wstring& address, const std::wstring& brokerUrl,
                            const std::function<std::wstring()>& hostName) {
    StdUtil::StringUtils::findAndReplace(address, brokerUrlPlaceholder, brokerUrl);
    if (address.find(hostNamePlaceholder) != std::wstring::npos) {
        StdUtil::StringUtils::findAndReplace(address, hostNamePlaceholder, hostName());
    }
}

std::wstring resolveAdapterAddress(
    const std::wstring& name,
    const std::function<std::vector<Platform::NetworkAdapter>()>& networkAdapters) {
    return Platform::chooseAdapterAddress(name, networkAdapters());
}

std::int32_t leadingInteger(std::wstring_view text) {
    using Limits = std::numeric_limits<std::int32_t>;
    while (!text.empty() && std::iswspace(static_cast<std::wint_t>(text.front())) != 0) {
        text.remove_prefix(1);
    }
    const bool negative = text.starts_with(L'-');
    if (negative || text.starts_with(L'+')) {
        text.remove_prefix(1);
    }
    if (negative) {
        return static_cast<std::int32_t>(-digitsValue(text, -std::int64_t{Limits::min()}));
    }
    return static_cast<std::int32_t>(digitsValue(text, Limits::max()));
}

std::wstring resolveBrokerUrl(Kel_cpp::KelApi& facade, const FileReader& readFile) {
    const auto settings = facade.getServerSettings();
    const std::wstring& file = settings->brokerUrlFile;
    if (!file.empty() && StdUtil::FileTool::existsAndIsNotEmpty(file)) {
        return readBrokerUrlFile(file, readFile);
    }
    return settings->brokerUrl;
}

} // namespace Quarlen
