#include "cli/ParallelReading.hpp"

#include <condition_variable>
#include <csignal>
#include <deque>
#include <exception>
#include <mutex>
#include <thread>
#include <utility>

namespace quillet::cli {

namespace {

/// How far a thread may be ahead of the results that were taken: enough to outlast one file that takes long.
constexpr std::size_t kAheadOfEach = 16;

using Reader = std::function<FileOutput(const SelectedFile&)>;

class Reading {
  public:
    Reading(const std::function<std::optional<SelectedFile>()>& next, std::size_t mostAhead)
        : next_(next), mostAhead_(mostAhead) {}

    void work(const Reader& read) {
        try {
            while (Place* place = begin()) {
                FileOutput output = read(place->file);
                const std::lock_guard lock(mutex_);
                place->output = std::move(output);
                resultIsThere_.notify_one();
            }
        } catch (...) {
            const std::lock_guard lock(mutex_);
            if (!failure_) failure_ = std::current_exception();
            end();
        }
    }

    void takeAll(const std::function<bool(const SelectedFile&, const FileOutput&)>& take) {
        std::unique_lock lock(mutex_);
        while (true) {
            resultIsThere_.wait(lock, [this] {
                return failure_ || (places_.empty() ? hasEnded_ : places_.front().output.has_value());
            });
            if (failure_ || places_.empty()) return;
            const Place taken = std::move(places_.front());
            places_.pop_front();
            thereIsRoom_.notify_one();
            lock.unlock();
            const bool wantsMore = take(taken.file, *taken.output);
            lock.lock();
            if (!wantsMore) return end();
        }
    }

    void stop() {
        const std::lock_guard lock(mutex_);
        end();
    }
    void rethrow() const {
        if (failure_) std::rethrow_exception(failure_);
    }

  private:
    struct Place {
        SelectedFile file;
        std::optional<FileOutput> output;
    };

    /// The next file's place among the results, or null at the end. A deque keeps it where it is until it is taken.
    Place* begin() {
        std::unique_lock lock(mutex_);
        thereIsRoom_.wait(lock, [this] { return hasEnded_ || places_.size() < mostAhead_; });
        if (hasEnded_) return nullptr;
        auto file = next_();
        if (!file) {
            end();
            return nullptr;
        }
        return &places_.emplace_back(Place{std::move(*file), std::nullopt});
    }

    void end() {
        hasEnded_ = true;
        thereIsRoom_.notify_all();
        resultIsThere_.notify_one();
    }

    const std::function<std::optional<SelectedFile>()>& next_;
    const std::size_t mostAhead_;
    std::mutex mutex_;
    std::condition_variable thereIsRoom_, resultIsThere_;
    std::deque<Place> places_;  ///< files that were begun and are not taken yet, in order
    bool hasEnded_ = false;
    std::exception_ptr failure_;
};

/// Keeps every signal for the calling thread, which alone may be waiting for its output to be taken.
class SignalsHeldBack {
  public:
    SignalsHeldBack() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &before_);
    }
    ~SignalsHeldBack() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
    SignalsHeldBack(const SignalsHeldBack&) = delete;
    SignalsHeldBack& operator=(const SignalsHeldBack&) = delete;

  private:
    sigset_t before_;
};

}  // namespace

void readInParallel(const std::function<std::optional<SelectedFile>()>& next, const std::vector<Reader>& readers,
                    const std::function<bool(const SelectedFile&, const FileOutput&)>& take) {
    Reading reading(next, readers.size() * kAheadOfEach);
    {
        std::vector<std::jthread> threads;
        // Also where a thread cannot be started or `take` throws, the others must not wait for ever.
        struct Stop {
            Reading& reading;
            ~Stop() { reading.stop(); }
        } stop{reading};
        {
            const SignalsHeldBack heldBack;
            for (const Reader& read : readers) threads.emplace_back([&reading, &read] { reading.work(read); });
        }
        reading.takeAll(take);
    }
    reading.rethrow();
}

}  // namespace quillet::cli
