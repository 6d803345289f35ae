#include "std_util/TraceHelper.hpp"

#include <array>
#include <cstdarg>
#include <cwchar>
#include <optional>
#include <string_view>
#include <vector>

namespace StdUtil::TraceHelper {
namespace {

/// Enough for nearly every trace, so that most need no allocated buffer.
constexpr std::size_t usualLength = 512;
/// 1 MiB; longer texts are cut.
constexpr std::size_t maxTextLength = std::size_t{1024} * 1024 / sizeof(wchar_t);

constexpr std::wstring_view flagsAndWidth = L"-+ #0123456789*";
constexpr std::wstring_view precisionDigits = L"0123456789*";

/// Position after the run of characters out of `set`.
std::size_t skip(std::wstring_view format, std::size_t position, std::wstring_view set) {
    const std::size_t end = format.find_first_not_of(set, position);
    return end == std::wstring_view::npos ? format.size() : end;
}

/// `%s` as `%ls`, which means a wide text on every platform; everything else stays as it is. With a
/// limit, texts without a precision of their own are cut to so many characters.
std::wstring translate(std::wstring_view format, std::optional<std::size_t> limit) {
    std::wstring translated;
    std::size_t copied = 0;
    for (std::size_t percent = format.find(L'%'); percent != std::wstring_view::npos;
         percent = format.find(L'%', copied)) {
        std::size_t end = skip(format, percent + 1, flagsAndWidth);
        const bool precise = end < format.size() && format[end] == L'.';
        end = precise ? skip(format, end + 1, precisionDigits) : end;
        translated.append(format, copied, end - copied);
        copied = end;
        const std::wstring_view rest = format.substr(end);
        if (!rest.starts_with(L"s") && !rest.starts_with(L"ls")) {
            copied += rest.empty() ? 0 : 1; // the second sign of "%%" starts nothing
            translated.append(rest, 0, copied - end);
            continue;
        }
        translated += limit && !precise ? L"." + std::to_wstring(*limit) + L"ls" : L"ls";
        copied += rest.front() == L'l' ? 2 : 1;
    }
    return translated.append(format, copied);
}

/// Nothing when the text does not fit.
std::optional<std::wstring> tryFormat(wchar_t* buffer, std::size_t size, const wchar_t* format,
                                      std::va_list arguments) {
    std::va_list copy;
    va_copy(copy, arguments);
    const int written = std::vswprintf(buffer, size, format, copy);
    va_end(copy);
    if (written < 0 || static_cast<std::size_t>(written) >= size) {
        return std::nullopt;
    }
    return std::wstring(buffer, static_cast<std::size_t>(written));
}

std::optional<std::wstring> formatGrowing(const std::wstring& format, std::va_list arguments) {
    std::array<wchar_t, usualLength> usual{};
    std::optional<std::wstring> text =
        tryFormat(usual.data(), usual.size(), format.c_str(), arguments);
    for (std::size_t size = usualLength * 8; !text && size <= maxTextLength; size *= 8) {
        std::vector<wchar_t> buffer(size);
        text = tryFormat(buffer.data(), buffer.size(), format.c_str(), arguments);
    }
    return text;
}

/// Every text gets an equal share of the longest text, half of which is kept for the rest.
std::size_t shareOfEachText(std::wstring_view format) {
    std::size_t conversions = 1;
    for (const wchar_t letter : format) {
        conversions += letter == L'%' ? 1U : 0U;
    }
    return maxTextLength / 2 / conversions;
}

std::wstring formatText(const wchar_t* format, std::va_list arguments) {
    std::optional<std::wstring> text = formatGrowing(translate(format, std::nullopt), arguments);
    if (!text) {
        text = formatGrowing(translate(format, shareOfEachText(format)), arguments);
    }
    // For a format that the C library refuses, the format itself is the text.
    return text ? *text : std::wstring(format).substr(0, maxTextLength);
}

void trace(TraceLine line, const wchar_t* format, std::va_list arguments) {
    line.text = formatText(format, arguments);
    ErrorHandler::dispatch(line);
}

} // namespace

bool isActive(TraceLevel level) {
    return ErrorHandler::listenerCount() > 0 &&
           ErrorHandler::debugTraceLevel() >= static_cast<int>(level);
}

void DebugTrace(const wchar_t* source, int line, const wchar_t* format, ...) {
    if (!isActive(TraceLevel::Debug)) {
        return;
    }
    std::va_list arguments;
    va_start(arguments, format);
    trace({TraceLevel::Debug, source, line, {}}, format, arguments);
    va_end(arguments);
}

void InfoTrace(const wchar_t* source, int line, const wchar_t* format, ...) {
    if (!isActive(TraceLevel::Info)) {
        return;
    }
    std::va_list arguments;
    va_start(arguments, format);
    trace({TraceLevel::Info, source, line, {}}, format, arguments);
    va_end(arguments);
}

void ErrorTrace(const wchar_t* source, int line, const wchar_t* format, ...) {
    if (!isActive(TraceLevel::Error)) {
        return;
    }
    std::va_list arguments;
    va_start(arguments, format);
    trace({TraceLevel::Error, source, line, {}}, format, arguments);
    va_end(arguments);
}

} // namespace StdUtil::TraceHelper
