#include "cli/Interrupt.hpp"

#include <poll.h>

#include <csignal>
#include <initializer_list>

namespace quillet::cli {

namespace {
volatile std::sig_atomic_t wasInterrupted = 0;
extern "C" void remember(int /*number*/) {
    wasInterrupted = 1;
}
}  // namespace

void rememberInterrupts() {
    struct sigaction action = {};
    action.sa_handler = remember;
    sigemptyset(&action.sa_mask);
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) sigaction(number, &action, nullptr);
}

bool interrupted() {
    return wasInterrupted != 0;
}

void pauseMilliseconds(int milliseconds) {
    (void)poll(nullptr, 0, milliseconds);
}

}  // namespace quillet::cli
