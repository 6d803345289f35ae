#pragma once

#include <cstdint>
#include <string>

#include <gtest/gtest.h>

#include "kel_cpp/base/RuntimeError.hpp"
#include "platform/TextEncoding.hpp"

namespace Quarlen::Kel_cpp::Tests {

/// The message, in UTF-8, of the `KelApiException` that the call throws; its code must be
/// `expected`.
template <class Call>
std::string messageOf(Call call, ErrorCode expected = ErrorCode::Configuration) {
    try {
        call();
    } catch (const KelApiException& exception) {
        EXPECT_EQ(exception.code(), static_cast<std::int32_t>(expected));
        return Platform::toUtf8(exception.message());
    }
    ADD_FAILURE() << "no exception";
    return {};
}

} // namespace Quarlen::Kel_cpp::Tests
