#include "kel_cpp/settings/RuntimeSettings.hpp"

#include <gtest/gtest.h>

namespace Quarlen::Kel_cpp::Tests {
namespace {

TEST(RuntimeSettings, CopiesServerAddressesDeeply) {
    ServerConfiguration original;
    original.startSequence = L"Start.xml";
    original.serverAddresses = {std::make_shared<ServerAddress>(), nullptr};
    original.serverAddresses[0]->address = L"127.0.0.1";

    const auto copy = deepCopy(original);
    original.serverAddresses[0]->address = L"changed";

    EXPECT_EQ(copy->startSequence, L"Start.xml");
    ASSERT_EQ(copy->serverAddresses.size(), 1U);
    EXPECT_EQ(copy->serverAddresses[0]->address, L"127.0.0.1");
}

TEST(RuntimeSettings, CopiesInterfacesDeeply) {
    InterfaceSettings original;
    original.groups = {std::make_shared<InterfaceGroup>(), nullptr};
    original.groups[0]->name = L"Default";
    original.groups[0]->interfaces = {nullptr, std::make_shared<InterfaceEntry>()};

    const auto copy = deepCopy(original);
    original.groups[0]->interfaces[1]->enabled = true;

    ASSERT_EQ(copy->groups.size(), 1U);
    EXPECT_EQ(copy->groups[0]->name, L"Default");
    ASSERT_EQ(copy->groups[0]->interfaces.size(), 1U);
    EXPECT_FALSE(copy->groups[0]->interfaces[0]->enabled);
}

} // namespace
} // namespace Quarlen::Kel_cpp::Tests
