#pragma once

#include <exception>

namespace quillet::cli {

/// Thrown where a wait ends because the user wants no more.
class Interrupted : public std::exception {
  public:
    const char* what() const noexcept override { return "interrupted"; }
};

/// From now on SIGINT, SIGTERM and SIGHUP are only remembered, so that what is under way can end cleanly.
void rememberInterrupts();
/// Whether one of them came.
bool interrupted();
/// Sleeps, but no longer than until one of them comes.
void pauseMilliseconds(int milliseconds);

}  // namespace quillet::cli
