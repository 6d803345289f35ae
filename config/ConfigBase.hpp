#pragma once

#include <memory>
#include <string>

#include "config/ConfigObject.hpp"

namespace Config {

/// One configuration file, loaded into objects.
class ConfigBase {
public:
    ConfigBase() = default;
    ConfigBase(const ConfigBase&) = delete;
    ConfigBase& operator=(const ConfigBase&) = delete;
    virtual ~ConfigBase() = default;

    /// False when the file cannot be read, is no well-formed XML or is larger than the library
    /// accepts; then there is no root and an error trace names file, line, column and cause. The
    /// content of the file never causes an exception.
    virtual bool load(const std::wstring& path) = 0;

    /// Null before a successful load.
    [[nodiscard]] virtual Ref<ConfigObject> root() const = 0;

    /// Error message of the last load; empty after a successful load.
    [[nodiscard]] virtual const std::wstring& errorText() const noexcept = 0;
};

std::unique_ptr<ConfigBase> createConfigBase();

} // namespace Config
