#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "config/FileError.hpp"
#include "config/ScriptObjects.hpp"
#include "config/ScriptReader.hpp"
#include "config/XmlText.hpp"
#include "config/XmlTree.hpp"

/// Whatever a file holds is read or refused with a place inside of it.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string text;
    try {
        text = Config::decodeXml(std::string(reinterpret_cast<const char*>(data), size));
        Config::checkCharacters(text);
        const auto root = Config::readRoot(Config::XmlTree(text).root());
        if (const auto* script = Config::as<Config::CfxKelServerScript>(*root)) {
            for (std::uint64_t index = 0; index < script->actionCount(); ++index) {
                (void)script->action(index).typeId();
            }
        }
    } catch (const Config::FileError& error) {
        if (error.cause().empty() || error.offset() > text.size()) {
            std::abort();
        }
        (void)Config::positionOf(text, error.offset());
    }
    return 0;
}
