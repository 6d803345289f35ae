#pragma once

#include <memory>
#include <string>

#include "kel_server_lib/sequence/actions/SelectAction.hpp"
#include "tests/kel_server_lib/sequence/actions/ActionFixture.hpp"

namespace Quarlen::Tests {

/// A vehicle that answers the request for its identification number.
class VinFixture : public ActionFixture {
protected:
    /// The only result is one response with these bytes behind the response header.
    void answerVin(const std::string& vin) {
        const auto response = std::make_shared<Kel_cpp::ServiceResponse>();
        response->data = {0x62, 0xF1, 0x90};
        response->data.insert(response->data.end(), vin.begin(), vin.end());
        const auto result = std::make_shared<Kel_cpp::ServiceResult>();
        result->responses = {response};
        api->syncServiceResults = {result};
    }

    Kel_cpp::ServiceResult& answer() { return *api->syncServiceResults.at(0); }

    void stopDuring(const std::string& call) {
        api->during(call, [this] { handler.raiseStop(); });
    }
};

} // namespace Quarlen::Tests
