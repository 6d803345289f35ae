#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <set>
#include <string>

#include "fuzzers/NamesPlace.hpp"
#include "kel_cpp/base/RuntimeError.hpp"
#include "kel_cpp/projects/ProjectStore.hpp"
#include "platform/TextEncoding.hpp"
#include "simulation/VehicleFile.hpp"
#include "tests/support/TemporaryFolder.hpp"
#include "xml/FileError.hpp"

namespace {

using namespace Quarlen;

void require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

void readVehicle(const std::filesystem::path& file, const std::string& text) {
    try {
        const auto vehicle = Simulation::readVehicleFile(file);
        std::set<std::wstring> links;
        for (const auto& unit : vehicle.controlUnits) {
            require(!unit.name.empty() && links.insert(unit.link).second);
        }
    } catch (const Xml::FileError& error) {
        require(Fuzzers::namesPlace(error.message(), Platform::fromPath(file), text));
    }
}

void readProject(const std::filesystem::path& file, const std::string& text) {
    try {
        const auto project = Kel_cpp::readProject(file, L"Fuzzed");
        for (const auto& information : project->vehicleInformations) {
            for (const auto& procedure : information.procedures) {
                require(project->findProcedure(procedure) != nullptr);
            }
        }
    } catch (const Kel_cpp::KelApiException& exception) {
        require(exception.code() == static_cast<std::int32_t>(Kel_cpp::ErrorCode::Configuration));
        require(Fuzzers::namesPlace(exception.message(), Platform::fromPath(file), text));
    }
}

} // namespace

/// As a vehicle and as a project: read without contradictions, or refused with a place inside of
/// the text. The readers take a file, so each process writes one again and again.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const Tests::TemporaryFolder folder;
    const std::string text(reinterpret_cast<const char*>(data), size);
    const auto file = folder.write("input.xml", text);
    readVehicle(file, text);
    readProject(file, text);
    return 0;
}
