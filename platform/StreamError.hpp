#pragma once

#include <system_error>

namespace Quarlen::Platform {

/// Why an operation of a file stream has just failed. The streams themselves do not tell: it is
/// what the system left in `errno`, which the caller sets to 0 before the operation, and
/// `io_error` where nothing is left there.
[[nodiscard]] std::error_code streamError() noexcept;

} // namespace Quarlen::Platform
