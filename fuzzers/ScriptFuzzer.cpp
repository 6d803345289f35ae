#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "config/ScriptObjects.hpp"
#include "config/ScriptReader.hpp"
#include "xml/Parser.hpp"

namespace {

/// In parts, so that tokens and characters are divided.
void feed(Xml::Parser& parser, std::string_view bytes) {
    constexpr std::size_t part = 7;
    for (; !bytes.empty(); bytes.remove_prefix(std::min(part, bytes.size()))) {
        parser.feed(bytes.substr(0, part));
    }
    parser.finish();
}

} // namespace

/// Whatever a file holds is read or refused with a place inside of it.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    try {
        Config::ScriptReader reader;
        Xml::Parser parser(reader, Config::ScriptReader::limits);
        feed(parser, {reinterpret_cast<const char*>(data), size});
        const auto root = reader.root();
        if (const auto* script = Config::as<Config::CfxKelServerScript>(*root)) {
            for (std::uint64_t index = 0; index < script->actionCount(); ++index) {
                (void)script->action(index).typeId();
            }
        }
    } catch (const Xml::Fault& fault) {
        if (fault.cause().empty() || fault.place().offset > size) {
            std::abort();
        }
    }
    return 0;
}
