#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <iosfwd>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "kel_cpp/rpc/RpcClient.hpp"

namespace Quarlen::Kel_cpp {

/// What a token allows.
struct TokenGrant {
    Role role = Role::None;
    /// Names the holder in lists and traces.
    std::wstring name;

    bool operator==(const TokenGrant&) const = default;
};

/// The tokens of clients that are not on this machine. The file has one per line: the role ("watch"
/// or "control"), a name without blanks, and the SHA-256 of the token in hexadecimal digits; empty
/// lines and lines that begin with '#' say nothing. The file holds no token itself, so that who
/// reads it cannot log in. It is read again when it has changed. A file that is missing, malformed
/// or readable by others lets nobody in, and an error trace names place and cause, once for each
/// state of the file. Used on the server's I/O thread only.
class AccessTokens {
public:
    static constexpr std::size_t maxFileSize = std::size_t{1024} * 1024;

    /// An empty path: there are no tokens.
    explicit AccessTokens(std::filesystem::path file);

    /// How many tokens a file has. Throws `std::exception` that tells why it lets nobody in.
    static std::size_t countIn(const std::filesystem::path& file);

    /// Whether a file with tokens has been named at all.
    [[nodiscard]] bool areConfigured() const { return !file.empty(); }
    /// Reads the file again when it has changed. How often that was the case.
    std::size_t refresh();
    [[nodiscard]] bool has(const TokenGrant& grant) const;
    /// What the token allows, or nothing. Takes the same time for each token of the same length.
    [[nodiscard]] std::optional<TokenGrant> find(std::string_view token);

private:
    using Digest = std::array<std::uint8_t, 32>;
    struct Entry {
        TokenGrant grant;
        Digest digest{};
    };
    /// Tells one state of the file from another.
    struct Stamp {
        std::chrono::system_clock::time_point time;
        std::uintmax_t size = 0;
        bool readable = false;
        bool operator==(const Stamp&) const = default;
    };

    [[nodiscard]] Stamp stamp() const;
    [[nodiscard]] std::vector<Entry> read() const;
    [[nodiscard]] static std::vector<Entry> entriesOf(std::istream& stream);
    [[nodiscard]] static Entry parseLine(const std::string& line);

    const std::filesystem::path file;
    std::optional<Stamp> known;
    std::vector<Entry> entries;
    std::size_t changes = 0;
};

} // namespace Quarlen::Kel_cpp
