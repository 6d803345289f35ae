#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "kel_cpp/access/VehicleAccess.hpp"
#include "kel_cpp/jobs/FaultRecordsReader.hpp"
#include "tests/kel_cpp/FakeVehicle.hpp"

namespace Quarlen::Kel_cpp::Tests {

namespace {

using testing::ElementsAre;

/// The records of one fault of a control unit that answers as a table says, else with a refusal.
class FaultRecords : public testing::Test {
protected:
    FaultRecords() {
        vehicle->answer = [this](const Uds::Bytes& request) -> std::optional<Uds::Bytes> {
            for (const auto& [asked, response] : responses) {
                if (asked == request) {
                    return response;
                }
            }
            return Uds::Bytes{0x7F, request[0], refusal};
        };
    }

    void respond(const Uds::Bytes& request, const Uds::Bytes& records) {
        Uds::Bytes response{0x59, request[1], 0x03, 0x01, 0x00, 0x2F};
        response.insert(response.end(), records.begin(), records.end());
        responses.emplace_back(request, response);
    }

    void read(DtcReading& fault, bool freezeFrames, bool extendedData) {
        if (freezeFrames) {
            reader.readFreezeFrames(fault);
        }
        if (extendedData) {
            reader.readExtendedData(fault);
        }
    }

    [[nodiscard]] DtcReading frames(const Uds::Bytes& records) {
        respond(allFrames, records);
        DtcReading fault{0x030100, 0x2F, L""};
        read(fault, true, false);
        return fault;
    }
    [[nodiscard]] DtcReading extended() {
        DtcReading fault{0x030100, 0x2F, L""};
        read(fault, false, true);
        return fault;
    }

    static std::vector<std::wstring> texts(const FreezeFrame& frame) {
        std::vector<std::wstring> all;
        for (const auto& value : frame.values) {
            all.push_back(value.name + L": " + value.value);
        }
        return all;
    }
    static std::vector<std::wstring> texts(const DtcReading& fault) {
        std::vector<std::wstring> all;
        for (const auto& record : fault.extendedData) {
            all.push_back(record.name + L": " + record.value);
        }
        return all;
    }

