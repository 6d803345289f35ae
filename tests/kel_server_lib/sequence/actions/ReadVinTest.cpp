#include "tests/kel_server_lib/sequence/actions/VinFixture.hpp"

namespace Quarlen::Tests {

using testing::ElementsAre;
using testing::IsEmpty;

class ReadVin : public VinFixture {};

TEST_F(ReadVin, ReadsTheVinUpToTheFirstZeroByte) {
    answerVin(std::string("WKL\0DEMO", 8));

    EXPECT_EQ(readVin(handler, api, true), "WKL");
}

TEST_F(ReadVin, HasNoVinWhenTheResponseIsOnlyItsHeader) {
    answerVin("");

    EXPECT_EQ(readVin(handler, api, true), "");
}

TEST_F(ReadVin, HasNoVinWhenTheServiceFailed) {
    answerVin("WKLDEMO0000000042");
    answer().error = 1;

    EXPECT_EQ(readVin(handler, api, true), "");
}

TEST_F(ReadVin, HasNoVinWhenSeveralResponsesCome) {
    answerVin("WKLDEMO0000000042");
    answer().responses.push_back(answer().responses.front());

    EXPECT_EQ(readVin(handler, api, true), "");
}

TEST_F(ReadVin, HasNoVinWhenSeveralResultsCome) {
    answerVin("WKLDEMO0000000042");
    api->syncServiceResults.push_back(api->syncServiceResults.front());

    EXPECT_EQ(readVin(handler, api, true), "");
}

TEST_F(ReadVin, HasNoVinWithoutAResponse) {
    answerVin("WKLDEMO0000000042");
    answer().responses.clear();

    EXPECT_EQ(readVin(handler, api, true), "");
}

TEST_F(ReadVin, IdentifiesForTheVinWithoutAutoConnect) {
    EXPECT_EQ(readVin(handler, api, false), "");

    EXPECT_THAT(api->calls(),
                ElementsAre("selectProject(VIN_Reader)", "selectVehicleInformation(DefaultVIT)",
                            "identifyVehicle(0)",
                            "executeServiceSync(UDS_CAN_D, HexService 22 F1 90)",
                            "selectProject()"));
}

TEST_F(ReadVin, TheVinIsOneCharacterWhenTheAnswerHasFourBytes) {
    answerVin("W");

    EXPECT_EQ(readVin(handler, api, true), "W");
}

TEST_F(ReadVin, TheVinKeepsEveryByteBehindTheHeader) {
    answerVin("WKLDEMO0000000042");

    EXPECT_EQ(readVin(handler, api, true), "WKLDEMO0000000042");
}

TEST_F(ReadVin, TheVinMayBeLongerThanUsualAndHoldAnyByteButZero) {
    const std::string vin = "WKLDEMO0000000042 \x01\xFF_more";
    answerVin(vin);

    EXPECT_EQ(readVin(handler, api, true), vin);
}

TEST_F(ReadVin, DropsTheHeaderWhateverItIs) {
    answerVin("WKL");
    answer().responses.at(0)->data = {0, 0, 0, 'W'};

    EXPECT_EQ(readVin(handler, api, true), "W");
}

TEST_F(ReadVin, HasNoVinWhenTheAnswerIsShorterThanAHeader) {
    answerVin("");
    answer().responses.at(0)->data = {0x62};

    EXPECT_EQ(readVin(handler, api, true), "");
}

TEST_F(ReadVin, HasNoVinWhenTheErrorIsNegative) {
    answerVin("WKLDEMO0000000042");
    answer().error = -1;

    EXPECT_EQ(readVin(handler, api, true), "");
}

TEST_F(ReadVin, SelectsTheAuxiliaryVehicleInformationThoughAStopIsRaisedBefore) {
    stopDuring("selectProject(VIN_Reader)");

    EXPECT_EQ(readVin(handler, api, true), "");

    EXPECT_THAT(api->calls(),
                ElementsAre("selectProject(VIN_Reader)", "selectVehicleInformation(DefaultVIT)",
                            "selectProject()"));
}

TEST_F(ReadVin, AsksTheVehicleThoughAStopIsRaisedWhileItIsOpened) {
    answerVin("WKLDEMO0000000042");
    stopDuring("connectVehicle");

    EXPECT_EQ(readVin(handler, api, true), "WKLDEMO0000000042");
}

TEST_F(ReadVin, AStopThatWasLoweredMeanwhileStillCounts) {
    api->during("selectProject(VIN_Reader)", [this] {
        handler.raiseStop();
        handler.lowerStop();
    });

    EXPECT_EQ(readVin(handler, api, true), "");

    EXPECT_THAT(api->callsOf({"connectVehicle"}), IsEmpty());
}

} // namespace Quarlen::Tests
