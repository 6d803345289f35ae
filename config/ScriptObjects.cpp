#include "config/ScriptObjects.hpp"

#include "platform/FreeMemory.hpp"

namespace Config {

CfxKelServerScript::~CfxKelServerScript() {
    actions = {};
    Quarlen::Platform::releaseFreeMemory();
}

} // namespace Config
