#include "tests/support/TestPaths.hpp"

namespace Quarlen::Tests {

std::filesystem::path examplesFolder() {
    return KEL_EXAMPLES_FOLDER;
}

std::filesystem::path flashDataFolder() {
    return KEL_FLASH_DATA_FOLDER;
}

std::filesystem::path serverProgram() {
    return KEL_SERVER_PROGRAM;
}

} // namespace Quarlen::Tests
