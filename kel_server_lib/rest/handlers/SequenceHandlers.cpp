#include <httplib.h>

#include "kel_server_lib/rest/handlers/FacadeReference.hpp"
#include "kel_server_lib/rest/handlers/Handlers.hpp"
#include "kel_server_lib/rest/handlers/Replies.hpp"
#include "kel_server_lib/rest/handlers/RequestBody.hpp"
#include "kel_server_lib/sequence/ServerHandlerSequence.hpp"

namespace Quarlen::Rest {

void putScript(const Call& call) {
    const picojson::value body = bodyOf(call);
    const std::wstring& button = call.parameters.at(L"BUTTON");
    if (button != L"F1" && button != L"F2") {
        throw httplib::StatusCode{httplib::StatusCode::BadRequest_400};
    }
    const std::wstring script = textOf(member(body, "script"));
    answeringErrors(call.response, [&] {
        if (button == L"F1") {
            call.context.sequenceHandler->changeF1Sequence(script, facade());
        } else {
            call.context.sequenceHandler->changeF2Sequence(script, facade());
        }
        setStatusOk(call.response);
    });
}

void putSequenceAbort(const Call& call) {
    answeringErrors(call.response, [&] {
        call.context.sequenceHandler->abortSequence(facade());
        setStatusOk(call.response);
    });
}

} // namespace Quarlen::Rest
