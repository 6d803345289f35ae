#include "platform/FileViewer.hpp"

#include <fcntl.h>
#include <spawn.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

namespace Quarlen::Platform {

bool openInViewer(const std::filesystem::path& file) {
    std::string program = "xdg-open";
    std::string argument = file.string();
    char* const arguments[] = {program.data(), argument.data(), nullptr};
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    for (const int stream : {STDOUT_FILENO, STDERR_FILENO}) {
        ::posix_spawn_file_actions_addopen(&actions, stream, "/dev/null", O_WRONLY, 0);
    }
    pid_t child = 0;
    const int error =
        ::posix_spawnp(&child, program.c_str(), &actions, nullptr, arguments, environ);
    ::posix_spawn_file_actions_destroy(&actions);
    if (error != 0) {
        return false;
    }
    // It hands the file on to a viewer and ends.
    int status = 0;
    return ::waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

} // namespace Quarlen::Platform
