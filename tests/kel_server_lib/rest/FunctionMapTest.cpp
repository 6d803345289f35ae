#include "kel_server_lib/rest/FunctionMap.hpp"

#include <gmock/gmock.h>

namespace Quarlen::Tests {

namespace {

using Rest::FunctionMap;
using Rest::parameterValues;
using Rest::PathParameters;
using Rest::splitPath;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

/// Routes without HTTP: a route is known by its end node, no handler is called.
class FunctionMapTest : public testing::Test {
protected:
    /// Adds a route and returns where it ends.
    const FunctionMap::EndNode* add(const std::string& key) {
        routes.add(key, Rest::Handler());
        return find(key);
    }

    const FunctionMap::EndNode* find(const std::string& path) const {
        return routes.find(splitPath(path));
    }

    PathParameters parametersOf(const std::string& path) const {
        const auto segments = splitPath(path);
        const auto* route = routes.find(segments);
        return route == nullptr ? PathParameters{} : parameterValues(*route, segments);
    }

    FunctionMap routes;
};

TEST_F(FunctionMapTest, FindsARouteByItsSegments) {
    const auto* health = add("get/health");
    const auto* version = add("get/version");

    EXPECT_NE(health, nullptr);
    EXPECT_EQ(find("get/health"), health);
    EXPECT_EQ(find("get/version"), version);
    EXPECT_NE(health, version);
}

TEST_F(FunctionMapTest, KeepsTheMethodsApart) {
    const auto* reading = add("get/tracing");
    const auto* changing = add("put/tracing");

    EXPECT_NE(reading, changing);
    EXPECT_EQ(find("get/tracing"), reading);
    EXPECT_EQ(find("put/tracing"), changing);
}

TEST_F(FunctionMapTest, FindsNothingUnderAnUnknownName) {
    add("get/health");

    EXPECT_EQ(find("get/unknown"), nullptr);
    EXPECT_EQ(find("get/Health"), nullptr);
    EXPECT_EQ(find("put/health"), nullptr);
}

TEST_F(FunctionMapTest, FindsNothingOnAnInnerNode) {
    add("get/projects/VAR_PROJECTNAME/otx");

    EXPECT_EQ(find("get/projects"), nullptr);
    EXPECT_EQ(find("get/projects/P1"), nullptr);
    EXPECT_EQ(find("get"), nullptr);
}

TEST_F(FunctionMapTest, FindsNothingBehindTheEndOfARoute) {
    add("get/health");

    EXPECT_EQ(find("get/health/more"), nullptr);
    EXPECT_EQ(find("get/health/"), nullptr);
}

TEST_F(FunctionMapTest, FindsNothingInAnEmptyTable) {
    EXPECT_EQ(find("get/health"), nullptr);
    EXPECT_EQ(find(""), nullptr);
}

TEST_F(FunctionMapTest, RecordsPositionAndNameOfAParameter) {
    const auto* route = add("get/projects/VAR_PROJECTNAME/otx");

    EXPECT_THAT(route->parameterPositions, ElementsAre(2U));
    EXPECT_THAT(route->parameterNames, ElementsAre("PROJECTNAME"));
}

TEST_F(FunctionMapTest, GivesParameterValuesInTheirPlaces) {
    add("get/a/VAR_X/b/VAR_Y");

    EXPECT_THAT(parametersOf("get/a/1/b/2"), ElementsAre(Pair(L"X", L"1"), Pair(L"Y", L"2")));
}

TEST_F(FunctionMapTest, TakesTheParameterMarkerOnlyAtTheBeginningOfASegment) {
    const auto* route = add("get/A_VAR_B");

    EXPECT_THAT(route->parameterNames, IsEmpty());
    EXPECT_EQ(find("get/anything"), nullptr);
}

TEST_F(FunctionMapTest, TakesTheMarkerAloneForAParameterWithoutAName) {
    const auto* route = add("get/VAR_");

    EXPECT_THAT(route->parameterNames, ElementsAre(""));
    EXPECT_EQ(find("get/anything"), route);
}

TEST_F(FunctionMapTest, PrefersALiteralSegmentToAParameter) {
    const auto* parameter = add("put/scripts/VAR_BUTTON");
    const auto* literal = add("put/scripts/all");

    EXPECT_EQ(find("put/scripts/all"), literal);
    EXPECT_THAT(parametersOf("put/scripts/all"), IsEmpty());
    EXPECT_EQ(find("put/scripts/F1"), parameter);
}

TEST_F(FunctionMapTest, DoesNotTryTheParameterWhenTheWalkBehindALiteralFails) {
    add("get/a/VAR_X/c");
    add("get/a/b/d");

    EXPECT_EQ(find("get/a/b/c"), nullptr);
}

TEST_F(FunctionMapTest, SharesOneParameterPerPositionBetweenRoutes) {
    const auto* first = add("get/VAR_X/one");
    const auto* second = add("get/VAR_Y/two");

    EXPECT_EQ(find("get/value/one"), first);
    EXPECT_EQ(find("get/value/two"), second);
    EXPECT_THAT(parametersOf("get/value/two"), ElementsAre(Pair(L"Y", L"value")));
}

TEST_F(FunctionMapTest, TakesAnEmptySegmentForAParameter) {
    const auto* route = add("get/projects/VAR_PROJECTNAME/otx");

    EXPECT_EQ(find("get/projects//otx"), route);
    EXPECT_THAT(parametersOf("get/projects//otx"), ElementsAre(Pair(L"PROJECTNAME", L"")));
}

TEST_F(FunctionMapTest, TakesASegmentThatLooksLikeAMarkerForAValue) {
    add("put/scripts/VAR_BUTTON");

    EXPECT_THAT(parametersOf("put/scripts/VAR_BUTTON"),
                ElementsAre(Pair(L"BUTTON", L"VAR_BUTTON")));
}

TEST_F(FunctionMapTest, ConvertsParameterValuesFromUtf8) {
    add("put/scripts/VAR_BUTTON");

    EXPECT_THAT(parametersOf("put/scripts/Pr\xC3\xBC"
                             "fung"),
                ElementsAre(Pair(L"BUTTON", L"Pr\u00FCfung")));
}

TEST_F(FunctionMapTest, TakesASegmentThatIsNoUtf8ForTheEmptyText) {
    add("put/scripts/VAR_BUTTON");

    EXPECT_THAT(parametersOf("put/scripts/F\xFF"), ElementsAre(Pair(L"BUTTON", L"")));
}

TEST_F(FunctionMapTest, ReplacesTheHandlerOfAKeyThatIsAddedAgain) {
    routes.add("get/health", Rest::Handler());
    routes.add("get/health", [](const Rest::Call&) {});

    EXPECT_TRUE(static_cast<bool>(find("get/health")->handler));
}

TEST_F(FunctionMapTest, FindsEachOfTenThousandRoutes) {
    constexpr int count = 10'000;
    for (int number = 0; number < count; ++number) {
        add("get/r" + std::to_string(number) + "/VAR_X");
    }

    for (int number = 0; number < count; ++number) {
        ASSERT_NE(find("get/r" + std::to_string(number) + "/value"), nullptr) << number;
    }
    EXPECT_EQ(find("get/r10000/value"), nullptr);
}

TEST(SplitPath, KeepsEmptyPieces) {
    EXPECT_THAT(splitPath("/kel/v1//x/"), ElementsAre("", "kel", "v1", "", "x", ""));
    EXPECT_THAT(splitPath(""), ElementsAre(""));
}

} // namespace

} // namespace Quarlen::Tests
