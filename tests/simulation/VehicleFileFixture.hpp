#pragma once

#include <filesystem>
#include <fstream>
#include <random>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "simulation/VehicleFile.hpp"
#include "xml/FileError.hpp"

namespace Quarlen::Simulation::Tests {

/// A vehicle file with the content that a test gives it.
class VehicleFileTest : public testing::Test {
protected:
    VehicleFileTest() {
        std::random_device random;
        file = std::filesystem::temp_directory_path() /
               ("kel_vehicle_" + std::to_string(random()) + std::to_string(random()) + ".xml");
    }
    ~VehicleFileTest() override { std::filesystem::remove(file); }

    VehicleDescription read(const std::string& content) const {
        std::ofstream(file, std::ios::binary) << content;
        return readVehicleFile(file);
    }

    ControlUnitDescription readUnit(const std::string& elements) const {
        return read("<Vehicle vin='VIN1'><ControlUnit name='A' address='1' link='L'>" + elements +
                    "</ControlUnit></Vehicle>")
            .controlUnits.front();
    }

    std::filesystem::path file;
};

} // namespace Quarlen::Simulation::Tests
