#pragma once

namespace quillet::cli {

/// From now on SIGINT, SIGTERM and SIGHUP are only remembered, so that what is under way can end cleanly.
void rememberInterrupts();
/// Whether one of them came.
bool interrupted();
/// Sleeps, but no longer than until one of them comes.
void pauseMilliseconds(int milliseconds);

}  // namespace quillet::cli
