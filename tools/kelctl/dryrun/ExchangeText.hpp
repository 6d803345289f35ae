#pragma once

#include <cstddef>
#include <optional>
#include <string>

#include "uds/BusEvent.hpp"
#include "uds/Uds.hpp"

namespace Quarlen::Ctl {

/// "22 F1 90"; of a long message the begin and its length.
std::string bytesText(const Uds::Bytes& bytes);
/// "ReadDataByIdentifier (0x22)"
std::string requestText(const Uds::Bytes& request);
/// The reason of a negative response; empty for another one.
std::string responseText(const Uds::Bytes& response);
/// A line for people. Its arrows are ASCII, because a terminal need not have others.
std::string exchangeText(const Uds::BusEvent& event);

/// Blocks of a download that follow one another and are accepted; one line stands for all of them.
class TransferRun {
public:
    /// Whether it takes the request, which is then not yet answered.
    bool takesRequest(const std::wstring& link, const Uds::Bytes& request);
    /// Whether it takes the response: that of the block that was taken last.
    bool takesResponse(const std::wstring& link, const Uds::Bytes& response);

    struct Blocks {
        std::wstring link;
        std::size_t accepted = 0;
        std::size_t bytes = 0;
        /// The last block, when it has not been accepted.
        std::optional<Uds::Bytes> open;
    };
    /// What has been taken so far; nothing when there is none. It begins anew then.
    std::optional<Blocks> end();

private:
    std::optional<Blocks> blocks;
};

} // namespace Quarlen::Ctl
