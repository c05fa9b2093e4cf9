#include "tests/tools/run_tool.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

namespace android {
namespace fp_utils {
namespace testing {
namespace {

std::string ReadAll(int fd) {
    std::string out;
    char buf[4096];
    ssize_t n;
    while ((n = read(fd, buf, sizeof(buf))) > 0) out.append(buf, static_cast<size_t>(n));
    return out;
}

}  // namespace

ToolRun RunTool(const std::string& program, const std::vector<std::string>& args) {
    ToolRun run;
    // Output goes through temporary files, so a chatty tool never blocks on a full pipe.
    FILE* out = tmpfile();
    FILE* err = tmpfile();
    pid_t pid = fork();
    if (pid == 0) {
        dup2(fileno(out), 1);
        dup2(fileno(err), 2);
        std::vector<char*> argv;
        argv.push_back(const_cast<char*>(program.c_str()));
        for (const std::string& a : args) argv.push_back(const_cast<char*>(a.c_str()));
        argv.push_back(nullptr);
        execv(program.c_str(), argv.data());
        _exit(127);
    }
    int status = 0;
    waitpid(pid, &status, 0);
    if (WIFEXITED(status)) run.status = WEXITSTATUS(status);
    lseek(fileno(out), 0, SEEK_SET);
    lseek(fileno(err), 0, SEEK_SET);
    run.out = ReadAll(fileno(out));
    run.err = ReadAll(fileno(err));
    fclose(out);
    fclose(err);
    return run;
}

}  // namespace testing
}  // namespace fp_utils
}  // namespace android
