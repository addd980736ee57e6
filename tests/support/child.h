#pragma once

#include <functional>
#include <string>

namespace klmfc::test {

struct ChildResult {
    int exitCode;    // -1 when the child did not exit normally
    int signal;      // the signal that ended it, or 0
    std::string out; // what the body returned (or wrote to the pipe)
    std::string err; // the child's standard error
};

// Runs `body` in a forked child and returns what it reported. The library's start and
// stop happen there, so the parent's state stays as it was.
ChildResult runInChild(std::function<std::string()> const& body);

// Runs a program with arguments in `directory` (empty: the current one), with the
// environment changed by `environment` ("NAME=value" sets, "NAME" unsets).
ChildResult runProgram(std::string const& program, std::string const& directory,
                       std::initializer_list<std::string> environment = {});

} // namespace klmfc::test