    const Uds::Bytes allFrames{0x19, 0x04, 0x03, 0x01, 0x00, 0xFF};
    std::vector<std::pair<Uds::Bytes, Uds::Bytes>> responses;
    std::uint8_t refusal = 0x31;
    Project project;
    Quarlen::Tests::FakeClock clock;
    std::shared_ptr<FakeVehicle> vehicle = std::make_shared<FakeVehicle>(clock);
    VehicleAccess access{L"Test", vehicle, clock};
    std::stop_source cancel;
    Uds::VehicleLink link = access.openLink({L"L", {}, {}, {}});
    Uds::Client client{link, cancel.get_token()};
    ControlUnitQuickTestResult unit;
    UnitQuestions questions{client, unit};
    FaultRecordsReader reader{questions, project};
};

} // namespace

TEST_F(FaultRecords, AreTheFreezeFramesWithTheValuesThatAStandardKnows) {
    const auto fault = frames({0x01, 0x02, 0xF4, 0x0C, 0x1A, 0xF8, 0xF4, 0x0D, 0x32, //
                               0x02, 0x01, 0xF4, 0x0D, 0x50});
    ASSERT_EQ(fault.freezeFrames.size(), 2U);
    EXPECT_EQ(fault.freezeFrames[0].number, 1U);
    EXPECT_THAT(texts(fault.freezeFrames[0]),
                ElementsAre(L"Engine speed: 1726 1/min", L"Vehicle speed: 50 km/h"));
    EXPECT_EQ(fault.freezeFrames[1].number, 2U);
    EXPECT_THAT(texts(fault.freezeFrames[1]), ElementsAre(L"Vehicle speed: 80 km/h"));
    EXPECT_EQ(fault.recordsText, L"");
}

TEST_F(FaultRecords, HaveTheNamesOfTheProject) {
    project.identification = {{0xF40D, L"Speed"}};
    const auto fault = frames({0x01, 0x01, 0xF4, 0x0D, 0x32});
    EXPECT_THAT(texts(fault.freezeFrames.at(0)), ElementsAre(L"Speed: 50 km/h"));
}

TEST_F(FaultRecords, AreBytesFromTheFirstValueOfUnknownLength) {
    const auto fault = frames({0x01, 0x03, 0xF4, 0x0D, 0x32, 0x01, 0x20, 0xAB, 0xF4, 0x0D, 0x33});
    ASSERT_EQ(fault.freezeFrames.size(), 1U);
    EXPECT_THAT(texts(fault.freezeFrames[0]), ElementsAre(L"Vehicle speed: 50 km/h"));
    EXPECT_EQ(fault.freezeFrames[0].unread, (Uds::Bytes{0x01, 0x20, 0xAB, 0xF4, 0x0D, 0x33}));
}

TEST_F(FaultRecords, AreBytesWhereAFrameIsCutOffOrDoesNotCountItsValues) {
    EXPECT_EQ(frames({0x01, 0x01, 0xF4, 0x0C, 0x1A}).freezeFrames.at(0).unread,
              (Uds::Bytes{0xF4, 0x0C, 0x1A}));
    responses.clear();
    EXPECT_EQ(frames({0x01, 0x01, 0xF4}).freezeFrames.at(0).unread, (Uds::Bytes{0xF4}));
    responses.clear();
    EXPECT_EQ(frames({0x01, 0x00, 0xF4, 0x0D, 0x32}).freezeFrames.at(0).unread,
              (Uds::Bytes{0xF4, 0x0D, 0x32}));
}

TEST_F(FaultRecords, SayThatThereIsNoFreezeFrame) {
    EXPECT_EQ(frames({}).recordsText, L"No freeze frame is stored.");
    responses.clear();
    DtcReading fault{0x030100, 0x2F, L""};
    read(fault, true, false);
    EXPECT_EQ(fault.recordsText, L"No freeze frame is stored.");
}

TEST_F(FaultRecords, AreTheTwoCountersWhereTheProjectSaysNothing) {
    respond({0x19, 0x06, 0x03, 0x01, 0x00, 0x01}, {0x01, 0x03});
    respond({0x19, 0x06, 0x03, 0x01, 0x00, 0x02}, {0x02, 0x28});
    EXPECT_THAT(texts(extended()), ElementsAre(L"Occurrences: 3", L"Ageing counter: 40"));
}

TEST_F(FaultRecords, AreTheExtendedDataThatTheProjectNames) {
    project.extendedData = {{0x10, L"Mileage", L"km"}, {0x11, L"Raw", std::nullopt}};
    respond({0x19, 0x06, 0x03, 0x01, 0x00, 0x10}, {0x10, 0x00, 0x01, 0xE2, 0x40});
    respond({0x19, 0x06, 0x03, 0x01, 0x00, 0x11}, {0x11, 0xAA, 0xBB});
    EXPECT_THAT(texts(extended()), ElementsAre(L"Mileage: 123456 km", L"Raw: AA BB"));
}

TEST_F(FaultRecords, LeaveOutExtendedDataThatTheFaultDoesNotHave) {
    respond({0x19, 0x06, 0x03, 0x01, 0x00, 0x01}, {});
    respond({0x19, 0x06, 0x03, 0x01, 0x00, 0x02}, {0x02, 0x28});
    const auto fault = extended();
    EXPECT_THAT(texts(fault), ElementsAre(L"Ageing counter: 40"));
    EXPECT_EQ(fault.recordsText, L"");
}

TEST_F(FaultRecords, LeaveOutARecordThatWasNotAskedFor) {
    respond({0x19, 0x06, 0x03, 0x01, 0x00, 0x01}, {0x03, 0x05});
    respond({0x19, 0x06, 0x03, 0x01, 0x00, 0x02}, {0x02, 0x28});
    EXPECT_THAT(texts(extended()), ElementsAre(L"Ageing counter: 40"));
}

TEST_F(FaultRecords, SayThatThereIsNoExtendedData) {
    EXPECT_EQ(extended().recordsText, L"No extended data is stored.");
}

TEST_F(FaultRecords, AreNotAskedForAgainWhereTheControlUnitDoesNotHaveThem) {
    for (const std::uint8_t missing : Uds::Bytes{0x11, 0x12, 0x7E}) {
        refusal = missing;
        const std::size_t before = vehicle->requests().size();
        FaultRecordsReader ofOneUnit(questions, project);
        for (int count = 0; count < 2; ++count) {
            DtcReading fault{0x030100, 0x2F, L""};
            ofOneUnit.readFreezeFrames(fault);
            ofOneUnit.readExtendedData(fault);
            EXPECT_EQ(fault.recordsText,
                      L"Freeze frames are not supported. Extended data is not supported.");
        }
        EXPECT_EQ(vehicle->requests().size() - before, 2U);
    }
}

TEST_F(FaultRecords, SayWhyExtendedDataWasRefused) {
    project.extendedData = {{0x10, L"Mileage", L"km"}};
    refusal = 0x22;
    EXPECT_EQ(extended().recordsText,
              L"Mileage: ReadDTCInformation (0x19) refused: conditions not correct (0x22).");
}

TEST_F(FaultRecords, SayNothingOfRecordsThatAreMissingBesideOneThatIsThere) {
    project.extendedData = {{0x10, L"Mileage", L"km"}, {0x11, L"Other", {}}};
    respond({0x19, 0x06, 0x03, 0x01, 0x00, 0x10}, {0x10, 0x07});
    refusal = 0x12;
    const DtcReading fault = extended();
    EXPECT_THAT(texts(fault), ElementsAre(L"Mileage: 7 km"));
    EXPECT_EQ(fault.recordsText, L"");
}

TEST_F(FaultRecords, SayWhyTheyWereRefused) {
    refusal = 0x22;
    DtcReading fault{0x030100, 0x2F, L""};
    read(fault, true, false);
    EXPECT_EQ(fault.recordsText, L"Freeze frames: ReadDTCInformation (0x19) refused: "
                                 L"conditions not correct (0x22).");
}

} // namespace Quarlen::Kel_cpp::Tests
