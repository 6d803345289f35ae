#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "kel_server_lib/runtime/ServerHandler.hpp"
#include "tests/kel_cpp/RuntimeFixture.hpp"
#include "tests/kel_cpp/network/RpcTestClient.hpp"
#include "tests/support/LoopbackPort.hpp"
#include "tests/support/ReportCollector.hpp"
#include "tests/support/TestPaths.hpp"

namespace Quarlen::Kel_cpp::Tests {

/// Does what a test gives it as a sequence.
class ScriptedHandler : public ServerHandler {
public:
    void onNotification0(std::uint64_t /*code*/, std::shared_ptr<Record> /*first*/,
                         std::shared_ptr<Record> /*second*/) override {}
    void onNotification1(std::shared_ptr<Record> /*first*/,
                         std::shared_ptr<Record> /*second*/) override {}
    void onNotification4(std::shared_ptr<Record> /*first*/,
                         std::shared_ptr<Record> /*second*/) override {}
    void onNotification5(std::shared_ptr<Record> /*first*/,
                         std::shared_ptr<Record> /*second*/) override {}

    void startSequence(std::wstring name, std::shared_ptr<KelApi> api,
                       std::shared_ptr<ClientContext> context, bool& handled) override {
        EXPECT_FALSE(handled);
        calls.push_back(L"start " + name);
        usedApi = api;
        client = context->text;
        api->setServerStatus(L"Running sequence: " + name);
        sequence();
        api->setServerStatus(L"Idle");
        handled = true;
    }
    void cancelSequence(std::shared_ptr<KelApi> api, std::shared_ptr<ClientContext> context,
                        bool& handled) override {
        EXPECT_FALSE(handled);
        calls.emplace_back(L"cancel");
        usedApi = std::move(api);
        client = context->text;
        handled = true;
    }

    std::vector<std::wstring> calls;
    std::shared_ptr<KelApi> usedApi;
    std::wstring client;
    std::function<void()> sequence = [] {};
};

/// A runtime that serves an address, and a client of it.
class RuntimeClients : public RuntimeFixture {
protected:
    void SetUp() override {
        RuntimeFixture::SetUp();
        std::filesystem::remove_all(folder.config() / "data" / "flashdata");
        std::filesystem::create_directories(folder.config() / "data");
        std::filesystem::copy(Quarlen::Tests::flashDataFolder(),
                              folder.config() / "data" / "flashdata");
        open();
    }
    void TearDown() override { close(); }

    void open() {
        runtime->setServerHandler(handler);
        address = runtime->startServer(L"127.0.0.1:" + std::to_wstring(Quarlen::Tests::freePort()));
        client.emplace(address);
    }
    void close() {
        client.reset();
        runtime->stopServer(address);
        handler->usedApi.reset();
    }

    /// The record of a run that does this.
    json::object runOf(std::function<void()> sequence) {
        handler->sequence = std::move(sequence);
        client->result("sequence.start", {{"name", "Test.xml"}});
        const json::array runs = client->result("runs.list").as_array();
        return client->result("runs.get", {{"id", runs.back().at("id")}}).as_object();
    }
    void runProcedure(const std::wstring& name) {
        Quarlen::Tests::ServiceCollector reports;
        runtime->executeService(L"#OTX", inputsOf({name}), &reports);
        ASSERT_TRUE(reports.waitForLast());
    }

    std::shared_ptr<ScriptedHandler> handler = std::make_shared<ScriptedHandler>();
    std::wstring address;
    std::optional<RpcTestClient> client;
};

} // namespace Quarlen::Kel_cpp::Tests
