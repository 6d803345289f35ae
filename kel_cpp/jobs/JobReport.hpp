#pragma once

#include <memory>
#include <utility>

#include "kel_cpp/base/ExceptionBoundary.hpp"
#include "kel_server_lib/runtime/KelApi.hpp"
#include "std_util/TraceHelper.hpp"

namespace Quarlen::Kel_cpp {

/// Sends the reports of one job to its callback: any number of reports, then exactly one last
/// report, at the latest by the destructor. The callback is not used after the last report, because
/// its owner may then destroy it. Used by the job's thread only.
template <class Result>
class JobReport {
public:
    using Callback = KelApi::JobCallback<Result>;

    JobReport(Callback& callback, KelApi::JobId id) : callback(&callback), id(id) {}
    JobReport(const JobReport&) = delete;
    JobReport& operator=(const JobReport&) = delete;
    ~JobReport() {
        try {
            finish({});
        } catch (...) {
            StdUtil::TraceHelper::ErrorTrace(L"kel_cpp/jobs/JobReport", __LINE__,
                                             L"a job's last report was not taken: %s",
                                             currentExceptionText().c_str());
        }
    }

    void add(std::shared_ptr<Result> result) {
        if (callback != nullptr) {
            callback->report({std::move(result)}, id, nullptr, false);
        }
    }

    void finish(RecordList<Result> results) {
        if (Callback* const last = std::exchange(callback, nullptr)) {
            last->report(std::move(results), id, nullptr, true);
        }
    }

private:
    /// Null after the last report.
    Callback* callback;
    const KelApi::JobId id;
};

} // namespace Quarlen::Kel_cpp
