#include "platform/SystemError.hpp"

#include "platform/SystemMessage.hpp"
#include "platform/TextEncoding.hpp"

namespace Quarlen::Platform {

std::wstring errorText(const std::error_code& error) {
    const SystemMessage message = systemMessage(error);
    const std::wstring number = std::to_wstring(message.number);
    return message.words.empty() ? L"error " + number : message.words + L" (" + number + L")";
}

std::wstring textWithCause(std::string_view text, std::string_view words,
                           const std::error_code& cause) {
    const std::size_t found = text.rfind(words);
    if (found == std::string_view::npos) {
        const std::wstring whole = fromUtf8(text);
        return whole.empty() ? errorText(cause) : whole;
    }
    return fromUtf8(text.substr(0, found)) + errorText(cause) +
           fromUtf8(text.substr(found + words.size()));
}

std::wstring exceptionText(const std::exception& exception) {
    if (const auto* const error = dynamic_cast<const std::system_error*>(&exception)) {
        return textWithCause(error->what(), error->code().message(), error->code());
    }
    const std::wstring text = fromUtf8(exception.what());
    return text.empty() ? L"internal error" : text;
}

} // namespace Quarlen::Platform
