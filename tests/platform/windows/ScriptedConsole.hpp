#pragma once

#include <algorithm>
#include <map>
#include <string>
#include <vector>

#include "platform/windows/ConsoleCalls.hpp"

namespace Quarlen::Platform::Tests {

/// Stands in for the system's console: its modes, and what was written. Handles without a mode are
/// no consoles.
class ScriptedConsole {
public:
    ConsoleCalls calls() {
        return {.getMode = [this](HANDLE handle, DWORD* mode) { return getMode(handle, mode); },
                .setMode = [this](HANDLE handle, DWORD mode) { return setMode(handle, mode); },
                .writeText = [this](HANDLE, const wchar_t* text, DWORD size,
                                    DWORD* count) { return write(text, size, count); },
                .writeBytes = [this](HANDLE, const char* text, DWORD size,
                                     DWORD* count) { return writeFile(text, size, count); }};
    }

    std::map<HANDLE, DWORD> modes;
    /// Every mode that was set.
    std::vector<DWORD> changes;
    /// What the next writes take, -1 for a failure; everything where there is no answer.
    std::vector<int> answers;
    std::vector<std::wstring> pieces;
    std::string bytes;

    [[nodiscard]] std::wstring shown() const {
        std::wstring result;
        for (const std::wstring& piece : pieces) {
            result += piece;
        }
        return result;
    }

private:
    BOOL getMode(HANDLE handle, DWORD* mode) const {
        const auto found = modes.find(handle);
        if (found == modes.end()) {
            return FALSE;
        }
        *mode = found->second;
        return TRUE;
    }

    BOOL setMode(HANDLE handle, DWORD mode) {
        modes[handle] = mode;
        changes.push_back(mode);
        return TRUE;
    }

    BOOL take(DWORD size, DWORD* count) {
        const int answer = answers.empty() ? static_cast<int>(size) : answers.front();
        if (!answers.empty()) {
            answers.erase(answers.begin());
        }
        *count = static_cast<DWORD>(std::max(answer, 0));
        return answer < 0 ? FALSE : TRUE;
    }

    BOOL write(const wchar_t* text, DWORD size, DWORD* count) {
        const BOOL result = take(size, count);
        pieces.emplace_back(text, *count);
        return result;
    }

    BOOL writeFile(const char* text, DWORD size, DWORD* count) {
        const BOOL result = take(size, count);
        bytes.append(text, *count);
        return result;
    }
};

} // namespace Quarlen::Platform::Tests
