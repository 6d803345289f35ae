#include "kel_cpp/network/IoThread.hpp"

#include <exception>

#include "kel_cpp/base/ExceptionBoundary.hpp"
#include "std_util/TraceHelper.hpp"

namespace Quarlen::Kel_cpp {

IoThread::IoThread() : thread([this] { run(); }) {}

IoThread::~IoThread() {
    work.reset();
    thread.join();
}

void IoThread::run() {
    for (;;) {
        try {
            context->run();
            return;
        } catch (const std::exception&) {
            // A failure of one client (no memory, for instance) must not end the service of the
            // others.
            StdUtil::TraceHelper::ErrorTrace(L"kel_cpp/network/IoThread", __LINE__,
                                             L"network handler failed: %s",
                                             currentExceptionText().c_str());
        }
    }
}

} // namespace Quarlen::Kel_cpp
