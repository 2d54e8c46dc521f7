#pragma once

#include <condition_variable>
#include <mutex>

/// Internal to the platform library: the commands that threads of this process send to one device.
#pragma GCC visibility push(hidden)
namespace scsi {

/// Lets commands run in the order in which they came, a limited number at once.
class CommandQueue {
public:
    /// One command's turn: the constructor waits for it, the destructor gives it to the next.
    class Turn {
    public:
        explicit Turn(CommandQueue& queue);
        ~Turn();
        Turn(const Turn&) = delete;
        Turn& operator=(const Turn&) = delete;

    private:
        CommandQueue& _queue;
    };

private:
    std::mutex _mutex;
    std::condition_variable _ended;
    unsigned long _came = 0;
    unsigned long _gone = 0;
};

} // namespace scsi
#pragma GCC visibility pop
