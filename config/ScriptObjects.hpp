#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "config/ConfigObject.hpp"

namespace Config {

struct UnlockDescription {
    std::wstring unlockName;
    std::wstring unlockParameter;
};

struct TargetSetting {
    std::wstring name;
    bool enabled = true;
};

struct VehicleReportSetting {
    /// Absent when the element has no type; present and empty when it has an empty one.
    std::optional<std::wstring> reportType;
    std::vector<std::wstring> services;
};

/// An element the library does not know.
class CfxUnknown : public ConfigObject {
public:
    static constexpr TypeId type = TypeId::Unknown;
    [[nodiscard]] TypeId typeId() const noexcept override { return type; }
};

class CfxExecuteAction : public ConfigObject {
public:
    static constexpr TypeId type = TypeId::ExecuteAction;
    [[nodiscard]] TypeId typeId() const noexcept override { return type; }

    bool enabled = true;
    std::wstring command;
};

class CfxSelectAction : public ConfigObject {
public:
    static constexpr TypeId type = TypeId::SelectAction;
    [[nodiscard]] TypeId typeId() const noexcept override { return type; }

    std::wstring project;
    std::wstring vehicleInformation;
    bool autoConnect = false;
};

class CfxQuicktestAction : public ConfigObject {
public:
    static constexpr TypeId type = TypeId::QuicktestAction;
    [[nodiscard]] TypeId typeId() const noexcept override { return type; }

    std::wstring reportName;
    bool freezeFrames = false;
    bool extendedData = false;
    bool mileage = false;
    std::vector<std::wstring> items;
    std::vector<TargetSetting> targets;
    std::vector<std::wstring> dtcStatus;
    std::optional<VehicleReportSetting> vehicleReport;
    std::optional<UnlockDescription> unlock;
};

class CfxFlashingAction : public ConfigObject {
public:
    static constexpr TypeId type = TypeId::FlashingAction;
    [[nodiscard]] TypeId typeId() const noexcept override { return type; }

    std::vector<std::wstring> items;
    std::vector<TargetSetting> targets;
    std::optional<UnlockDescription> unlock;
};

class CfxUnlockAction : public ConfigObject {
public:
    static constexpr TypeId type = TypeId::UnlockAction;
    [[nodiscard]] TypeId typeId() const noexcept override { return type; }

    std::optional<UnlockDescription> unlock;
};

/// Root of a script file.
class CfxKelServerScript : public ConfigObject {
public:
    static constexpr TypeId type = TypeId::KelServerScript;
    [[nodiscard]] TypeId typeId() const noexcept override { return type; }

    CfxKelServerScript() = default;
    CfxKelServerScript(const CfxKelServerScript&) = delete;
    CfxKelServerScript& operator=(const CfxKelServerScript&) = delete;
    /// Gives the memory of the actions back to the system.
    ~CfxKelServerScript() override;

    [[nodiscard]] std::uint64_t actionCount() const noexcept { return actions.size(); }
    /// 0-based, in file order. Throws `std::out_of_range`.
    [[nodiscard]] const ConfigObject& action(std::uint64_t index) const {
        return *actions.at(static_cast<std::size_t>(index));
    }

    bool resultLed = true;
    std::vector<Ref<ConfigObject>> actions;
};

} // namespace Config
