#include <clocale>
#include <csignal>

#include "cli/CommandLine.hpp"

int main(int argumentCount, char** arguments) {
    // Column widths of characters are counted in UTF-8 whatever the user's locale; a machine without it counts bytes.
    std::setlocale(LC_CTYPE, "C.UTF-8");
    // A closed pipe is a failed write; a lease that is broken by a writer is given back anyway.
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGIO, SIG_IGN);
    return quillet::cli::runCommandLine(argumentCount, arguments);
}
