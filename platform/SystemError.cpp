#include "platform/SystemError.hpp"

#include "platform/TextEncoding.hpp"

namespace Quarlen::Platform {

std::wstring errorText(const std::error_code& error) {
    const std::wstring text = fromUtf8(error.message());
    return text.empty() ? L"error " + std::to_wstring(error.value()) : text;
}

} // namespace Quarlen::Platform
