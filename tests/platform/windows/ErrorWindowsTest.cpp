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

/// `_set_abort_behavior` of the C library; the system's older one does not have it everywhere.
using SetAbortBehaviour = unsigned(__cdecl*)(unsigned flags, unsigned mask);

SetAbortBehaviour abortBehaviour() {
    const HMODULE library = ::LoadLibraryW(L"ucrtbase.dll");
    const FARPROC found =
        library != nullptr ? ::GetProcAddress(library, "_set_abort_behavior") : nullptr;
    return reinterpret_cast<SetAbortBehaviour>(reinterpret_cast<void*>(found));
}

TEST(ErrorWindows, AreNotOpenedByAnAbortEither) {
    constexpr unsigned reportFault = 2;
    const SetAbortBehaviour setBehaviour = abortBehaviour();
    ASSERT_NE(setBehaviour, nullptr);
    setBehaviour(reportFault, reportFault);

    openNoErrorWindows();

    EXPECT_EQ(setBehaviour(0, 0) & reportFault, 0U);
}

} // namespace

} // namespace Quarlen::Platform::Tests
