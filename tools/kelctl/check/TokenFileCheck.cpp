#include "tools/kelctl/check/TokenFileCheck.hpp"

#include <exception>

#include "kel_cpp/rpc/AccessTokens.hpp"
#include "platform/SystemError.hpp"

namespace Quarlen::Ctl {

std::wstring tokenFileFault(const std::filesystem::path& file) {
    try {
        return Kel_cpp::AccessTokens::countIn(file) == 0 ? L"the file has no token" : L"";
    } catch (const std::exception& refusal) {
        return Platform::exceptionText(refusal);
    }
}

} // namespace Quarlen::Ctl
