#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <future>
#include <string>

#include "doip/EntityQuestion.hpp"
#include "doip/VehicleSearch.hpp"
#include "tests/doip/UdpVehicle.hpp"
#include "uds/LinkError.hpp"

// Datagrams that no entity should send.

namespace Quarlen::Doip::Tests {

namespace {

using namespace std::chrono_literals;
using Quarlen::Tests::hex;
using testing::HasSubstr;

class HostileEntity : public UdpVehicle {
protected:
    /// What becomes of a question that is answered so.
    std::wstring failureOf(const std::function<void()>& ask, const Bytes& answer) {
        auto asking = std::async(std::launch::async, ask);
        receive();
        send(answer);
        try {
            asking.get();
        } catch (const Uds::ConnectionLost& error) {
            return error.message();
        }
        return L"nothing thrown";
    }
    /// Of a message that ends early: the payload alone, and the datagram as well.
    void expectEachCutNamed(const std::function<void()>& ask, PayloadType type,
                            const Bytes& payload) {
        const Bytes whole = encode(type, payload);
        for (std::size_t size = 0; size < payload.size(); ++size) {
            SCOPED_TRACE(size);
            EXPECT_THAT(failureOf(ask, encode(type, firstOf(payload, size))),
                        HasSubstr(std::to_wstring(size) + L" bytes, expected"));
        }
        for (std::size_t size = 0; size < whole.size(); ++size) {
            SCOPED_TRACE(size);
            EXPECT_THAT(failureOf(ask, firstOf(whole, size)),
                        HasSubstr(L"it sends what is no message of DoIP"));
        }
    }
    static Bytes firstOf(const Bytes& bytes, std::size_t count) {
        return {bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(count)};
    }
    std::function<void()> status() {
        return [this] { static_cast<void>(entityStatus(settings())); };
    }
    std::function<void()> power() {
        return [this] { static_cast<void>(powerMode(settings())); };
    }
};

} // namespace

TEST_F(HostileEntity, AStatusThatIsCutIsNamed) {
    expectEachCutNamed(status(), PayloadType::EntityStatusResponse, hex("00 08 03"));
}

TEST_F(HostileEntity, APowerModeThatIsCutIsNamed) {
    expectEachCutNamed(power(), PayloadType::PowerModeResponse, hex("01"));
}

TEST_F(HostileEntity, AWrongHeaderIsNamed) {
    EXPECT_THAT(failureOf(power(), hex("03 FD 40 04 00 00 00 01 01")), HasSubstr(L"03 FD"));
    EXPECT_THAT(failureOf(power(), hex("77 88 40 04 00 00 00 01 01")), HasSubstr(L"0x77"));
    EXPECT_THAT(failureOf(power(), hex("03 FC 40 04 FF FF FF FF 01")),
                HasSubstr(L"announces 4294967295 bytes, but 1 came"));
    EXPECT_THAT(failureOf(power(), hex("03 FC 40 04 00 00 00 00")), HasSubstr(L"has 0 bytes"));
}

TEST_F(HostileEntity, ARefusalIsNamed) {
    EXPECT_THAT(failureOf(power(), encode(PayloadType::HeaderNack,
                                          encode(HeaderNackCode::UnknownPayloadType))),
                HasSubstr(headerNackText(0x01)));
    EXPECT_THAT(failureOf(power(), encode(PayloadType::HeaderNack, {})),
                HasSubstr(L"header negative acknowledgement (0x0000) has 0 bytes"));
}

TEST_F(HostileEntity, ARefusalOfTheVersionInNoOtherVersionCounts) {
    for (const std::uint8_t version : {version2019, versionUnknown}) {
        EXPECT_THAT(failureOf(power(), encode(PayloadType::HeaderNack,
                                              encode(HeaderNackCode::IncorrectPattern), version)),
                    HasSubstr(L"(0x4003): " + headerNackText(0x00)));
    }
}

TEST_F(HostileEntity, AHostThatIsNoAddressIsNamed) {
    auto wanted = settings();
    wanted.host = "bench-3";
    try {
        static_cast<void>(powerMode(wanted));
        FAIL() << "nobody was there";
    } catch (const Uds::ConnectionLost& error) {
        EXPECT_EQ(error.message(), L"the vehicle at bench-3:" + std::to_wstring(wanted.port) +
                                       L" does not answer the power mode request (0x4003): bench-3 "
                                       L"is no address in numbers");
    }
}

TEST_F(HostileEntity, AnAnswerToAnotherQuestionDoesNotCount) {
    auto mode = std::async(std::launch::async, [this] { return powerMode(settings()); });
    receive();
    send(encode(PayloadType::EntityStatusResponse, {}));
    send(encode(static_cast<PayloadType>(0x1234), hex("00")));
    send(encode(PayloadType::PowerModeResponse, hex("02")));
    EXPECT_EQ(mode.get(), 0x02);
}

TEST_F(HostileEntity, AnAnswerFromElsewhereDoesNotCount) {
    auto mode = std::async(std::launch::async, [this] { return powerMode(settings()); });
    receive();
    sendFromElsewhere(encode(PayloadType::PowerModeResponse, hex("00")));
    send(encode(PayloadType::PowerModeResponse, hex("01")));
    EXPECT_EQ(mode.get(), 0x01);
}

TEST_F(HostileEntity, AnAnnouncementThatIsCutIsNone) {
    const Bytes payload = encode(announcementOf("WKLDEMO0000000041", 6));
    const Bytes whole = encode(PayloadType::VehicleAnnouncement, payload);
    auto search = searchLater(settings());
    receive();
    for (std::size_t size = 0; size < payload.size(); ++size) {
        send(encode(PayloadType::VehicleAnnouncement, firstOf(payload, size)));
        send(firstOf(whole, headerSize + size));
    }
    announce("WKLDEMO0000000042", 7);
    EXPECT_EQ(search.get().announcement.vin, "WKLDEMO0000000042");
}

TEST_F(HostileEntity, AFloodOfOtherVehiclesDoesNotKeepASearchFromItsEnd) {
    auto wanted = settings();
    wanted.times.control = 200ms;
    wanted.vin = "WKLDEMO0000000042";
    auto search = searchLater(wanted);
    receive();
    while (search.wait_for(0s) != std::future_status::ready) {
        announce("WKLDEMO0000000043", 1);
    }
    EXPECT_THROW(search.get(), Uds::ConnectionLost);
}

TEST_F(HostileEntity, AFloodOfVehiclesEndsTheSearchForAllOfThem) {
    auto search = std::async(std::launch::async, [this] { return findVehicles(settings(), 60s); });
    receive();
    std::uint32_t number = 0;
    while (search.wait_for(0s) != std::future_status::ready) {
        VehicleAnnouncement announcement = announcementOf("WKLDEMO0000000042", 0);
        announcement.eid[4] = static_cast<std::uint8_t>((number >> 8U) & 0xFFU);
        announcement.eid[5] = static_cast<std::uint8_t>(number & 0xFFU);
        send(encode(PayloadType::VehicleAnnouncement, encode(announcement)));
        ++number;
    }
    EXPECT_EQ(search.get().size(), 256U);
}

} // namespace Quarlen::Doip::Tests
