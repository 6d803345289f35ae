#include <array>
#include <cstddef>
#include <fstream>
#include <functional>
#include <iterator>
#include <ostream>
#include <regex>
#include <stdexcept>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "config/ConfigBase.hpp"
#include "platform/TextEncoding.hpp"
#include "tests/support/TemporaryFolder.hpp"

namespace Config::Tests {
namespace {

constexpr std::size_t megabyte = std::size_t{1024} * 1024;
/// The largest file that is read at all is 64 MB.
constexpr std::size_t large = 60 * megabyte;

/// Of this process: "VmRSS", "VmHWM".
std::size_t memory(const std::string& field) {
    std::ifstream status("/proc/self/status");
    const std::string text((std::istreambuf_iterator<char>(status)), {});
    std::smatch found;
    if (!std::regex_search(text, found, std::regex(field + R"(:\s+(\d+) kB)"))) {
        throw std::runtime_error("the system does not tell " + field);
    }
    return std::stoul(found[1]) * 1024;
}

struct Use {
    std::size_t before;
    std::size_t peak;
    std::size_t after;
};

Use loadAndForget(const std::wstring& file) {
    Use use{memory("VmRSS"), 0, 0};
    {
        const auto config = createConfigBase();
        (void)config->load(file);
    }
    use.peak = memory("VmHWM");
    use.after = memory("VmRSS");
    return use;
}

/// In a process of its own, whose memory nothing else has touched.
Use useInAChild(const std::wstring& file) {
    std::array<int, 2> ends{};
    if (pipe(ends.data()) != 0) {
        throw std::runtime_error("no pipe");
    }
    const pid_t child = fork();
    if (child == 0) {
        const Use use = loadAndForget(file);
        _exit(write(ends[1], &use, sizeof(use)) == sizeof(use) ? 0 : 1);
    }
    close(ends[1]);
    Use use{};
    const bool told = read(ends[0], &use, sizeof(use)) == sizeof(use);
    close(ends[0]);
    int status = 0;
    if (waitpid(child, &status, 0) != child || !told || status != 0) {
        throw std::runtime_error("the child failed");
    }
    return use;
}

struct LargeFile {
    const char* subject;
    std::string begin;
    /// Repeated up to `size`; "#" stands for a number that grows.
    std::string part;
    std::string end;
    std::size_t size;
};

void PrintTo(const LargeFile& file, std::ostream* out) {
    *out << file.subject;
}

void write(const LargeFile& file, std::ostream& output) {
    const auto place = file.part.find('#');
    std::size_t written = file.begin.size();
    output << file.begin;
    for (std::size_t number = 0; written < file.size; ++number) {
        auto part = file.part;
        if (place != std::string::npos) {
            part.replace(place, 1, std::to_string(number));
        }
        output << part;
        written += part.size();
    }
    output << file.end;
}

class ScriptMemory : public testing::TestWithParam<LargeFile> {};

TEST_P(ScriptMemory, StaysBoundedAndIsGivenBack) {
    const Quarlen::Tests::TemporaryFolder folder;
    const auto path = folder.path() / "large.xml";
    {
        std::ofstream output(path, std::ios::binary);
        write(GetParam(), output);
    }

    const Use use = useInAChild(Quarlen::Platform::fromPath(path));

    EXPECT_LT(use.peak, 96 * megabyte);
    EXPECT_LT(use.after, use.before + 8 * megabyte);
}

const std::string root = "<KelServerScript>";
const std::string rootEnd = "</KelServerScript>";
const std::string flashing = root + "<FlashingAction>";
const std::string flashingEnd = "</FlashingAction>" + rootEnd;

INSTANTIATE_TEST_SUITE_P(
    OfFiles, ScriptMemory,
    testing::Values(
        LargeFile{"Attributes", root, "<x a='' b='' c='' d='' e='' f=''/>", rootEnd, large},
        LargeFile{"Tags", root, "<x/>", rootEnd, large},
        LargeFile{"Names", root, "<n#/>", rootEnd, large},
        LargeFile{"AttributesOfOneTag", root + "<x", " a#=''", "/>" + rootEnd, 3 * megabyte},
        LargeFile{"Actions", root, "<ExecuteAction command='#'/>", rootEnd, 5 * megabyte},
        LargeFile{"Items", flashing, "<Item>#</Item>", flashingEnd, 4 * megabyte},
        LargeFile{"ManyItems", flashing, "<Item>#</Item>", flashingEnd, large},
        LargeFile{"OneText", flashing + "<Item>", std::string(64, 'x'), "</Item>" + flashingEnd,
                  large},
        LargeFile{"OneComment", root + "<!--", std::string(64, 'x'), "-->" + rootEnd, large},
        LargeFile{"OneName", "<n", std::string(64, 'n'), "/>", large},
        LargeFile{"Declarations", "<!DOCTYPE a [", "<!ELEMENT n# ANY>", "]><a/>", large},
        LargeFile{"TextBesideActions", root, std::string(64, ' '), rootEnd, large},
        LargeFile{"TooLarge", root, "<x a='' b='' c='' d='' e='' f=''/>", rootEnd, 200 * megabyte}),
    [](const auto& test) { return test.param.subject; });

} // namespace
} // namespace Config::Tests
