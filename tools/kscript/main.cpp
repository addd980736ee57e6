// kscript: loads scripts as a program does, to check them or to show the tree they give.
//
// Names are read through the file manager with the current directory as the root of its
// name space, so a script, and every file it includes, may lie on disk or in a .KAS archive
// of that directory.
#include "klmfc/core/system.h"
#include "klmfc/file/file.h"
#include "klmfc/script/script.h"

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

static K_KovmarInit s_kovmarInit;

namespace {

char const kUsage[] = "usage: kscript [--root DIR] check FILE...\n"
                      "       kscript [--root DIR] dump FILE\n"
                      "       kscript --help\n";

char const kHelp[] =
    "\n"
    "  check     loads each script with all it includes; prints \"FILE: ok\" for each one that\n"
    "            loads, and the loader's message, with the file and line, for each one that\n"
    "            does not\n"
    "  dump      prints the tree of blocks of the script, each statement under its block\n"
    "  --root    the root of the name space (default: the current directory); scripts and\n"
    "            the .KAS archives of the root are found there\n"
    "\n"
    "FILE is a name in the name space, with \"/\" or \"\\\" between its parts, or a path on\n"
    "disk below the root. #include names count from the directory of the script given.\n"
    "The exit status is 0 when every script loads and 1 otherwise.\n";

int usageError(char const* what) {
    std::fprintf(stderr, "kscript: %s\n%s", what, kUsage);
    return 1;
}

// An operating-system path made absolute against the directory the program started in.
std::string absolutePath(std::string const& path) {
    if (!path.empty() && path[0] == '/') {
        return path;
    }
    std::string const start = File->getStartupDirectory();
    return start + (start.empty() || start.back() == '/' ? "" : "/") + path;
}

// The name of FILE in the name space whose root is `root`: a path on disk below the root
// loses the root; any other name stays as it is. False for a disk path outside the root.
bool nameInRoot(std::string const& file, std::string const& root, std::string* name) {
    if (file.empty() || file[0] != '/') {
        *name = file;
        return true;
    }
    std::string const prefix = root == "/" ? root : root + "/";
    if (file.compare(0, prefix.size(), prefix) != 0) {
        return false;
    }
    *name = file.substr(prefix.size());
    return true;
}

void printStatements(K_Script const& script, std::string const& margin) {
    for (unsigned k = 0; k < script.countLvalues(); ++k) {
        char const* right = script.getAssignment(k);
        if (right == nullptr) {
            std::printf("%s%s\n", margin.c_str(), script.getLvalue(k));
        } else {
            std::printf("%s%s = %s\n", margin.c_str(), script.getLvalue(k),
                        *right != 0 ? right : "\"\"");
        }
    }
}

// Each block as "[name]", indented by its depth, with its statements below it.
void dump(K_Script& script) {
    auto const block = [&] {
        std::string const margin(4 * script.getIndent(), ' ');
        std::printf("%s[%s]\n", margin.c_str(), script.getBlockName());
        printStatements(script, margin + "    ");
    };
    block();
    std::vector<unsigned> next{0}; // per level, the child to go to next
    while (!next.empty()) {
        unsigned& index = next.back();
        if (index < script.count()) {
            script.lock(index++);
            block();
            next.push_back(0);
        } else {
            next.pop_back();
            script.unlock();
        }
    }
}

int run(std::vector<std::string> const& args) {
    std::string root = File->getStartupDirectory();
    std::size_t i = 0;
    if (i < args.size() && (args[i] == "--help" || args[i] == "-h")) {
        std::printf("%s%s", kUsage, kHelp);
        return 0;
    }
    if (i < args.size() && args[i].rfind("--root", 0) == 0) {
        if (args[i].size() > 6 && args[i][6] == '=') {
            root = absolutePath(args[i].substr(7));
        } else if (args[i].size() == 6 && i + 1 < args.size()) {
            root = absolutePath(args[++i]);
        } else {
            return usageError("--root needs a directory");
        }
        ++i;
    }
    if (i >= args.size()) {
        return usageError("no command");
    }
    std::string const command = args[i++];
    std::vector<std::string> const files(args.begin() + static_cast<long>(i), args.end());
    if (command != "check" && command != "dump") {
        return usageError(("unknown command \"" + command + "\"").c_str());
    }
    if (files.empty() || (command == "dump" && files.size() != 1)) {
        return usageError(command == "dump" ? "dump takes one file" : "check takes files");
    }
    while (root.size() > 1 && root.back() == '/') {
        root.pop_back();
    }
    File->setFileSystemRoot(root.c_str());
    root = K_File::getRootDirectory();

    int status = 0;
    for (std::string const& file : files) {
        std::string name;
        if (!nameInRoot(file, root, &name)) {
            std::fprintf(stderr, "kscript: %s: not below the root %s (see --root)\n", file.c_str(),
                         root.c_str());
            status = 1;
            continue;
        }
        try {
            K_Script script(name.c_str());
            if (command == "dump") {
                dump(script);
            } else {
                std::printf("%s: ok\n", file.c_str());
            }
        } catch (K_Exception* e) {
            std::fprintf(stderr, "kscript: %s: %s\n", file.c_str(), e->getErrorMessage());
            status = 1;
        }
    }
    return status;
}

} // namespace

int main(int argc, char** argv) {
    // A tool leaves no log behind.
    Sys->ceaseVerbose(0);
    std::vector<std::string> const args(argv + 1, argv + argc);
    try {
        return run(args);
    } catch (K_Exception* e) {
        std::fprintf(stderr, "kscript: %s\n", e->getErrorMessage());
    }
    return 1;
}
