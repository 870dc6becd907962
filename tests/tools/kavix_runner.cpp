#include "tools/kavix_runner.h"

#include <errno.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <sstream>
#include <stdexcept>

extern char **environ;

namespace kavix::test {

namespace {

std::string slurp(const std::filesystem::path &p) {
    std::ifstream in(p, std::ios::binary);
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
}

}  // namespace

KavixRunner::KavixRunner() {
    std::string pattern = (std::filesystem::temp_directory_path() / "kavix_tool_XXXXXX").string();
    if (!mkdtemp(pattern.data())) throw std::runtime_error("mkdtemp failed");
    dir_ = pattern;
}

KavixRunner::~KavixRunner() {
    std::error_code ignored;
    std::filesystem::remove_all(dir_, ignored);
}

ToolResult KavixRunner::run(const std::vector<std::string> &args) const {
    const std::string tool = KAVIX_TOOL_PATH;
    const std::string out_file = (dir_ / ".stdout").string(), err_file = (dir_ / ".stderr").string();
    std::vector<char *> argv;
    argv.push_back(const_cast<char *>(tool.c_str()));
    for (const std::string &a : args) argv.push_back(const_cast<char *>(a.c_str()));
    argv.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 1, out_file.c_str(), O_WRONLY | O_CREAT | O_TRUNC,
                                     0600);
    posix_spawn_file_actions_addopen(&actions, 2, err_file.c_str(), O_WRONLY | O_CREAT | O_TRUNC,
                                     0600);
    posix_spawn_file_actions_addchdir_np(&actions, dir_.c_str());
    pid_t pid = 0;
    const int spawned = posix_spawn(&pid, tool.c_str(), &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (spawned != 0) throw std::runtime_error("cannot start " + tool);

    int status = 0;
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    ToolResult result;
    if (WIFEXITED(status)) result.exit_code = WEXITSTATUS(status);
    result.out = slurp(out_file);
    result.err = slurp(err_file);
    std::filesystem::remove(out_file);
    std::filesystem::remove(err_file);
    return result;
}

}  // namespace kavix::test
