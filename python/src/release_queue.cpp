#include "release_queue.h"

#include <condition_variable>
#include <deque>
#include <mutex>
#include <new>
#include <thread>

#include <pthread.h>

namespace orvane::python {

namespace {

class ReleaseQueue {
public:
    ReleaseQueue() { pthread_atfork(&ReleaseQueue::beforeFork, &ReleaseQueue::afterForkInParent, &ReleaseQueue::afterForkInChild); }

    // Releases what is still queued, then ends the thread.
    ~ReleaseQueue() {
        {
            std::lock_guard<std::mutex> lock(mutex_);
            stopping_ = true;
        }
        work_.notify_all();
        if (worker_) worker_->join();
    }

    void post(std::unique_ptr<Garbage> garbage) {
        std::unique_lock<std::mutex> lock(mutex_);
        if (!worker_) worker_ = std::make_unique<std::thread>([this] { run(); });
        room_.wait(lock, [this] { return pending_.size() < kMostPending; });
        pending_.push_back(std::move(garbage));
        work_.notify_one();
    }

    void drain() {
        std::unique_lock<std::mutex> lock(mutex_);
        idle_.wait(lock, [this] { return pending_.empty() && !busy_; });
    }

    static ReleaseQueue &instance() {
        static ReleaseQueue queue;
        return queue;
    }

private:
    static constexpr std::size_t kMostPending = 2;

    void run() {
        std::unique_lock<std::mutex> lock(mutex_);
        for (;;) {
            work_.wait(lock, [this] { return stopping_ || !pending_.empty(); });
            if (pending_.empty()) return;   // stopping, nothing left
            std::unique_ptr<Garbage> next = std::move(pending_.front());
            pending_.pop_front();
            busy_ = true;
            room_.notify_all();
            lock.unlock();
            next.reset();
            lock.lock();
            busy_ = false;
            idle_.notify_all();
        }
    }

    // Fork waits until no release is under way and holds the mutex across it: the worker
    // frees outside the mutex, and a child forked in the middle of a free could inherit an
    // allocator lock that nobody will release (a sanitizer's allocator, unlike glibc's, has no
    // fork handler of its own). A forked child has no worker thread, and its copy of the queue
    // must not wait for one; the child starts afresh: no thread (a new one starts
    // on the next post), nothing queued (what was queued is the parent's to release), and new
    // condition variables (the copies may count the parent's waiting worker, which would
    // never acknowledge a wake-up here).
    static void beforeFork() {
        ReleaseQueue &queue = instance();
        std::unique_lock<std::mutex> lock(queue.mutex_);
        queue.idle_.wait(lock, [&queue] { return !queue.busy_; });
        lock.release();   // held across fork; unlocked in the parent and in the child
    }
    static void afterForkInParent() { instance().mutex_.unlock(); }
    static void afterForkInChild() {
        ReleaseQueue &queue = instance();
        static_cast<void>(queue.worker_.release());   // a thread of the parent's, not to be joined here
        for (std::unique_ptr<Garbage> &garbage : queue.pending_) static_cast<void>(garbage.release());
        queue.pending_.clear();
        queue.busy_ = false;
        for (std::condition_variable *c : {&queue.work_, &queue.room_, &queue.idle_}) new (c) std::condition_variable();
        queue.mutex_.unlock();
    }

    std::mutex mutex_;
    std::condition_variable work_, room_, idle_;
    std::deque<std::unique_ptr<Garbage>> pending_;
    std::unique_ptr<std::thread> worker_;
    bool busy_ = false;
    bool stopping_ = false;
};

}  // namespace

void releaseLater(std::unique_ptr<Garbage> garbage) { ReleaseQueue::instance().post(std::move(garbage)); }

void drainReleases() { ReleaseQueue::instance().drain(); }

}  // namespace orvane::python
