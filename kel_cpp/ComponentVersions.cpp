#include "kel_cpp/ComponentVersions.hpp"

#include <boost/version.hpp>
#include <pugixml.hpp>
#include <zip.h>

#include "platform/TextEncoding.hpp"

namespace Quarlen::Kel_cpp {

namespace {

constexpr std::int32_t runtimeKind = 0;
constexpr std::int32_t libraryKind = 2;

/// Version of the D-PDU layer between UDS and the vehicle interfaces. It changes with the interface
/// of the layer, not with the program.
constexpr const wchar_t* dpduLayerVersion = L"1.0.0";

std::shared_ptr<ComponentVersion> component(std::int32_t kind, std::wstring version) {
    auto entry = std::make_shared<ComponentVersion>();
    entry->kind = kind;
    entry->version = std::move(version);
    return entry;
}

std::wstring dotted(int major, int minor) {
    return std::to_wstring(major) + L"." + std::to_wstring(minor);
}

} // namespace

std::wstring runtimeVersion() {
    return KEL_VERSION;
}

RecordList<ComponentVersion> componentVersions() {
    return {
        component(ComponentVersion::dpduApiKind, dpduLayerVersion),
        component(runtimeKind, runtimeVersion()),
        // PUGIXML_VERSION is major * 1000 + minor * 10
        component(libraryKind,
                  L"pugixml " + dotted(PUGIXML_VERSION / 1000, PUGIXML_VERSION % 1000 / 10)),
        // BOOST_VERSION is major * 100000 + minor * 100 + patch
        component(libraryKind,
                  L"boost " + dotted(BOOST_VERSION / 100000, BOOST_VERSION / 100 % 1000)),
        component(libraryKind, L"libzip " + Platform::fromUtf8(zip_libzip_version())),
    };
}

} // namespace Quarlen::Kel_cpp
