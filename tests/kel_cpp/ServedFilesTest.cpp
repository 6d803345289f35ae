#include "kel_cpp/ServedFiles.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "kel_cpp/base/RuntimeError.hpp"
#include "tests/support/NumberedCause.hpp"
#include "tests/support/TemporaryFolder.hpp"
#include "tests/support/UnreadableFile.hpp"

namespace Quarlen::Kel_cpp::Tests {

TEST(ServedReport, ThatCannotBeReadIsRefusedWithTheCause) {
    const Quarlen::Tests::TemporaryFolder folder;
    const auto file = folder.write("a.html", "report");
    const Quarlen::Tests::UnreadableFile unreadable(file);
    try {
        readReport(folder.path(), L"a.html");
        FAIL() << "no exception";
    } catch (const KelApiException& refusal) {
        EXPECT_EQ(refusal.code(), static_cast<std::int32_t>(ErrorCode::Report));
        EXPECT_THAT(refusal.message(),
                    testing::AllOf(testing::StartsWith(L"the report \"a.html\" cannot be read: "),
                                   Quarlen::Tests::EndsWithANumber()));
    }
}

} // namespace Quarlen::Kel_cpp::Tests
