#include <httplib.h>

#include "kel_server_lib/ServerHandlerSequence.hpp"
#include "kel_server_lib/rest/FacadeReference.hpp"
#include "kel_server_lib/rest/Replies.hpp"
#include "kel_server_lib/rest/RequestBody.hpp"
#include "kel_server_lib/rest/handlers/Handlers.hpp"

namespace Quarlen::Rest {

void putScript(const HandlerContext& context, const httplib::Request& request,
               httplib::Response& response, const PathParameters& parameters) {
    const auto body = parseBody(request.body);
    const std::wstring& button = parameters.at(L"BUTTON");
    if (!body || (button != L"F1" && button != L"F2")) {
        response.status = httplib::StatusCode::BadRequest_400;
        return;
    }
    const std::wstring script = textOf(member(*body, "script"));
    answeringErrors(response, [&] {
        if (button == L"F1") {
            context.sequenceHandler->changeF1Sequence(script, facade());
        } else {
            context.sequenceHandler->changeF2Sequence(script, facade());
        }
        setStatusOk(response);
    });
}

void putSequenceAbort(const HandlerContext& context, httplib::Response& response) {
    answeringErrors(response, [&] {
        context.sequenceHandler->abortSequence(facade());
        setStatusOk(response);
    });
}

} // namespace Quarlen::Rest
