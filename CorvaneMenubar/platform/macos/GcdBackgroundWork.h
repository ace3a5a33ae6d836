#pragma once

#include <memory>

#include "seams/BackgroundWork.h"

namespace corvane::mac {

// Background work on the GCD global queues of the matching quality of service, every job in one
// dispatch group so that `waitUntilIdle` can wait for them; serial queues are NSOperationQueues
// running one operation at a time. A job the user started (`userInitiated`: an action, a CLI
// update) holds a user-initiated process activity while it runs, so App Nap does not slow its
// timers and I/O down.
class GcdBackgroundWork final : public BackgroundWork {
public:
    GcdBackgroundWork();
    ~GcdBackgroundWork() override;

    void run(WorkPriority priority, Job job) override;
    std::unique_ptr<SerialWorkQueue> makeSerialQueue(std::size_t limit) override;
    bool waitUntilIdle(double seconds) override;

private:
    struct Group;
    std::unique_ptr<Group> group_;
};

}  // namespace corvane::mac
