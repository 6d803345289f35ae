#include "kel_server_lib/devices/SensorFile.hpp"

#include <stdexcept>

#include <gtest/gtest.h>

#include "tests/support/TemporaryFolder.hpp"

namespace Quarlen::Tests {

class SensorFileTest : public testing::Test {
protected:
    [[nodiscard]] SensorFile open() const { return SensorFile((folder.path() / "raw").string()); }

    TemporaryFolder folder;
};

TEST_F(SensorFileTest, IsReadAfreshFromItsStartEachTime) {
    folder.write("raw", "100\n");
    SensorFile sensor = open();

    EXPECT_EQ(sensor.readLine(), "100");
    folder.write("raw", "20345\n");
    EXPECT_EQ(sensor.readLine(), "20345");
}

TEST_F(SensorFileTest, MayEndWithoutALineEnd) {
    folder.write("raw", "100");
    SensorFile sensor = open();

    EXPECT_EQ(sensor.readLine(), "100");
    EXPECT_EQ(sensor.readLine(), "100");
}

TEST_F(SensorFileTest, GivesNothingWhenItIsMissing) {
    SensorFile sensor = open();

    EXPECT_EQ(sensor.readLine(), std::nullopt);
}

TEST_F(SensorFileTest, AFailedReadDoesNotSpoilTheNext) {
    folder.write("raw", "");
    SensorFile sensor = open();

    EXPECT_EQ(sensor.readLine(), std::nullopt);
    folder.write("raw", "7\n");
    EXPECT_EQ(sensor.readLine(), "7");
}

struct LineAndReading {
    const char* line;
    std::int32_t reading;
};

class SensorReading : public testing::TestWithParam<LineAndReading> {};

TEST_P(SensorReading, IsTheNumberAtTheLinesBeginning) {
    EXPECT_EQ(sensorReading(GetParam().line), GetParam().reading);
}

INSTANTIATE_TEST_SUITE_P(Lines, SensorReading,
                         testing::Values(LineAndReading{"0", 0}, LineAndReading{"  42", 42},
                                         LineAndReading{"\t-17 mm", -17}, LineAndReading{"+5,3", 5},
                                         LineAndReading{"0x10", 0},
                                         LineAndReading{"2147483647", 2147483647},
                                         LineAndReading{"-2147483648", -2147483647 - 1}));

template <class Exception>
std::string messageOf(const std::string& line) {
    try {
        sensorReading(line);
    } catch (const Exception& exception) {
        return exception.what();
    }
    return "nothing was thrown";
}

TEST(SensorReadingFailure, ALineThatIsNoNumberIsAnInvalidArgument) {
    for (const char* const line : {"", "  ", "abc", "-", "mm 5"}) {
        EXPECT_EQ(messageOf<std::invalid_argument>(line), "invalid stoi argument") << line;
    }
}

TEST(SensorReadingFailure, ANumberThatIsTooLargeIsOutOfRange) {
    for (const char* const line : {"2147483648", "-2147483649", "99999999999999999999999"}) {
        EXPECT_EQ(messageOf<std::out_of_range>(line), "stoi argument out of range") << line;
    }
}

} // namespace Quarlen::Tests
