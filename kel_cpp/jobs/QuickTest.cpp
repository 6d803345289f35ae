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
#include "kel_cpp/jobs/FaultMemoryReader.hpp"
#include "kel_cpp/jobs/FaultRecordsReader.hpp"
#include "kel_cpp/jobs/KnownValues.hpp"
#include "std_util/TraceHelper.hpp"
#include "uds/Identifiers.hpp"

namespace Quarlen::Kel_cpp {

namespace {

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

/// Says why a value is not there. A control unit refuses its software version with
/// conditionsNotCorrect as long as an erased memory was not checked.
void explain(IdentificationValue& value, const Uds::NegativeResponse& refusal) {
    using State = IdentificationValue::State;
    const auto nrc = static_cast<Uds::Nrc>(refusal.nrc());
    if (nrc == Uds::Nrc::RequestOutOfRange) {
        value.state = State::NotSupported;
        value.value = L"not supported";
    } else if (nrc == Uds::Nrc::ConditionsNotCorrect &&
               value.dataIdentifier == Uds::Did::softwareVersion) {
        value.state = State::Interrupted;
        value.value =
            L"not valid: the programming was interrupted (" + Uds::nrcText(refusal.nrc()) + L")";
    } else {
        value.state = State::Refused;
        value.value = refusal.message();
    }
}

/// What one quick test comes to: for the trace, in one line.
class Summary {
public:
    explicit Summary(bool countsFaults) : countsFaults(countsFaults) {}

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
                                  L" control units read, " +
                                  (countsFaults ? std::to_wstring(faults) + L" faults"
                                                : std::wstring(L"faults not asked for")) +
                                  failures;
        const auto write =
            failures.empty() ? StdUtil::TraceHelper::InfoTrace : StdUtil::TraceHelper::ErrorTrace;
        write(L"kel_cpp/jobs/QuickTest", __LINE__, L"%s", text.c_str());
    }

private:
    bool countsFaults;
    std::size_t readUnits = 0;
    std::size_t faults = 0;
    std::wstring failures;
};

} // namespace

QuickTest::QuickTest(SelectedVehicle selected, const QuicktestConfig& config,
                     const DtcReadConfig& dtcConfig)
    : vehicle(std::move(selected)),
      targets(config.everyControlUnit ? allNames(*vehicle.information)
                                      : withoutRepetitions(config.targets)),
      dtcRead(dtcConfig),
      mileage(config.mileage) {}

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
    Summary summary(statusMask() != 0);
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
    result->reply = Result::Reply::NotAsked;
    result->faultsAskedFor = statusMask() != 0;
    const ProjectTarget* const unit = findControlUnit(*vehicle.information, name);
    if (unit == nullptr) {
        result->errorText = L"vehicle information " + inQuotes(vehicle.information->name) +
                            L" has no control unit " + inQuotes(name);
        return result;
    }
    result->link = unit->link;
    try {
        auto link = vehicle.access->openLink(unit->unitAddress());
        Uds::Client client(link, cancel);
        UnitQuestions questions(client, *result);
        readAll(questions);
    } catch (const Uds::LinkError& error) {
        result->errorText = error.message();
        const bool isLost = dynamic_cast<const Uds::ConnectionLost*>(&error) != nullptr;
        if (result->reply == Result::Reply::NotAsked && !isLost) {
            result->reply = Result::Reply::Silent;
        }
    }
    return result;
}

void QuickTest::readAll(UnitQuestions& questions) const {
    readIdentification(questions);
    if (mileage) {
        readMileage(questions);
    }
    try {
        readFaultMemory(questions);
    } catch (const Uds::NegativeResponse& refusal) {
        questions.result().errorText = L"fault memory: " + refusal.message();
    }
}

void QuickTest::readIdentification(UnitQuestions& questions) const {
    for (const auto& item : vehicle.project->identification) {
        IdentificationValue value{item.dataIdentifier, item.name, {}};
        try {
            value.value = readableValue(questions.readData(item.dataIdentifier));
        } catch (const Uds::NegativeResponse& refusal) {
            explain(value, refusal);
        }
        questions.result().identification.push_back(std::move(value));
    }
}

/// Data identifiers that a control unit does not have are no failure: mostly one unit has it.
void QuickTest::readMileage(UnitQuestions& questions) const {
    const auto& item = vehicle.project->mileage;
    auto& mileage = questions.result().mileage;
    try {
        const auto data =
            questions.readData(item ? item->dataIdentifier : KnownIdentifier::odometer);
        mileage = item ? numberText(data, item->unit)
                       : knownText(*knownValue(KnownIdentifier::odometer), data);
    } catch (const Uds::NegativeResponse& refusal) {
        const bool isMissing =
            refusal.nrc() == static_cast<std::uint8_t>(Uds::Nrc::RequestOutOfRange) ||
            refusal.nrc() == static_cast<std::uint8_t>(Uds::Nrc::ServiceNotSupported);
        mileage = isMissing ? std::wstring() : refusal.message();
    }
}

void QuickTest::readFaultMemory(UnitQuestions& questions) const {
    FaultMemoryReader memory(questions, *vehicle.project);
    if (statusMask() != 0) {
        memory.readFaults(statusMask());
    }
    readFaultRecords(questions);
    memory.readSupported();
    if (statusMask() == 0 && !questions.result().supported.empty()) {
        memory.readFormat();
    }
}

void QuickTest::readFaultRecords(UnitQuestions& questions) const {
    FaultRecordsReader records(questions, *vehicle.project);
    for (auto& fault : questions.result().faults) {
        if (dtcRead.freezeFrames) {
            records.readFreezeFrames(fault);
        }
        if (dtcRead.extendedData) {
            records.readExtendedData(fault);
        }
    }
}

} // namespace Quarlen::Kel_cpp
