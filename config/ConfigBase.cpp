#include "config/ConfigBase.hpp"

#include <new>
#include <string_view>

#include "config/FileError.hpp"
#include "config/ScriptReader.hpp"
#include "config/XmlText.hpp"
#include "config/XmlTree.hpp"
#include "platform/TextEncoding.hpp"
#include "std_util/TraceHelper.hpp"

namespace Config {
namespace {

std::wstring describe(const std::wstring& path, std::string_view text, const FileError& error) {
    const TextPosition position = positionOf(text, error.offset());
    return path + L":" + std::to_wstring(position.line) + L":" + std::to_wstring(position.column) +
           L": " + error.cause();
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
    if (!error.empty()) {
        StdUtil::TraceHelper::ErrorTrace(L"config/ConfigBase", __LINE__, L"%s", error.c_str());
    }
    return error.empty();
}

/// Sets either the root or the error.
void XmlConfig::read(const std::wstring& path) {
    std::string text;
    try {
        text = decodeXml(readXmlBytes(Quarlen::Platform::toPath(path)));
        checkCharacters(text);
        const XmlTree tree(text);
        rootObject = readRoot(tree.root());
    } catch (const FileError& fault) {
        error = describe(path, text, fault);
    }
}

} // namespace

std::unique_ptr<ConfigBase> createConfigBase() {
    return std::make_unique<XmlConfig>();
}

} // namespace Config
