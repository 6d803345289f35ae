#include "platform/StandardStreams.hpp"

#include <windows.h>

#include <gtest/gtest.h>

#include "tests/platform/windows/StandardHandle.hpp"

namespace Quarlen::Platform::Tests {

namespace {

HANDLE closedHandle() {
    const HANDLE handle = ::CreateEventW(nullptr, FALSE, FALSE, nullptr);
    ::CloseHandle(handle);
    return handle;
}

class MissingHandle : public testing::TestWithParam<DWORD> {};

TEST_P(MissingHandle, IsReplacedByTheEmptyDevice) {
    for (const HANDLE missing : {HANDLE(nullptr), INVALID_HANDLE_VALUE, closedHandle()}) {
        const StandardHandle stream(GetParam(), missing);

        openMissingStandardStreams();

        const HANDLE opened = ::GetStdHandle(GetParam());
        DWORD written = 0;
        EXPECT_EQ(::GetFileType(opened), DWORD{FILE_TYPE_CHAR});
        EXPECT_NE(::WriteFile(opened, "x", 1, &written, nullptr), 0);
        ::CloseHandle(opened);
    }
}

INSTANTIATE_TEST_SUITE_P(Streams, MissingHandle,
                         testing::Values(STD_INPUT_HANDLE, STD_OUTPUT_HANDLE, STD_ERROR_HANDLE));

TEST(StandardStreams, StayWhereTheyAreThere) {
    HANDLE reading = nullptr;
    HANDLE writing = nullptr;
    ASSERT_NE(::CreatePipe(&reading, &writing, nullptr, 0), 0);
    {
        const StandardHandle stream(STD_INPUT_HANDLE, reading);
        openMissingStandardStreams();
        EXPECT_EQ(::GetStdHandle(STD_INPUT_HANDLE), reading);
    }
    ::CloseHandle(reading);
    ::CloseHandle(writing);
}

} // namespace

} // namespace Quarlen::Platform::Tests
