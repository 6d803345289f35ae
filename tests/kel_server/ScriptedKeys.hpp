#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <utility>

#include "platform/KeyReader.hpp"

namespace Quarlen::Tests {

/// A keyboard on which the keys of a text are pressed one after the other; then the input ends.
class ScriptedKeys : public Platform::KeyReader {
public:
    /// `onRelease` is called when the reader is destroyed, with the number of keys that were read;
    /// `beforeKey` on the reading thread before every key.
    explicit ScriptedKeys(std::string keys, std::function<void(std::size_t)> onRelease = nullptr,
                          std::function<void()> beforeKey = nullptr)
        : keys(std::move(keys)), onRelease(std::move(onRelease)), beforeKey(std::move(beforeKey)) {}
    ScriptedKeys(const ScriptedKeys&) = delete;
    ScriptedKeys& operator=(const ScriptedKeys&) = delete;
    ~ScriptedKeys() override {
        if (onRelease) {
            onRelease(position);
        }
    }

    std::optional<int> readKey() override {
        if (beforeKey) {
            beforeKey();
        }
        if (position == keys.size()) {
            return std::nullopt;
        }
        return static_cast<unsigned char>(keys[position++]);
    }

private:
    std::string keys;
    std::function<void(std::size_t)> onRelease;
    std::function<void()> beforeKey;
    std::size_t position = 0;
};

} // namespace Quarlen::Tests
