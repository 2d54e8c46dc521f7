#include "lab/target/UnitServer.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <time.h>

#include <algorithm>
#include <array>

#include "lab/support/SystemCall.h"

namespace lab {

UnitServer::UnitServer(const std::string& device, std::string address, Identity identity,
                       std::unique_ptr<Medium> medium, CommandRecords& records)
    : _ring(device), _records(records), _address(std::move(address)), _unit(std::move(identity), std::move(medium)),
      _wake(checked(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK), "eventfd")), _thread([this] { serve(); })
{
}

UnitServer::~UnitServer()
{
    _thread.join();
}

void UnitServer::release()
{
    checked(::eventfd_write(_wake.number(), 1), "wake a drive");
}

void UnitServer::serve()
{
    do {
        for (auto arrival = _ring.next(); arrival; arrival = _ring.next()) {
            obey(*arrival);
        }
    } while (waitForCommands());
}

bool UnitServer::waitForCommands()
{
    std::array<pollfd, 2> events{{{_ring.descriptor(), POLLIN, 0}, {_wake.number(), POLLIN, 0}}};
    ::poll(events.data(), events.size(), -1);
    if (events[1].revents != 0) {
        takeRelease();
    }
    return events[0].revents == 0 || _ring.acknowledge();
}

void UnitServer::takeRelease()
{
    eventfd_t ignored = 0;
    ::eventfd_read(_wake.number(), &ignored);
    end(std::vector<uint16_t>(_withheld), scsiStatus::busy);
}

void UnitServer::obey(const Arrival& arrival)
{
    if (arrival.isAbort) {
        end(arrival.numbers, scsiStatus::taskAborted);
    } else {
        execute(arrival);
    }
}

void UnitServer::execute(const Arrival& arrival)
{
    std::unique_lock<std::mutex> guard(_mutex);
    const ScsiAnswer answer = _unit.execute(arrival.command);
    const auto sense = answer.sense ? _unit.encoded(*answer.sense) : std::vector<uint8_t>();
    _records.add(_address, arrival.command.bytes, answer);
    guard.unlock();
    if (answer.isWithheld) {
        _withheld.push_back(arrival.numbers.front());
        return;
    }
    pause(answer.delay);
    _ring.complete(arrival.numbers.front(), answer, sense);
}

// Of the commands that the kernel wants to end, those that were answered meanwhile are at their end already.
void UnitServer::end(const std::vector<uint16_t>& numbers, uint8_t status)
{
    for (const uint16_t number : numbers) {
        const auto found = std::find(_withheld.begin(), _withheld.end(), number);
        if (found != _withheld.end()) {
            _withheld.erase(found);
            _ring.complete(number, {status, {}, 0, {}, false}, {});
        }
    }
}

// A release ends the pause, and is left for takeRelease().
void UnitServer::pause(std::chrono::microseconds time)
{
    const timespec length{time.count() / 1000000, time.count() % 1000000 * 1000};
    pollfd wake{_wake.number(), POLLIN, 0};
    if (time.count() > 0) {
        ::ppoll(&wake, 1, &length, nullptr);
    }
}

} // namespace lab
