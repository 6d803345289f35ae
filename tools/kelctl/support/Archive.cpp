#include "tools/kelctl/support/Archive.hpp"

#include <system_error>
#include <utility>

#include <zip.h>

#include "platform/SystemError.hpp"
#include "platform/TextEncoding.hpp"
#include "tools/kelctl/base/Failure.hpp"

namespace Quarlen::Ctl {

namespace {

std::string textOf(zip_error_t& error) {
    const std::error_code cause(zip_error_code_system(&error), std::generic_category());
    const char* const words = zip_error_strerror(&error);
    return zip_error_system_type(&error) == ZIP_ET_SYS
               ? Platform::toUtf8(Platform::textWithCause(words, cause.message(), cause))
               : words;
}

/// Of an archive that could not be opened just now: `errno` has the system's part of the error.
std::string textOfCode(int code) {
    zip_error_t error;
    zip_error_init_with_code(&error, code);
    std::string text = textOf(error);
    zip_error_fini(&error);
    return text;
}

} // namespace

void Archive::Discard::operator()(zip* archive) const noexcept {
    ::zip_discard(archive);
}

Archive::Archive(std::filesystem::path target) : file(std::move(target)) {
    int code = ZIP_ER_OK;
    archive.reset(::zip_open(Platform::toUtf8(Platform::fromPath(file)).c_str(),
                             ZIP_CREATE | ZIP_TRUNCATE, &code));
    if (archive == nullptr) {
        fail(textOfCode(code));
    }
}

void Archive::add(const std::string& name, std::string content) {
    contents.push_back(std::move(content));
    const std::string& kept = contents.back();
    zip_source_t* const source = ::zip_source_buffer(archive.get(), kept.data(), kept.size(), 0);
    if (source == nullptr || ::zip_file_add(archive.get(), name.c_str(), source,
                                            ZIP_FL_ENC_UTF_8 | ZIP_FL_OVERWRITE) < 0) {
        const std::string cause = textOf(*::zip_get_error(archive.get()));
        ::zip_source_free(source);
        fail(cause);
    }
}

void Archive::finish() {
    if (::zip_close(archive.get()) != 0) {
        fail(textOf(*::zip_get_error(archive.get())));
    }
    static_cast<void>(archive.release());
}

void Archive::fail(const std::string& cause) const {
    throw Failure(ExitCode::Refused,
                  Platform::toUtf8(Platform::fromPath(file)) + " cannot be written: " + cause);
}

} // namespace Quarlen::Ctl
