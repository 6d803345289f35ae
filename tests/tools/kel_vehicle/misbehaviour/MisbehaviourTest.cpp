#include "tools/kel_vehicle/misbehaviour/Misbehaviour.hpp"

#include <gmock/gmock.h>

#include "tests/support/HexBytes.hpp"

namespace Quarlen::KelVehicle::Tests {
namespace {

using namespace std::chrono_literals;
using Quarlen::Tests::hex;

Misbehaviour silenceFor(const Uds::Bytes& request) {
    Misbehaviour what;
    what.request = request;
    return what;
}

bool isSilent(Misbehaviours& all, std::uint16_t target, const Uds::Bytes& request) {
    return all.planFor(target, request).answer == Plan::Answer::None;
}

TEST(Misbehaviours, StrikeOnlyRequestsThatBeginSo) {
    Misbehaviours all;
    all.add(silenceFor(hex("22 F1")));
    EXPECT_TRUE(isSilent(all, 1, hex("22 F1 90")));
    EXPECT_FALSE(isSilent(all, 1, hex("22 F2 90")));
    EXPECT_FALSE(isSilent(all, 1, hex("22")));
}

TEST(Misbehaviours, StrikeOnlyTheNamedControlUnit) {
    Misbehaviours all;
    auto what = silenceFor(hex("22"));
    what.unit = 2;
    all.add(what);
    EXPECT_FALSE(isSilent(all, 1, hex("22")));
    EXPECT_TRUE(isSilent(all, 2, hex("22")));
}

TEST(Misbehaviours, BeginWithTheirRequestAndEndAfterTheirNumber) {
    Misbehaviours all;
    auto what = silenceFor(hex("36"));
    what.at = 2;
    what.times = 1;
    all.add(what);
    EXPECT_FALSE(isSilent(all, 1, hex("36")));
    EXPECT_TRUE(isSilent(all, 1, hex("36")));
    EXPECT_FALSE(isSilent(all, 1, hex("36")));
}

TEST(Misbehaviours, CountOnlyTheRequestsThatTheyMean) {
    Misbehaviours all;
    auto what = silenceFor(hex("36"));
    what.unit = 1;
    what.at = 2;
    all.add(what);
    EXPECT_FALSE(isSilent(all, 1, hex("22")));
    EXPECT_FALSE(isSilent(all, 2, hex("36")));
    EXPECT_FALSE(isSilent(all, 1, hex("36")));
    EXPECT_TRUE(isSilent(all, 1, hex("36")));
}

TEST(Misbehaviours, OfOneKindAreReplacedByTheLater) {
    Misbehaviours all;
    for (const auto duration : {1s, 3s, 2s}) {
        auto late = silenceFor(hex("22"));
        late.kind = MisbehaviourKind::Late;
        late.duration = duration;
        all.add(late);
    }
    EXPECT_EQ(all.planFor(1, hex("22")).lateBy, 2s);
}

/// What one of the kind makes of a request.
Plan planOf(MisbehaviourKind kind) {
    Misbehaviours all;
    all.add({kind, hex("22"), {}, 1, {}, 7s, 0x31});
    return all.planFor(1, hex("22"));
}

TEST(Misbehaviours, DoWhatTheyAreNamedFor) {
    EXPECT_EQ(planOf(MisbehaviourKind::Pending).pendingFor, 7s);
    EXPECT_EQ(planOf(MisbehaviourKind::Slow).byteInterval, 7s);
    EXPECT_TRUE(planOf(MisbehaviourKind::Cut).breaksOff);
    EXPECT_EQ(planOf(MisbehaviourKind::Close).answer, Plan::Answer::ClosedConnection);
    EXPECT_EQ(planOf(MisbehaviourKind::Refuse).answer, Plan::Answer::Refusal);
    EXPECT_EQ(planOf(MisbehaviourKind::Refuse).refusalCode, 0x31);
    EXPECT_EQ(planOf(MisbehaviourKind::NegativeAcknowledgement).nackCode, 0x31);
    const Plan unacknowledged = planOf(MisbehaviourKind::NoAcknowledgement);
    EXPECT_EQ(unacknowledged.acknowledgement, Plan::Acknowledgement::None);
    EXPECT_EQ(unacknowledged.answer, Plan::Answer::Real);
}

TEST(Misbehaviours, AreForgottenOnRequest) {
    Misbehaviours all;
    all.add(silenceFor(hex("22")));
    all.clear();
    EXPECT_FALSE(isSilent(all, 1, hex("22")));
}

TEST(Misbehaviours, OfTwoKindsStrikeTogether) {
    Misbehaviours all;
    auto late = silenceFor(hex("22"));
    late.kind = MisbehaviourKind::Late;
    late.duration = 5s;
    auto echo = silenceFor(hex("22"));
    echo.kind = MisbehaviourKind::Echo;
    all.add(late);
    all.add(echo);
    const Plan plan = all.planFor(1, hex("22"));
    EXPECT_EQ(plan.lateBy, 5s);
    EXPECT_TRUE(plan.hasWrongEcho);
    EXPECT_EQ(plan.text, L"late, echo");
}

TEST(Misbehaviours, AnswerSomebodyElsesRequestWithAWrongEcho) {
    EXPECT_EQ(withWrongEcho(hex("62 F1 90")), hex("62 F2 90"));
    EXPECT_EQ(withWrongEcho(hex("76 FF")), hex("76 00"));
    EXPECT_EQ(withWrongEcho(hex("54")), hex("54"));
}

TEST(Misbehaviours, AreBounded) {
    Misbehaviours all;
    for (std::size_t count = 0; count < 1000; ++count) {
        ASSERT_TRUE(all.add(silenceFor(hex("3E"))));
    }
    EXPECT_FALSE(all.add(silenceFor(hex("22"))));
    EXPECT_EQ(all.size(), 1000U);
    EXPECT_FALSE(isSilent(all, 1, hex("22 F1 90")));
    all.clear();
    EXPECT_TRUE(all.add(silenceFor(hex("22"))));
}

} // namespace
} // namespace Quarlen::KelVehicle::Tests
