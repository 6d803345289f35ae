#pragma once

#include <memory>
#include <string>

#include "config/ConfigObject.hpp"

namespace Config {

/// One configuration file, loaded into objects. A script comes from people and may be wrong or as
/// large as a disk: it is read in parts, only what it says is kept, and what is wrong ends as one
/// error text with the place in the file instead of an exception, because a run of such a script
/// ends, not the program. Who needs a file makes a `ConfigBase`, loads it and asks for the root;
/// the objects are counted references, so they live as long as somebody holds one, also without
/// their file. Loading belongs to one thread at a time; the objects do not change afterwards and
/// may be read by any thread.
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
