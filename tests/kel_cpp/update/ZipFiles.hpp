#pragma once

#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include <zip.h>

#include "kel_server_lib/runtime/KelApiException.hpp"

namespace Quarlen::Kel_cpp::Tests {

/// Writes an archive whose entries hold their own names.
inline std::filesystem::path writeZip(const std::filesystem::path& file,
                                      const std::vector<std::string>& names) {
    std::filesystem::create_directories(file.parent_path());
    zip_t* archive = zip_open(file.string().c_str(), ZIP_CREATE | ZIP_TRUNCATE, nullptr);
    for (const std::string& name : names) {
        zip_source_t* source = zip_source_buffer(archive, name.data(), name.size(), 0);
        const zip_int64_t index = zip_file_add(archive, name.c_str(), source, ZIP_FL_ENC_UTF_8);
        if (index < 0) {
            throw std::runtime_error("cannot add " + name);
        }
        zip_set_file_compression(archive, static_cast<zip_uint64_t>(index), ZIP_CM_STORE, 0);
    }
    if (zip_close(archive) != 0) {
        throw std::runtime_error("cannot write " + file.string());
    }
    return file;
}

/// Writes an archive whose entries, "a", "aa" and so on, are packed as small as can be.
inline std::filesystem::path writeDeflatedZip(const std::filesystem::path& file,
                                              const std::string& content, std::size_t entries = 1) {
    zip_t* archive = zip_open(file.string().c_str(), ZIP_CREATE | ZIP_TRUNCATE, nullptr);
    for (std::size_t length = 1; length <= entries; ++length) {
        zip_source_t* source = zip_source_buffer(archive, content.data(), content.size(), 0);
        zip_file_add(archive, std::string(length, 'a').c_str(), source, ZIP_FL_ENC_UTF_8);
    }
    if (zip_close(archive) != 0) {
        throw std::runtime_error("cannot write " + file.string());
    }
    return file;
}

template <class Function>
std::wstring messageOf(Function function) {
    try {
        function();
    } catch (const KelApiException& error) {
        return error.message();
    }
    return {};
}

} // namespace Quarlen::Kel_cpp::Tests
