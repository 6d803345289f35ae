#include "config/ConfigBase.hpp"

#include <new>
#include <string_view>

#include "config/ScriptReader.hpp"
#include "platform/FreeMemory.hpp"
#include "platform/TextEncoding.hpp"
#include "std_util/TraceHelper.hpp"
#include "xml/Fault.hpp"
#include "xml/FileBytes.hpp"
#include "xml/Parser.hpp"

namespace Config {
namespace {

std::wstring describe(const std::wstring& path, const Xml::Fault& fault) {
    const Xml::Place& place = fault.place();
    return path + L":" + std::to_wstring(place.line) + L":" + std::to_wstring(place.column) +
           L": " + fault.cause();
}

class XmlConfig : public ConfigBase {
public:
    bool load(const std::wstring& path) override;
    [[nodiscard]] Ref<ConfigObject> root() const override { return rootObject; }
    [[nodiscard]] const std::wstring& errorText() const noexcept override { return error; }

private:
    void read(const std::wstring& path);

    Ref<ConfigObject> rootObject;
    std::wstring error;
};

bool XmlConfig::load(const std::wstring& path) {
    rootObject = {};
    error.clear();
    try {
        read(path);
    } catch (const std::bad_alloc&) {
        error = path + L": not enough memory";
    }
    Quarlen::Platform::releaseFreeMemory();
    if (!error.empty()) {
        StdUtil::TraceHelper::ErrorTrace(L"config/ConfigBase", __LINE__, L"%s", error.c_str());
    }
    return error.empty();
}

/// Only a small part of the file is in memory at one time. Sets either the root or the error.
void XmlConfig::read(const std::wstring& path) {
    ScriptReader reader;
    try {
        Xml::Parser parser(reader, ScriptReader::limits);
        Xml::readFile(Quarlen::Platform::toPath(path), ScriptReader::limits.size,
                      [&](std::string_view part) { parser.feed(part); });
        parser.finish();
        rootObject = reader.root();
    } catch (const Xml::Fault& fault) {
        error = describe(path, fault);
    }
}

} // namespace

std::unique_ptr<ConfigBase> createConfigBase() {
    return std::make_unique<XmlConfig>();
}

} // namespace Config
