#pragma once

#include <cerrno>
#include <functional>
#include <string>
#include <vector>

/// Faults in the system calls of a file's save, for programs that are linked with quillet_fault_injection: the code
/// runs as it is, and the calls that it makes itself (not those inside of shared libraries) pass through here. Only
/// what runs inside of the functions below is counted and disturbed. For one thread.
namespace quillet::test {

enum class FaultKind {
    fail,        ///< answers -1 with `error`; a close closes all the same
    shortCount,  ///< moves half of its bytes; after a write the next one fails with `error`, unless that is 0
    diskFull,    ///< from this call on, whatever would make a file longer fails with ENOSPC
    killBefore,  ///< the process ends where the call would begin
    killDuring,  ///< the process ends when half of the bytes have moved; after a call that moves none
};

struct Fault {
    FaultKind kind = FaultKind::fail;
    std::size_t call = 0;  ///< which of the calls, counted from 0
    int error = EIO;
    /// Nobody is left to tidy up.
    bool kills() const { return kind == FaultKind::killBefore || kind == FaultKind::killDuring; }
};

/// Runs `work` undisturbed and answers the names of its system calls, in their order.
std::vector<std::string> callsOf(const std::function<void()>& work);

/// Runs `work` with one fault; a fault that kills does so in a child, and nothing but files comes back from there.
/// Whether the fault came about.
bool runWithFault(const Fault& fault, const std::function<void()>& work);

/// Runs `work`, and `event`, something that another process might do, right before its call number `call`. Whether it
/// came that far.
bool runWithEvent(std::size_t call, const std::function<void()>& event, const std::function<void()>& work);

/// Does `prepare`, `work` with a fault, and `check`, for every fault that each system call of `work` can have; which
/// one it is stands in the trace. `check` also gets the calls of an undisturbed run. Fails where a fault does not come
/// about.
void tryEveryFault(const std::function<void()>& prepare, const std::function<void()>& work,
                   const std::function<void(const Fault&, const std::vector<std::string>&)>& check);

}  // namespace quillet::test
