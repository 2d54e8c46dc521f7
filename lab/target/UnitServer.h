#pragma once

#include <atomic>
#include <map>
#include <mutex>
#include <thread>
#include <vector>

#include "lab/target/CommandRecords.h"
#include "lab/target/CommandRing.h"
#include "lab/target/LogicalUnit.h"

namespace lab {

/// Answers a unit's commands, in a thread of its own, until the kernel takes the device away. The kernel must do so
/// before this object goes.
class UnitServer {
public:
    /// @param address of the unit as the system knows it, for the records
    UnitServer(const std::string& device, std::string address, Identity identity, std::unique_ptr<Medium> medium,
               CommandRecords& records);
    UnitServer(const UnitServer&) = delete;
    UnitServer& operator=(const UnitServer&) = delete;
    ~UnitServer();

    /// Does something with the unit between two of its commands, and returns what that returns.
    template <typename Action>
    auto with(const Action& action)
    {
        const std::lock_guard<std::mutex> guard(_mutex);
        return action(_unit);
    }

    /// Ends the waiting of commands that were left unanswered or are delayed: they are answered BUSY, or at once.
    void release();

private:
    void serve();
    bool waitForCommands();
    void obey(const Arrival& arrival);
    void execute(const Arrival& arrival);
    void end(const std::vector<uint16_t>& numbers, uint8_t status);
    void pause(std::chrono::microseconds time);
    void takeRelease();

    CommandRing _ring;
    CommandRecords& _records;
    std::string _address;
    std::mutex _mutex; ///< of the unit
    LogicalUnit _unit;
    Descriptor _wake;
    std::vector<uint16_t> _withheld;
    std::thread _thread;
};

} // namespace lab
