// To be preloaded into programs that send SCSI commands: while the file of Faults.h's answerCommands() is there, its
// first line tells what becomes of a command, and goes with it; the last line stays. A command that is answered here
// does not reach the drive. All programs read one file, for a host's commands and its children's are one sequence.

#include <dlfcn.h>
#include <scsi/sg.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <fstream>
#include <optional>
#include <sstream>

#include "lab/drives/CommandAnswers.h"

namespace {

struct Answer {
    unsigned int status = 0;
    unsigned int hostStatus = 0;
    unsigned int senseKey = 0;
    unsigned int code = 0;
    unsigned int qualifier = 0;
};

// None for the word that lets the command pass.
std::optional<Answer> parse(const std::string& line)
{
    Answer answer;
    std::istringstream words(line);
    words >> std::hex >> answer.status >> answer.hostStatus >> answer.senseKey >> answer.code >> answer.qualifier;
    return words.fail() ? std::nullopt : std::optional<Answer>(answer);
}

std::optional<Answer> nextAnswer()
{
    std::ifstream file(lab::answersFile);
    std::string line;
    if (!std::getline(file, line)) {
        return std::nullopt;
    }
    std::ostringstream rest;
    if (file.peek() != EOF) {
        rest << file.rdbuf();
        std::ofstream(lab::answersFile) << rest.str();
    }
    return parse(line);
}

void fill(sg_io_hdr& request, const Answer& answer)
{
    constexpr unsigned char senseLength = 18;
    constexpr unsigned char checkCondition = 2;
    constexpr unsigned short driverTellsOfSense = 8;
    request.status = static_cast<unsigned char>(answer.status);
    request.host_status = static_cast<unsigned short>(answer.hostStatus);
    request.driver_status = 0;
    request.resid = static_cast<int>(request.dxfer_len);
    request.sb_len_wr = 0;
    if (answer.status != checkCondition) {
        return;
    }
    unsigned char sense[senseLength] = {0x70};
    sense[2] = static_cast<unsigned char>(answer.senseKey);
    sense[7] = senseLength - 8;
    sense[12] = static_cast<unsigned char>(answer.code);
    sense[13] = static_cast<unsigned char>(answer.qualifier);
    request.driver_status = driverTellsOfSense;
    request.sb_len_wr = std::min(request.mx_sb_len, senseLength);
    std::copy_n(sense, request.sb_len_wr, request.sbp);
}

} // namespace

extern "C" int ioctl(int descriptor, unsigned long request, ...) noexcept
{
    va_list arguments;
    va_start(arguments, request);
    void* const argument = va_arg(arguments, void*);
    va_end(arguments);
    const int error = errno;
    const std::optional<Answer> answer = request == SG_IO ? nextAnswer() : std::nullopt;
    errno = error;
    if (answer) {
        fill(*static_cast<sg_io_hdr*>(argument), *answer);
        return 0;
    }
    static const auto original = reinterpret_cast<decltype(&ioctl)>(dlsym(RTLD_NEXT, "ioctl"));
    return original(descriptor, request, argument);
}
