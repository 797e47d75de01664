#include "bench/linux/others.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include "bench/pairs.h"

namespace bench {
namespace {

constexpr const char* kCupsBackend = "/usr/lib/cups/backend/socket";

std::vector<char*> pointers(Words& words) {
    std::vector<char*> result;
    for (std::string& word : words) result.push_back(word.data());
    result.push_back(nullptr);
    return result;
}

void wait_for(pid_t process, const char* name) {
    int status = -1;
    require(waitpid(process, &status, 0) == process && WIFEXITED(status) && WEXITSTATUS(status) == 0,
            std::string(name) + " failed");
}

}  // namespace

pid_t start(Words arguments, int output, Words environment) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    if (output >= 0) posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
    const std::string program = arguments[0];
    pid_t process = -1;
    const int error = posix_spawn(&process, program.c_str(), &actions, nullptr, pointers(arguments).data(),
                                  pointers(environment).data());
    posix_spawn_file_actions_destroy(&actions);
    require(error == 0, program + " cannot be started");
    return process;
}

bool has_cups_backend() {
    return access(kCupsBackend, X_OK) == 0;
}

void send_by_cups(std::uint16_t port, const std::string& file) {
    const std::string device = "socket://127.0.0.1:" + std::to_string(port) + "/?snmp=false";
    wait_for(start({kCupsBackend, "1", "client", "document", "1", "", file}, -1,
                   {"DEVICE_URI=" + device, "PRINTER=Printer", "LANG=C"}),
             "the cups backend");
}

}  // namespace bench
