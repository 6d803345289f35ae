#include "kel_server_lib/devices/StatusLed.hpp"

#include <filesystem>
#include <memory>
#include <mutex>
#include <set>
#include <system_error>
#include <utility>

#include "platform/ExistingFile.hpp"
#include "platform/TextEncoding.hpp"
#include "std_util/TraceHelper.hpp"

namespace Quarlen {

using Platform::ExistingFile;

namespace {

/// Each file's failure is traced once per process, because the LED is set again and again.
bool isFirstFailure(const std::string& file) {
    static std::mutex mutex;
    static std::set<std::string> failed;
    const std::lock_guard lock(mutex);
    return failed.insert(file).second;
}

class ColourFile {
public:
    explicit ColourFile(std::string path)
        : path(std::move(path)), file(ExistingFile::open(this->path)) {
        std::error_code ignored;
        if (!file && std::filesystem::exists(this->path, ignored)) {
            traceFailure();
        }
    }

    [[nodiscard]] bool isOpen() const { return file != nullptr; }

    void write(std::int32_t intensity) const {
        if (!file->replaceContent(std::to_string(intensity))) {
            traceFailure();
        }
    }

private:
    void traceFailure() const {
        if (isFirstFailure(path)) {
            StdUtil::TraceHelper::ErrorTrace(L"kel_server_lib/devices/StatusLed", __LINE__,
                                             L"the LED file %s cannot be written",
                                             Platform::fromUtf8(path).c_str());
        }
    }

    std::string path;
    std::unique_ptr<ExistingFile> file;
};

} // namespace

void setLed(const std::string& prefix, const LedColour& colour) {
    if (prefix.empty()) {
        return;
    }
    const ColourFile red(prefix + "red/brightness");
    const ColourFile green(prefix + "green/brightness");
    const ColourFile blue(prefix + "blue/brightness");
    if (red.isOpen() && green.isOpen() && blue.isOpen()) {
        red.write(colour.red);
        green.write(colour.green);
        blue.write(colour.blue);
    }
}

} // namespace Quarlen
