#pragma once

#include "seams/BackgroundWork.h"

namespace corvane::mac {

// Background work on the GCD global queues of the matching quality of service; serial queues are
// NSOperationQueues running one operation at a time.
class GcdBackgroundWork final : public BackgroundWork {
public:
    void run(WorkPriority priority, Job job) override;
    std::unique_ptr<SerialWorkQueue> makeSerialQueue(std::size_t limit) override;
};

}  // namespace corvane::mac
