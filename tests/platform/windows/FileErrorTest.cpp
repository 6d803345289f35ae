#include "platform/windows/FileError.hpp"

#include <windows.h>

#include <gtest/gtest.h>

namespace Quarlen::Platform::Tests {

namespace {

TEST(FileError, IsThatOfAMissingFileWhateverPartOfThePathIsMissing) {
    for (const DWORD code : {ERROR_FILE_NOT_FOUND, ERROR_PATH_NOT_FOUND, ERROR_INVALID_NAME,
                             ERROR_BAD_PATHNAME, ERROR_INVALID_DRIVE}) {
        EXPECT_TRUE(saysMissing(code)) << code;
        EXPECT_EQ(fileError(code), std::errc::no_such_file_or_directory) << code;
    }
    EXPECT_EQ(fileError(ERROR_DIRECTORY), std::errc::not_a_directory);
}

TEST(FileError, IsTheSystemsOwnForAllOtherCauses) {
    for (const DWORD code : {ERROR_ACCESS_DENIED, ERROR_SHARING_VIOLATION, ERROR_BAD_NETPATH}) {
        EXPECT_FALSE(saysMissing(code)) << code;
        EXPECT_EQ(fileError(code), std::error_code(static_cast<int>(code), std::system_category()));
    }
}

TEST(FileError, IsOneAlsoWhereTheSystemTellsNoCause) {
    EXPECT_TRUE(fileError(ERROR_SUCCESS));

    ::SetLastError(ERROR_SUCCESS);
    EXPECT_TRUE(lastFileError());
}

} // namespace

} // namespace Quarlen::Platform::Tests
