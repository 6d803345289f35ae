#include "platform/ErrorWindows.hpp"

#include <windows.h>

#include <gtest/gtest.h>

namespace Quarlen::Platform::Tests {

namespace {

TEST(ErrorWindows, AreOffAndWhatWasOffStaysOff) {
    const UINT former = ::SetErrorMode(SEM_NOALIGNMENTFAULTEXCEPT);

    openNoErrorWindows();

    EXPECT_EQ(::GetErrorMode() &
                  (SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX | SEM_NOOPENFILEERRORBOX),
              UINT{SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX | SEM_NOOPENFILEERRORBOX});
    EXPECT_NE(::GetErrorMode() & SEM_NOALIGNMENTFAULTEXCEPT, 0U);
    ::SetErrorMode(former);
}

} // namespace

} // namespace Quarlen::Platform::Tests
