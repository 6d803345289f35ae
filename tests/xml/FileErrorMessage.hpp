#pragma once

#include <string>

#include <gtest/gtest.h>

#include "platform/TextEncoding.hpp"
#include "xml/FileError.hpp"

namespace Xml::Tests {

/// The message, in UTF-8, of the `FileError` that the call throws.
template <class Call>
std::string messageOf(Call call) {
    try {
        call();
    } catch (const FileError& error) {
        return Quarlen::Platform::toUtf8(error.message());
    }
    ADD_FAILURE() << "no exception";
    return {};
}

} // namespace Xml::Tests
