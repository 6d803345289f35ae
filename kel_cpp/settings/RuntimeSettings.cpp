#include "kel_cpp/settings/RuntimeSettings.hpp"

namespace Quarlen::Kel_cpp {

namespace {

template <class Element, class Copy>
RecordList<Element> copyList(const RecordList<Element>& list, Copy copy) {
    RecordList<Element> result;
    result.reserve(list.size());
    for (const auto& element : list) {
        if (element) {
            result.push_back(copy(*element));
        }
    }
    return result;
}

template <class Element>
std::shared_ptr<Element> copyPlain(const Element& element) {
    return std::make_shared<Element>(element);
}

std::shared_ptr<InterfaceGroup> copyGroup(const InterfaceGroup& group) {
    auto result = std::make_shared<InterfaceGroup>(group);
    result->interfaces = copyList(group.interfaces, copyPlain<InterfaceEntry>);
    return result;
}

} // namespace

std::shared_ptr<ServerConfiguration> deepCopy(const ServerConfiguration& record) {
    auto result = std::make_shared<ServerConfiguration>(record);
    result->serverAddresses = copyList(record.serverAddresses, copyPlain<ServerAddress>);
    return result;
}

std::shared_ptr<InterfaceSettings> deepCopy(const InterfaceSettings& record) {
    auto result = std::make_shared<InterfaceSettings>(record);
    result->groups = copyList(record.groups, copyGroup);
    return result;
}

} // namespace Quarlen::Kel_cpp
