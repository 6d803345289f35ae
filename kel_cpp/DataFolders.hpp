#pragma once

#include <filesystem>

#include "kel_server_lib/runtime/ProjectRecords.hpp"

namespace Quarlen::Kel_cpp {

/// Name of the data folder that flash files lie in.
inline constexpr const wchar_t* flashDataFolder = L"flashdata";

/// The folders below `dataPath` with the regular files that lie directly in them, both in ascending
/// order of their names, the files with absolute paths. The list is empty when the data path is
/// missing.
RecordList<DataFolder> listDataFolders(const std::filesystem::path& dataPath);

} // namespace Quarlen::Kel_cpp
