#pragma once

#include <cstddef>
#include <deque>
#include <filesystem>
#include <memory>
#include <string>

struct zip;

namespace Quarlen::Ctl {

/// A new ZIP file. Nothing stands at its place before `finish` has written it as a whole.
class Archive {
public:
    /// The directory must exist. Throws `Failure` (Refused).
    explicit Archive(std::filesystem::path file);

    /// `name` has slashes between its parts. A name that is there already is replaced.
    void add(const std::string& name, std::string content);
    void finish();

private:
    struct Discard {
        void operator()(zip* archive) const noexcept;
    };
    [[noreturn]] void fail(const std::string& cause) const;

    const std::filesystem::path file;
    /// Read when the archive is written.
    std::deque<std::string> contents;
    std::unique_ptr<zip, Discard> archive;
};

} // namespace Quarlen::Ctl
