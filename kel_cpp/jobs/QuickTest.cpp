#include "kel_cpp/jobs/QuickTest.hpp"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <exception>
#include <mutex>
#include <string_view>
#include <system_error>
#include <thread>
#include <unordered_set>
#include <utility>

#include "kel_cpp/base/ExceptionBoundary.hpp"
#include "std_util/TraceHelper.hpp"
#include "uds/Identifiers.hpp"
#include "uds/Uds.hpp"

namespace Quarlen::Kel_cpp {

namespace {

using Uds::Client;

/// Sub-functions of ReadDTCInformation, ISO 14229-1 table 317.
namespace ReportType = Uds::ReadDtcReportType;

constexpr auto readDtcInformation = static_cast<std::uint8_t>(Uds::Service::ReadDtcInformation);

std::vector<std::wstring> allNames(const VehicleInformation& information) {
    std::vector<std::wstring> names;
    for (const auto& unit : controlUnits(information)) {
        names.push_back(unit.name);
    }
    return names;
}

/// Keeps the first of equal names, so that the order is kept.
std::vector<std::wstring> withoutRepetitions(const std::vector<std::wstring>& names) {
    std::vector<std::wstring> unique;
    std::unordered_set<std::wstring_view> known;
    for (const auto& name : names) {
        if (known.insert(name).second) {
            unique.push_back(name);
        }
    }
    return unique;
}

/// Text when all bytes are printable ASCII (without padding at the end), else hexadecimal.
std::wstring readableValue(Uds::Bytes data) {
    const Uds::Bytes whole = data;
    while (!data.empty() && (data.back() == 0x00 || data.back() == ' ')) {
        data.pop_back();
    }
    const bool printable = std::all_of(data.begin(), data.end(),
                                       [](auto byte) { return byte >= 0x20 && byte < 0x7F; });
    return printable && !data.empty() ? std::wstring(data.begin(), data.end())
                                      : Uds::hexText(whole);
}

/// `minimumSize` keeps what follows readable.
Uds::Bytes askFaultMemory(Client& client, const Uds::Bytes& request, std::size_t minimumSize) {
    Uds::Bytes response = client.request(request);
    if (response.size() < minimumSize) {
        throw Uds::NoUsableResponse(L"unusable response to ReadDTCInformation: " +
                                    Uds::hexText(response));
    }
    return response;
}

std::uint16_t readFaultCount(Client& client, std::uint8_t mask) {
    // 59 01 availabilityMask format countHigh countLow
    const auto response =
        askFaultMemory(client, {readDtcInformation, ReportType::numberOfDtcByStatusMask, mask}, 6);
    return static_cast<std::uint16_t>(Uds::numberAt(response, 4, 2));
}

/// What one quick test comes to: for the trace, in one line.
class Summary {
public:
    void add(const ControlUnitQuickTestResult& result) {
        faults += result.faults.size();
        if (result.errorText.empty()) {
            ++readUnits;
        } else {
            failures += L"; " + inQuotes(result.name) + L": " + result.errorText;
        }
    }

    /// An error where a control unit could not be read.
    void trace(const std::wstring& information, std::size_t units, const wchar_t* end) const {
        const std::wstring text = L"quick test of " + inQuotes(information) + L" " + end + L": " +
                                  std::to_wstring(readUnits) + L" of " + std::to_wstring(units) +
                                  L" control units read, " + std::to_wstring(faults) + L" faults" +
                                  failures;
        const auto write =
            failures.empty() ? StdUtil::TraceHelper::InfoTrace : StdUtil::TraceHelper::ErrorTrace;
        write(L"kel_cpp/jobs/QuickTest", __LINE__, L"%s", text.c_str());
    }

private:
    std::size_t readUnits = 0;
    std::size_t faults = 0;
    std::wstring failures;
};

} // namespace

QuickTest::QuickTest(SelectedVehicle selected, const QuicktestConfig& config, std::uint32_t mask)
    : vehicle(std::move(selected)),
      targets(config.everyControlUnit ? allNames(*vehicle.information)
                                      : withoutRepetitions(config.targets)),
      statusMask(static_cast<std::uint8_t>(mask & 0xFFU)) {}

/// Threads that take one control unit after the other. Their results come in the order of the
/// targets, so that it does not depend on who is faster.
class QuickTest::Workers {
public:
    Workers(const QuickTest& quickTest, const std::stop_token& cancel, std::size_t count)
        : quickTest(quickTest), cancel(cancel), results(quickTest.targets.size()) {
        threads.reserve(count);
        try {
            while (threads.size() < count) {
                threads.emplace_back([this] { work(); });
            }
        } catch (const std::system_error&) {
            // With the threads that the system has; without any the job's own does the work.
            if (threads.empty()) {
                work();
            }
        }
    }

