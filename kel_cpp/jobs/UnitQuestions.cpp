#include "kel_cpp/jobs/UnitQuestions.hpp"

namespace Quarlen::Kel_cpp {

template <class Ask>
Uds::Bytes UnitQuestions::noteAnswer(const Ask& ask) {
    try {
        Uds::Bytes response = ask();
        unit.reply = Result::Reply::Answered;
        return response;
    } catch (const Uds::NegativeResponse&) {
        unit.reply = Result::Reply::Answered;
        throw;
    } catch (const Uds::NoUsableResponse& failure) {
        unit.reply = failure.hasAnswered() ? Result::Reply::Answered : unit.reply;
        throw;
    }
}

Uds::Bytes UnitQuestions::request(const Uds::Bytes& message) {
    return noteAnswer([&] { return client.request(message); });
}

Uds::Bytes UnitQuestions::readData(std::uint16_t dataIdentifier) {
    return noteAnswer([&] { return client.readData(dataIdentifier); });
}

Uds::Bytes UnitQuestions::readDtcInformation(const Uds::Bytes& message, std::size_t minimumSize) {
    Uds::Bytes response = request(message);
    if (response.size() < minimumSize) {
        throwUnusableDtcInformation(response);
    }
    return response;
}

void throwUnusableDtcInformation(const Uds::Bytes& response) {
    throw Uds::NoUsableResponse(L"unusable response to ReadDTCInformation: " +
                                Uds::hexText(response));
}

} // namespace Quarlen::Kel_cpp
