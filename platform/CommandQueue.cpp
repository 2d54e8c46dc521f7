#include "platform/CommandQueue.h"

namespace scsi {

/// The kernel takes no more on one descriptor of a generic node, and fails with EDOM.
static constexpr unsigned long mostAtOnce = 16;

CommandQueue::Turn::Turn(CommandQueue& queue) : _queue(queue)
{
    std::unique_lock<std::mutex> lock(_queue._mutex);
    const unsigned long before = _queue._came++;
    _queue._ended.wait(lock, [this, before] { return before < _queue._gone + mostAtOnce; });
}

CommandQueue::Turn::~Turn()
{
    {
        const std::lock_guard<std::mutex> lock(_queue._mutex);
        ++_queue._gone;
    }
    _queue._ended.notify_all();
}

} // namespace scsi
