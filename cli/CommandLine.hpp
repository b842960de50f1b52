#pragma once

namespace quillet::cli {

/// Reads the arguments, runs the command and answers the exit status. Prints what is wrong with the arguments, and
/// every error that ends a command, on standard error.
int runCommandLine(int argumentCount, char** arguments);

}  // namespace quillet::cli
