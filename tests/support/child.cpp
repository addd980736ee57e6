#include "support/child.h"

#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace klmfc::test {

namespace {

std::string drain(int fd) {
    std::string text;
    char buffer[4096];
    for (;;) {
        ssize_t const n = ::read(fd, buffer, sizeof buffer);
        if (n <= 0) {
            break;
        }
        text.append(buffer, static_cast<std::size_t>(n));
    }
    ::close(fd);
    return text;
}

ChildResult collect(pid_t pid, int outFd, int errFd) {
    ChildResult result{-1, 0, {}, {}};
    // Error output is small; read it after the main stream has closed.
    result.out = drain(outFd);
    result.err = drain(errFd);
    int status = 0;
    ::waitpid(pid, &status, 0);
    if (WIFEXITED(status)) {
        result.exitCode = WEXITSTATUS(status);
    } else if (WIFSIGNALED(status)) {
        result.signal = WTERMSIG(status);
    }
    return result;
}

} // namespace

ChildResult runInChild(std::function<std::string()> const& body) {
    int out[2];
    int err[2];
    if (::pipe(out) != 0 || ::pipe(err) != 0) {
        std::abort();
    }
    pid_t const pid = ::fork();
    if (pid == 0) {
        ::close(out[0]);
        ::close(err[0]);
        ::dup2(err[1], 2);
        std::string const text = body();
        ssize_t written = 0;
        while (written < static_cast<ssize_t>(text.size())) {
            ssize_t const n = ::write(out[1], text.data() + written, text.size() - written);
            if (n <= 0) {
                break;
            }
            written += n;
        }
        ::_exit(0);
    }
    ::close(out[1]);
    ::close(err[1]);
    return collect(pid, out[0], err[0]);
}

ChildResult runProgram(std::string const& program, std::string const& directory,
                       std::initializer_list<std::string> environment) {
    int out[2];
    int err[2];
    if (::pipe(out) != 0 || ::pipe(err) != 0) {
        std::abort();
    }
    pid_t const pid = ::fork();
    if (pid == 0) {
        ::dup2(out[1], 1);
        ::dup2(err[1], 2);
        ::close(out[0]);
        ::close(err[0]);
        for (std::string const& entry : environment) {
            std::size_t const eq = entry.find('=');
            if (eq == std::string::npos) {
                ::unsetenv(entry.c_str());
            } else {
                ::setenv(entry.substr(0, eq).c_str(), entry.substr(eq + 1).c_str(), 1);
            }
        }
        if (!directory.empty() && ::chdir(directory.c_str()) != 0) {
            ::_exit(126);
        }
        ::execl(program.c_str(), program.c_str(), static_cast<char*>(nullptr));
        ::_exit(127);
    }
    ::close(out[1]);
    ::close(err[1]);
    return collect(pid, out[0], err[0]);
}

} // namespace klmfc::test
