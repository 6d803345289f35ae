#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "kel_server_lib/runtime/JobRecords.hpp"
#include "kel_server_lib/runtime/ProjectRecords.hpp"
#include "kel_server_lib/runtime/Record.hpp"
#include "kel_server_lib/runtime/UpdateRecords.hpp"

/// How a recording runtime writes down the arguments of a call, so that two calls with different
/// arguments never have the same text.
namespace Quarlen::Tests::CallText {

/// The only argument of a call, in UTF-8. A text that does not convert is written in code units
/// such as "\D800".
std::string text(const std::wstring& argument);
/// One argument of several: as `text`, in quotation marks when it holds a comma or such marks.
std::string oneOf(const std::wstring& argument);
/// An element of a list: as `oneOf`, in quotation marks also when it is empty.
std::string element(const std::wstring& argument);

/// "a, b"; nothing for the empty list.
std::string list(const std::vector<std::wstring>& texts);
std::string list(const std::vector<std::uint64_t>& numbers);
std::string list(const Kel_cpp::RecordList<Kel_cpp::ServiceInput>& inputs);
std::string list(const Kel_cpp::RecordList<Kel_cpp::TargetFilter>& filters);
/// The paths of the packages.
std::string list(const Kel_cpp::RecordList<Kel_cpp::UpdatePackageInfo>& packages);

/// ", a, b" or nothing, to follow an argument.
std::string following(const std::string& arguments);
/// ", no `name`" for a pointer that is null, else nothing.
template <class Pointer>
std::string whenNull(const char* name, const Pointer& pointer) {
    return pointer ? std::string() : std::string(", no ") + name;
}
/// ", `name` not empty" for an out argument that was handed in with something in it.
std::string whenSet(const char* name, bool set);

} // namespace Quarlen::Tests::CallText
