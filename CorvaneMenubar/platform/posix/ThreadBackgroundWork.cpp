#include "ThreadBackgroundWork.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <utility>

namespace corvane {

namespace {
class ThreadSerialQueue : public SerialWorkQueue {
public:
    explicit ThreadSerialQueue(std::size_t limit) : limit_(limit), thread_([this] { serve(); }) {}

    ~ThreadSerialQueue() override {
        {
            std::lock_guard lock(mutex_);
            stopping_ = true;
            dropped_.swap(queued_);
        }
        wake_.notify_all();
        thread_.join();
    }

    bool tryEnqueue(Job job) override {
        std::lock_guard lock(mutex_);
        if (stopping_ || queued_.size() + (running_ ? 1 : 0) >= limit_) return false;
        queued_.push_back(std::move(job));
        wake_.notify_one();
        return true;
    }

    std::size_t pendingCount() const override {
        std::lock_guard lock(mutex_);
        return queued_.size() + (running_ ? 1 : 0);
    }

    void cancelAll() override {
        std::deque<Job> dropped;
        {
            std::lock_guard lock(mutex_);
            dropped.swap(queued_);
        }
    }

private:
    void serve() {
        std::unique_lock lock(mutex_);
        for (;;) {
            wake_.wait(lock, [this] { return stopping_ || !queued_.empty(); });
            if (stopping_) return;
            Job job = std::move(queued_.front());
            queued_.pop_front();
            running_ = true;
            lock.unlock();
            if (job) job();
            job = nullptr;
            lock.lock();
            running_ = false;
        }
    }

    const std::size_t limit_;
    mutable std::mutex mutex_;
    std::condition_variable wake_;
    std::deque<Job> queued_;
    std::deque<Job> dropped_;  // destroyed after the worker has stopped
    bool running_ = false;
    bool stopping_ = false;
    std::thread thread_;  // last: starts after every other member exists
};
}  // namespace

ThreadBackgroundWork::~ThreadBackgroundWork() {
    std::vector<Worker> workers;
    {
        std::lock_guard lock(mutex_);
        workers.swap(workers_);
    }
    for (auto& worker : workers) worker.thread.join();
}

void ThreadBackgroundWork::run(WorkPriority, Job job) {
    std::lock_guard lock(mutex_);
    reapFinished();
    auto done = std::make_shared<std::atomic<bool>>(false);
    std::thread thread([this, job = std::move(job), done]() mutable {
        if (job) job();
        job = nullptr;
        {
            std::lock_guard finishedLock(mutex_);
            done->store(true);
        }
        finished_.notify_all();
    });
    workers_.push_back(Worker{std::move(thread), std::move(done)});
}

bool ThreadBackgroundWork::waitUntilIdle(double seconds) {
    std::unique_lock lock(mutex_);
    // A finished worker only has the notification left to do, so joining it here is brief.
    return finished_.wait_for(lock, std::chrono::duration<double>(seconds), [this] {
        reapFinished();
        return workers_.empty();
    });
}

void ThreadBackgroundWork::reapFinished() {
    for (auto it = workers_.begin(); it != workers_.end();) {
        if (it->done->load()) {
            it->thread.join();
            it = workers_.erase(it);
        } else {
            ++it;
        }
    }
}

std::unique_ptr<SerialWorkQueue> ThreadBackgroundWork::makeSerialQueue(std::size_t limit) {
    return std::make_unique<ThreadSerialQueue>(limit);
}

}  // namespace corvane
