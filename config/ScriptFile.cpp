#include "config/ScriptFile.hpp"

#include <fstream>
#include <string>
#include <string_view>
#include <system_error>

namespace Config {
namespace {

void feedAll(std::ifstream& stream, Xml::Parser& parser) {
    std::string part(std::size_t{256} * 1024, '\0');
    std::size_t size = 0;
    while (stream) {
        stream.read(part.data(), static_cast<std::streamsize>(part.size()));
        const auto count = static_cast<std::size_t>(stream.gcount());
        size += count;
        if (size > maxFileSize) {
            throw Xml::Fault(L"the file is larger than 64 MiB");
        }
        parser.feed(std::string_view(part).substr(0, count));
    }
}

} // namespace

void readXmlFile(const std::filesystem::path& file, Xml::Receiver& receiver) {
    std::error_code error;
    // Other kinds of files can block for ever when they are opened.
    if (!std::filesystem::is_regular_file(file, error)) {
        throw Xml::Fault(L"there is no regular file of this name");
    }
    if (const auto size = std::filesystem::file_size(file, error); !error && size > maxFileSize) {
        throw Xml::Fault(L"the file is larger than 64 MiB");
    }
    std::ifstream stream(file, std::ios::binary);
    Xml::Parser parser(receiver);
    feedAll(stream, parser);
    if (!stream.eof()) {
        throw Xml::Fault(L"the file cannot be read");
    }
    parser.finish();
}

} // namespace Config
