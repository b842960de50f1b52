// What libc++ keeps out of its headers, as far as device code asks for it: the device's own libc++ has it for another
// namespace, and our headers are not its headers.

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <unordered_set>

/// In the table of an abstract class where its functions are missing.
extern "C" [[noreturn]] void __cxa_pure_virtual() {
    std::abort();
}

#ifdef __arm64__
// Where an Objective-C exception passes and C++ is only to be cleaned up, clang names the personality of C++. The
// object runtime's does that as well.
extern "C" int __objc_personality_v0(int version, int actions, std::uint64_t kind, void* exception, void* context);

extern "C" int __gxx_personality_v0(int version, int actions, std::uint64_t kind, void* exception, void* context) {
    return __objc_personality_v0(version, actions, kind, exception, context);
}
#endif

_LIBCPP_BEGIN_NAMESPACE_STD

#define QUILLET_INSTANTIATE(...) template __VA_ARGS__;
_LIBCPP_STRING_V1_EXTERN_TEMPLATE_LIST(QUILLET_INSTANTIATE, char)
#undef QUILLET_INSTANTIATE
template string operator+ <char, char_traits<char>, allocator<char>>(char const*, string const&);

namespace {

template <typename Integer>
string decimal(Integer value) {
    char digits[24];
    return string(digits, to_chars(digits, digits + sizeof digits, value).ptr);
}

}  // namespace

string to_string(int value) {
    return decimal(value);
}

string to_string(unsigned value) {
    return decimal(value);
}

string to_string(long value) {
    return decimal(value);
}

string to_string(unsigned long value) {
    return decimal(value);
}

string to_string(long long value) {
    return decimal(value);
}

string to_string(unsigned long long value) {
    return decimal(value);
}

// The next number of buckets.
size_t __next_prime(size_t number) {
    const auto isPrime = [](size_t candidate) {
        for (size_t divisor = 2; divisor * divisor <= candidate; ++divisor) {
            if (candidate % divisor == 0) return false;
        }
        return true;
    };
    if (number <= 2) return number == 0 ? 0 : 2;
    while (!isPrime(number)) ++number;
    return number;
}

// Owners are counted from 0: the last one leaves -1 behind.
__shared_count::~__shared_count() = default;

__shared_weak_count::~__shared_weak_count() = default;

void __shared_weak_count::__release_weak() noexcept {
    if (__libcpp_atomic_refcount_decrement(__shared_weak_owners_) == -1) __on_zero_shared_weak();
}

__shared_weak_count* __shared_weak_count::lock() noexcept {
    long owners = __libcpp_relaxed_load(&__shared_owners_);
    while (owners != -1) {
        if (__atomic_compare_exchange_n(&__shared_owners_, &owners, owners + 1, false, __ATOMIC_SEQ_CST,
                                        __ATOMIC_SEQ_CST)) {
            return this;
        }
    }
    return nullptr;
}

// Deleters are found by run-time type, and there are none.
const void* __shared_weak_count::__get_deleter(const type_info&) const noexcept {
    return nullptr;
}

_LIBCPP_END_NAMESPACE_STD
