#include "FakeBackgroundWork.h"

#include <utility>

namespace corvane {

namespace {
class FakeSerialQueue : public SerialWorkQueue {
public:
    explicit FakeSerialQueue(std::shared_ptr<FakeBackgroundWork::SerialState> state) : state_(std::move(state)) {}
    ~FakeSerialQueue() override { state_->jobs.clear(); }
    bool tryEnqueue(Job job) override {
        if (state_->jobs.size() >= state_->limit) return false;
        state_->jobs.push_back(std::move(job));
        return true;
    }
    std::size_t pendingCount() const override { return state_->jobs.size(); }
    void cancelAll() override { state_->jobs.clear(); }

private:
    std::shared_ptr<FakeBackgroundWork::SerialState> state_;
};
}  // namespace

void FakeBackgroundWork::run(WorkPriority priority, Job job) {
    priorities_.push_back(priority);
    held_.push_back(std::move(job));
}

std::unique_ptr<SerialWorkQueue> FakeBackgroundWork::makeSerialQueue(std::size_t limit) {
    auto state = std::make_shared<SerialState>();
    state->limit = limit;
    queues_.push_back(state);
    return std::make_unique<FakeSerialQueue>(state);
}

bool FakeBackgroundWork::runNext() {
    if (held_.empty()) return false;
    Job job = std::move(held_.front());
    held_.pop_front();
    if (job) job();
    return true;
}

std::size_t FakeBackgroundWork::runAll() {
    std::size_t ran = 0;
    for (; runNext(); ++ran) {}
    return ran;
}

std::size_t FakeBackgroundWork::runSerial() {
    std::size_t ran = 0;
    for (std::size_t i = 0; i < queues_.size(); ++i) {
        auto state = queues_[i];
        if (state->jobs.empty()) continue;  // none, or its queue is gone
        // The job counts as pending while it runs, as on a real queue.
        Job job = state->jobs.front();
        if (job) job();
        if (!state->jobs.empty()) state->jobs.pop_front();
        ++ran;
    }
    return ran;
}

}  // namespace corvane
