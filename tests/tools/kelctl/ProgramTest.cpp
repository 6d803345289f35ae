#include "tools/kelctl/Program.hpp"

#include <ostream>
#include <sstream>
#include <streambuf>
#include <system_error>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/NumberedCause.hpp"
#include "tools/kelctl/base/ExitCode.hpp"

namespace Quarlen::Ctl::Tests {
namespace {

/// Fails as no stream of the system does.
class BrokenBuffer : public std::streambuf {
protected:
    int_type overflow(int_type /*letter*/) override {
        throw std::system_error(std::make_error_code(std::errc::io_error), "output");
    }
};

TEST(Program, TellsTheCauseOfWhateverFails) {
    BrokenBuffer broken;
    std::ostream output(&broken);
    output.exceptions(std::ios::badbit);
    std::ostringstream errors;

    const int code = runProgram({"token", "create", "a", "--role", "watch"},
                                {.output = output, .errors = errors});

    EXPECT_EQ(code, static_cast<int>(ExitCode::Refused));
    std::string said = errors.str();
    ASSERT_TRUE(said.ends_with('\n')) << said;
    said.pop_back();
    EXPECT_THAT(said, testing::AllOf(testing::StartsWith("kelctl: output: "),
                                     Quarlen::Tests::EndsWithANumber()));
}

} // namespace
} // namespace Quarlen::Ctl::Tests
