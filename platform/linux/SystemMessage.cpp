#include "platform/SystemMessage.hpp"

#include "platform/TextEncoding.hpp"

namespace Quarlen::Platform {

SystemMessage systemMessage(const std::error_code& error) {
    return {error.value(), fromUtf8(error.message())};
}

} // namespace Quarlen::Platform