    /// The next result; null when there are no more. Throws what ended a thread.
    std::shared_ptr<Result> next() {
        if (given == results.size()) {
            return nullptr;
        }
        std::unique_lock lock(mutex);
        changed.wait(lock, [this] { return results[given] || failure; });
        if (!results[given]) {
            std::rethrow_exception(failure);
        }
        return std::move(results[given++]);
    }

private:
    void work() {
        try {
            for (std::size_t index = begun++; index < results.size(); index = begun++) {
                auto result = quickTest.test(quickTest.targets[index], cancel);
                const std::lock_guard lock(mutex);
                results[index] = std::move(result);
                changed.notify_one();
            }
        } catch (...) {
            const std::lock_guard lock(mutex);
            failure = std::current_exception();
            begun = results.size();
            changed.notify_one();
        }
    }

    const QuickTest& quickTest;
    const std::stop_token& cancel;
    std::atomic<std::size_t> begun{0};
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<std::shared_ptr<Result>> results;
    std::exception_ptr failure;
    /// Only of the thread that asks for the next.
    std::size_t given = 0;
    /// Declared last, so that they end before the other members are destroyed.
    std::vector<std::jthread> threads;
};

void QuickTest::run(JobReport<QuickTestResult>& report, const std::stop_token& cancel,
                    std::size_t unitsAtOnce) const {
    Summary summary;
    const wchar_t* end = L"ended";
    try {
        const VehicleAccess::Turn turn = vehicle.access->takeTurn(cancel);
        Workers workers(*this, cancel, std::min(unitsAtOnce, targets.size()));
        while (auto result = workers.next()) {
            summary.add(*result);
            report.add(std::move(result));
        }
    } catch (const Uds::Cancelled&) {
        // The results so far have been reported; the last report marks the end.
        end = L"cancelled";
    }
    summary.trace(vehicle.information->name, targets.size(), end);
    report.finish({});
}

std::shared_ptr<QuickTest::Result> QuickTest::test(const std::wstring& name,
                                                   const std::stop_token& cancel) const {
    auto result = std::make_shared<Result>();
    result->name = name;
    const ProjectTarget* const unit = findControlUnit(*vehicle.information, name);
    if (unit == nullptr) {
        result->errorText = L"vehicle information " + inQuotes(vehicle.information->name) +
                            L" has no control unit " + inQuotes(name);
        return result;
    }
    result->link = unit->link;
    try {
        auto link = vehicle.access->openLink(unit->unitAddress());
        Client client(link, cancel);
        readAll(*result, client);
    } catch (const Uds::LinkError& error) {
        result->errorText = error.message();
    }
    return result;
}

void QuickTest::readAll(Result& result, Client& client) const {
    readIdentification(result, client);
    try {
        readFaultMemory(result, client);
    } catch (const Uds::NegativeResponse& refusal) {
        result.errorText = L"fault memory: " + refusal.message();
    }
}

void QuickTest::readIdentification(Result& result, Client& client) const {
    for (const auto& item : vehicle.project->identification) {
        IdentificationValue value{item.dataIdentifier, item.name, {}};
        try {
            value.value = readableValue(client.readData(item.dataIdentifier));
        } catch (const Uds::NegativeResponse& refusal) {
            value.value = refusal.message();
        }
        result.identification.push_back(std::move(value));
    }
}

/// The number of faults and the list of supported ones are optional (clause 12.3): a control unit
/// without them is read completely.
void QuickTest::readFaultMemory(Result& result, Client& client) const {
    result.faults = readDtcs(client, {readDtcInformation, ReportType::dtcByStatusMask, statusMask});
    result.faultCount = static_cast<std::uint16_t>(result.faults.size());
    try {
        result.faultCount = readFaultCount(client, statusMask);
    } catch (const Uds::NegativeResponse&) {
        // The faults themselves have been counted.
    }
    try {
        result.supported = readDtcs(client, {readDtcInformation, ReportType::supportedDtc});
    } catch (const Uds::NegativeResponse&) {
        // It does not tell what it could find.
    }
}

std::vector<DtcReading> QuickTest::readDtcs(Client& client, const Uds::Bytes& request) const {
    // 59 02 availabilityMask, then for each fault three bytes of code and one of status
    constexpr std::size_t headerSize = 3;
    constexpr std::size_t entrySize = 4;
    const Uds::Bytes response = askFaultMemory(client, request, headerSize);
    if ((response.size() - headerSize) % entrySize != 0) {
        throw Uds::NoUsableResponse(L"unusable response to ReadDTCInformation: " +
                                    Uds::hexText(response));
    }
    std::vector<DtcReading> dtcs;
    for (std::size_t at = headerSize; at < response.size(); at += entrySize) {
        const auto code = static_cast<std::uint32_t>(Uds::numberAt(response, at, 3));
        dtcs.push_back({code, response[at + 3], vehicle.project->dtcText(code)});
    }
    return dtcs;
}

} // namespace Quarlen::Kel_cpp
