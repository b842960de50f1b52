#include "cli/Interrupt.hpp"

#include <poll.h>

#include <csignal>

namespace quillet::cli {

namespace {
volatile std::sig_atomic_t wasInterrupted = 0;
extern "C" void remember(int /*number*/) {
    wasInterrupted = 1;
}
}  // namespace

std::vector<int> endingSignals() {
    std::vector<int> signals = {SIGINT, SIGTERM};
    struct sigaction inherited = {};
    if (sigaction(SIGHUP, nullptr, &inherited) == 0 && inherited.sa_handler != SIG_IGN) signals.push_back(SIGHUP);
    return signals;
}

void rememberInterrupts() {
    struct sigaction action = {};
    action.sa_handler = remember;
    action.sa_flags = static_cast<int>(SA_RESETHAND);  // a second one ends the process, whatever it waits for
    sigemptyset(&action.sa_mask);
    for (const int number : endingSignals()) sigaction(number, &action, nullptr);
}

bool interrupted() {
    return wasInterrupted != 0;
}

void pauseMilliseconds(int milliseconds) {
    (void)poll(nullptr, 0, milliseconds);
}

}  // namespace quillet::cli
