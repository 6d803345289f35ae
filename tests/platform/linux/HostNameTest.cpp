#include <sched.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "platform/SystemPaths.hpp"

namespace Quarlen::Platform::Tests {

namespace {

enum ChildResult { AsExpected, Different, NotPermitted };

/// What `hostName` gives on a computer of that name: the name is changed in a child process that
/// has names of its own.
int compareHostName(const std::string& name, const std::wstring& expected) {
    const pid_t child = ::fork();
    if (child == 0) {
        if (::unshare(CLONE_NEWUTS) != 0 || ::sethostname(name.data(), name.size()) != 0) {
            ::_exit(NotPermitted);
        }
        ::_exit(hostName() == expected ? AsExpected : Different);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

struct HostNameCase {
    std::string name;
    std::wstring expected;
};

class HostName : public testing::TestWithParam<HostNameCase> {};

TEST_P(HostName, IsReadAsUtf8AndCutToTheBuffer) {
    const int result = compareHostName(GetParam().name, GetParam().expected);
    if (result == NotPermitted) {
        GTEST_SKIP() << "a host name of the test's own needs a UTS namespace, and that needs root";
    }
    EXPECT_EQ(result, AsExpected);
}

INSTANTIATE_TEST_SUITE_P(Names, HostName,
                         testing::Values(HostNameCase{"testbench", L"testbench"},
                                         HostNameCase{"pr\xC3\xBC"
                                                      "fstand",
                                                      L"pr\u00FCfstand"},
                                         HostNameCase{"bad\xFF", L""},
                                         HostNameCase{std::string(63, 'h'), std::wstring(63, L'h')},
                                         HostNameCase{std::string(64, 'h'),
                                                      std::wstring(63, L'h')}));

} // namespace

} // namespace Quarlen::Platform::Tests
