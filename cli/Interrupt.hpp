#pragma once

#include <vector>

namespace quillet::cli {

/// The signals that ask the process to end: SIGINT, SIGTERM and, unless it was started to outlive its terminal, SIGHUP.
std::vector<int> endingSignals();
/// From now on these are only remembered, so that what is under way can end cleanly.
void rememberInterrupts();
/// Whether one of them came.
bool interrupted();
/// Sleeps, but no longer than until one of them comes.
void pauseMilliseconds(int milliseconds);

/// How long a command pauses before it looks again at what another process does.
inline constexpr int kPollInterval = 100;  // milliseconds

}  // namespace quillet::cli
