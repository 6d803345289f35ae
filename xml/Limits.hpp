#pragma once

#include <cstddef>
#include <limits>

namespace Xml {

/// What one file may cost whoever reads it. Each user gives its own values with their reasons; what
/// it leaves out has no bound.
struct Limits {
    static constexpr std::size_t none = std::numeric_limits<std::size_t>::max();

    /// Bytes of the file, for `readFile`.
    std::size_t size = none;
    /// Nesting depth of elements.
    std::size_t depth = none;
    /// Elements of the file.
    std::size_t tags = none;
    /// Attributes of one element.
    std::size_t attributes = none;
    /// Bytes of one tag, comment or instruction, where a file is fed in parts.
    std::size_t markup = none;
    /// Bytes that the parser may hold at one time.
    std::size_t memory = none;
    /// Refuses every encoding other than UTF-8 and its subset US-ASCII: for users that look at the
    /// file's own bytes, whose offsets are the places in a `Source` and of an `Editor`'s changes.
    bool onlyUtf8 = false;
};

/// The limits of a file of at most `size` bytes that is kept as text and tree (`Source`).
constexpr Limits limitsOfTree(std::size_t size) {
    // A tree is freed by recursion.
    constexpr std::size_t maxDepth = 256;
    // An element takes a tree some hundred bytes.
    constexpr std::size_t maxTags = 1'048'576;
    // Readers look for an attribute by going through those of its element.
    constexpr std::size_t maxAttributes = 256;
    return {.size = size,
            .depth = maxDepth,
            .tags = maxTags,
            .attributes = maxAttributes,
            // The whole text is in memory already.
            .markup = size,
            // A file of nothing but names needs the most beside its text.
            .memory = 16 * size,
            .onlyUtf8 = true};
}

} // namespace Xml
