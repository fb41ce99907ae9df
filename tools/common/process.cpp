// posix_spawn and its parts.
#include "common/process.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace common {

Process::Process(const std::vector<std::string>& words, const std::string& folder, const std::string& log) {
    std::vector<char*> arguments;
    for (const std::string& word : words) arguments.push_back(const_cast<char*>(word.c_str()));
    arguments.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    if (!folder.empty()) posix_spawn_file_actions_addchdir_np(&actions, folder.c_str());
    if (!log.empty()) {
        posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
        posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, log.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        posix_spawn_file_actions_adddup2(&actions, STDOUT_FILENO, STDERR_FILENO);
    }
    const int error = posix_spawnp(&mChild, arguments[0], &actions, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0) {
        mChild = 0;
        throw std::system_error(error, std::generic_category(), words[0]);
    }
}

bool Process::Wait() {
    if (mChild == 0) return mGood;
    int status = -1;
    while (waitpid(mChild, &status, 0) < 0 && errno == EINTR) {
    }
    mChild = 0;
    mGood = WIFEXITED(status) && WEXITSTATUS(status) == 0;
    return mGood;
}

}  // namespace common
