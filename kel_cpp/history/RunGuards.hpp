#pragma once

#include <cstdint>
#include <string>

#include "kel_cpp/history/RunLog.hpp"

namespace Quarlen::Kel_cpp {

/// A run on this thread between construction and destruction was asked for by that client.
class RunLog::ClientRun {
public:
    ClientRun(RunLog& log, std::wstring client);
    ClientRun(const ClientRun&) = delete;
    ClientRun& operator=(const ClientRun&) = delete;
    ~ClientRun();
    /// The request ended with this exception.
    void fail(const std::wstring& message);

private:
    RunLog& log;
};

/// Between construction and destruction the thread is in an operation of the runtime that can take
/// long, so its run has not ended.
class RunLog::Call {
public:
    explicit Call(RunLog& log);
    Call(const Call&) = delete;
    Call& operator=(const Call&) = delete;
    ~Call();

private:
    RunLog& log;
    /// 0 where the thread has no run.
    std::uint64_t run = 0;
};

} // namespace Quarlen::Kel_cpp
