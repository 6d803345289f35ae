#include "tools/kelctl/dryrun/Narrator.hpp"

#include <sstream>

#include <gtest/gtest.h>

namespace Quarlen::Ctl::Tests {

namespace {

class NarratorTest : public testing::Test {
protected:
    static Simulation::VehicleDescription vehicleWith(const std::wstring& unit) {
        Simulation::VehicleDescription vehicle;
        vehicle.vin = L"VIN";
        vehicle.controlUnits.emplace_back();
        vehicle.controlUnits.back().name = unit;
        vehicle.controlUnits.back().link = L"LINK";
        return vehicle;
    }
    /// How a step is told that does this.
    std::string told(const std::string& words) {
        stream.str({});
        narrator.step({1, 2, 0, "Action", words});
        return stream.str();
    }

    std::ostringstream stream;
    Output output{stream, {}};
    Narrator narrator{output, true, [] { return std::chrono::milliseconds(1500); }};
};

TEST_F(NarratorTest, KeepsWhatItIsGivenOnOneLine) {
    narrator.open({"a\nb.xml", "c\nd", "e\nf", {"g\nh"}}, vehicleWith(L"i\nj"));
    EXPECT_EQ(stream.str(), "Dry run of a?b.xml\n"
                            "  configuration  c?d\n"
                            "  vehicle        e?f, VIN VIN\n"
                            "  control units  i?j\n"
                            "  planned fault  g?h\n"
                            "\n");
    EXPECT_EQ(told("a\nb"), "\nStep 1 of 2: Action\n  a?b\n");
    stream.str({});
    narrator.status(L"s\n");
    narrator.note("n\n");
    narrator.console("c\n");
    EXPECT_EQ(stream.str(),
              "  1.500 s  status   s?\n  1.500 s  note     n?\n  1.500 s  console  c?\n");
    stream.str({});
    narrator.close("clean", Colour::Good, {"r\ns"});
    EXPECT_EQ(stream.str(), "\nOutcome: clean\nReport:  r?s\n");
}

TEST_F(NarratorTest, KeepsTheBlanksOfANameWhereItWrapsLines) {
    EXPECT_EQ(told("Runs \"Otx  Two   blanks\"."),
              "\nStep 1 of 2: Action\n  Runs \"Otx  Two   blanks\".\n");
    EXPECT_EQ(told(""), "\nStep 1 of 2: Action\n  \n");
}

TEST_F(NarratorTest, FillsALineWithCharactersAndNotWithBytes) {
    std::string umlauts;
    for (int count = 0; count < 75; ++count) {
        umlauts += "\u00FC";
    }
    EXPECT_EQ(told("a " + umlauts + " b"), "\nStep 1 of 2: Action\n  a " + umlauts + "\n  b\n");
    EXPECT_EQ(told("aa " + umlauts + " b"), "\nStep 1 of 2: Action\n  aa\n  " + umlauts + " b\n");
}

TEST_F(NarratorTest, AlignsByCharacters) {
    narrator.open({"", "", "", {}}, vehicleWith(L"GER\u00C4T_1"));
    stream.str({});
    narrator.exchange({Uds::BusEvent::Kind::Request, {L"LINK"}, {0x3E, 0x00}});
    narrator.note("n");
    EXPECT_EQ(stream.str(), "  1.500 s  GER\u00C4T_1  > 3E 00  TesterPresent (0x3E)\n"
                            "  1.500 s  note     n\n");
}

} // namespace

} // namespace Quarlen::Ctl::Tests
