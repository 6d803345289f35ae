#include "kel_cpp/rpc/AccessTokens.hpp"

#include <algorithm>
#include <charconv>
#include <sstream>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "platform/FileFacts.hpp"
#include "platform/FilePrivacy.hpp"
#include "platform/Sha256.hpp"
#include "platform/SystemError.hpp"
#include "platform/TextEncoding.hpp"
#include "std_util/FileTool.hpp"
#include "std_util/TraceHelper.hpp"

namespace Quarlen::Kel_cpp {

namespace {

Role roleOf(const std::string& text) {
    if (text == "watch") {
        return Role::Watch;
    }
    if (text == "control") {
        return Role::Control;
    }
    throw std::runtime_error("expected the role \"watch\" or \"control\"");
}

/// Goes through all bytes, so that the time tells nothing of where they differ.
template <class Digest>
bool equalInConstantTime(const Digest& left, const Digest& right) {
    unsigned difference = 0;
    for (std::size_t i = 0; i < left.size(); ++i) {
        difference |= static_cast<unsigned>(left[i]) ^ static_cast<unsigned>(right[i]);
    }
    return difference == 0;
}

template <class Digest>
Digest parseDigest(const std::string& text) {
    Digest digest{};
    if (text.size() != digest.size() * 2) {
        throw std::runtime_error("expected the SHA-256 of the token, 64 hexadecimal digits");
    }
    for (std::size_t i = 0; i < digest.size(); ++i) {
        const char* const begin = text.data() + i * 2;
        const auto [end, error] = std::from_chars(begin, begin + 2, digest[i], 16);
        if (error != std::errc() || end != begin + 2) {
            throw std::runtime_error("the SHA-256 of the token has a character that is no "
                                     "hexadecimal digit");
        }
    }
    return digest;
}

[[noreturn]] void throwUnreadable(const std::error_code& cause) {
    throw std::runtime_error(
        Platform::toUtf8(L"the file cannot be read: " + Platform::errorText(cause)));
}

std::string contentOf(const std::filesystem::path& file) {
    try {
        return StdUtil::FileTool::readFile(StdUtil::PathString(file));
    } catch (const std::system_error& error) {
        throwUnreadable(error.code());
    }
}

} // namespace

AccessTokens::AccessTokens(std::filesystem::path file) : file(std::move(file)) {}

std::size_t AccessTokens::countIn(const std::filesystem::path& file) {
    return AccessTokens(file).read().size();
}

std::optional<TokenGrant> AccessTokens::find(std::string_view token) {
    refresh();
    const Digest digest = Platform::sha256(token);
    std::optional<TokenGrant> grant;
    for (const Entry& entry : entries) {
        if (equalInConstantTime(entry.digest, digest)) {
            grant = entry.grant;
        }
    }
    return grant;
}

bool AccessTokens::has(const TokenGrant& grant) const {
    return std::any_of(entries.begin(), entries.end(),
                       [&](const Entry& entry) { return entry.grant == grant; });
}

std::size_t AccessTokens::refresh() {
    if (file.empty()) {
        return changes;
    }
    const Stamp now = stamp();
    if (known == now) {
        return changes;
    }
    ++changes;
    known = now;
    entries.clear();
    try {
        entries = read();
    } catch (const std::exception& error) {
        StdUtil::TraceHelper::ErrorTrace(
            L"kel_cpp/rpc/AccessTokens", __LINE__, L"nobody can log in: %s: %s",
            Platform::fromPath(file).c_str(), Platform::exceptionText(error).c_str());
    }
    return changes;
}

AccessTokens::Stamp AccessTokens::stamp() const {
    std::error_code ignored;
    const Platform::FileFacts facts = Platform::fileFacts(file, ignored);
    return {facts.written, facts.size, Platform::isPrivate(file)};
}

std::vector<AccessTokens::Entry> AccessTokens::read() const {
    std::error_code failure;
    const Platform::FileFacts facts = Platform::fileFacts(file, failure);
    if (failure) {
        throwUnreadable(failure);
    }
    if (facts.kind != Platform::FileKind::Regular) {
        throw std::runtime_error("this is no regular file");
    }
    if (!Platform::isPrivate(file)) {
        throw std::runtime_error("others can read this file; only its owner may");
    }
    if (facts.size > maxFileSize) {
        throw std::runtime_error("the file is larger than " + std::to_string(maxFileSize) +
                                 " bytes");
    }
    std::istringstream content(contentOf(file));
    return entriesOf(content);
}

std::vector<AccessTokens::Entry> AccessTokens::entriesOf(std::istream& stream) {
    std::vector<Entry> found;
    std::size_t number = 0;
    for (std::string line; std::getline(stream, line);) {
        ++number;
        if (!line.empty() && line.back() == '\r') {
            line.pop_back();
        }
        if (line.find_first_not_of(" \t") == std::string::npos || line.front() == '#') {
            continue;
        }
        try {
            found.push_back(parseLine(line));
        } catch (const std::exception& error) {
            throw std::runtime_error("line " + std::to_string(number) + ": " +
                                     Platform::toUtf8(Platform::exceptionText(error)));
        }
    }
    return found;
}

AccessTokens::Entry AccessTokens::parseLine(const std::string& line) {
    std::istringstream words(line);
    std::string role;
    std::string name;
    std::string digest;
    std::string more;
    words >> role >> name >> digest;
    Entry entry{{roleOf(role), Platform::fromUtf8(name)}, parseDigest<Digest>(digest)};
    if (words >> more) {
        throw std::runtime_error("expected a role, a name and a SHA-256, found more");
    }
    return entry;
}

} // namespace Quarlen::Kel_cpp
