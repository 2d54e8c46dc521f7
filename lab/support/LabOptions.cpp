#include "lab/support/LabOptions.h"

#include <filesystem>
#include <map>

#include "lab/support/DriveKeys.h"

namespace lab {

namespace {

const std::map<std::string, bool LabOptions::*> switches{
    {"--write-protect", &LabOptions::writeProtected},
    {"--descriptor-sense", &LabOptions::descriptorSense},
    {"--log-commands", &LabOptions::logCommands},
    {"--short-sleeps", &LabOptions::shortSleeps},
    {"--scripted-answers", &LabOptions::scriptedAnswers},
    {"--verbose", &LabOptions::verbose},
    {"--help", &LabOptions::help},
};

struct Number {
    int LabOptions::*member;
    int least;
};

const std::map<std::string, Number> numbers{
    {"--memory", {&LabOptions::memoryMegabytes, 128}},
    {"--timeout", {&LabOptions::timeoutSeconds, 0}},
    {"--boot-timeout", {&LabOptions::bootSeconds, 1}},
};

class OptionReader {
public:
    explicit OptionReader(const std::vector<std::string>& arguments) : _arguments(arguments) {}

    LabOptions read()
    {
        while (_next < _arguments.size() && _arguments[_next].compare(0, 1, "-") == 0) {
            const std::string option = _arguments[_next++];
            if (option == "--") {
                break;
            }
            readOption(option);
        }
        _options.program.assign(_arguments.begin() + static_cast<std::ptrdiff_t>(_next), _arguments.end());
        _options.drives = _drives.drives();
        _options.emulation = _drives.emulation();
        return _options;
    }

private:
    void readOption(const std::string& option)
    {
        const auto found = switches.find(option);
        if (found != switches.end()) {
            _options.*found->second = true;
        } else {
            readOptionWithValue(option);
        }
    }

    void readOptionWithValue(const std::string& option)
    {
        const auto number = numbers.find(option);
        if (number != numbers.end()) {
            _options.*number->second.member = parseNumber(option, value(option), number->second.least);
        } else if (option == "--results") {
            _options.results = std::filesystem::absolute(value(option)).lexically_normal();
        } else if (option == "--drives") {
            _drives.setCount(parseNumber(option, value(option), 0));
        } else if (option == "--drive") {
            _drives.addDrive(value(option));
        } else {
            readDriveDefault(option);
        }
    }

    void readDriveDefault(const std::string& option)
    {
        const std::string key = option.size() > 2 ? option.substr(2) : option;
        if (_next == _arguments.size() || !_drives.set(key, _arguments[_next])) {
            throw UsageError("option '" + option + "' is not known, or its value is missing");
        }
        ++_next;
    }

    std::string value(const std::string& option)
    {
        if (_next == _arguments.size()) {
            throw UsageError("option '" + option + "' needs a value");
        }
        return _arguments[_next++];
    }

    const std::vector<std::string>& _arguments;
    size_t _next = 0;
    LabOptions _options;
    DriveKeys _drives;
};

// The media lie in the kernel's memory, one more than there are drives, for the emulation begins with one.
int neededMemory(const LabOptions& options)
{
    constexpr int withoutMedia = 224;
    return withoutMedia + (static_cast<int>(options.drives.size()) + 1) * options.emulation.megabytes;
}

} // namespace

LabOptions parseOptions(const std::vector<std::string>& arguments)
{
    LabOptions options = OptionReader(arguments).read();
    if (options.memoryMegabytes == 0) {
        options.memoryMegabytes = neededMemory(options);
    }
    if (options.program.empty() && !options.help) {
        throw UsageError("no program to run is given");
    }
    return options;
}

std::string usageText()
{
    return R"(usage: lab/run [OPTION...] -- PROGRAM [ARGUMENT...]
Boots a Linux kernel as a process, with emulated removable SCSI drives, and runs PROGRAM in it as root.

drives:
  --drives N            number of drives (1, or as many as --drive describes)
  --drive KEY=VALUE,... one drive, different from the defaults below; may be repeated
  --type disk|mo        removable disk or magneto-optical drive (disk)
  --label dos|gpt|none  partition table (dos)
  --partitions N        number of partitions (1)
  --fs vfat|ext4|none   file system of the partitions, of the medium without a label (vfat)
  --luns N              logical units of a drive (1)
  --size MB             size of the media, the same for all drives (32)
  --sector-size BYTES   512, 1024, 2048 or 4096, the same for all drives (512)
  --spin-up MS          time that a new drive takes to become ready (0)
  --write-protect       write-protected media, once they are formatted
  --descriptor-sense    the drives answer with descriptor sense data
  --log-commands        the kernel logs every command that a drive gets

run:
  --results DIR         a folder of the machine that the program can write; all else it changes is forgotten
  --short-sleeps        sleeps of 5 seconds and more return at once in PROGRAM
  --scripted-answers    PROGRAM can say what the drives answer its SCSI commands
  --timeout SECONDS     end everything after that time, with exit status 124
  --boot-timeout SECONDS  give up on a boot after that time (60)
  --memory MB           memory of the kernel (224, and the size of a medium for each drive and one more)
  --verbose             show the kernel's console on standard error
)";
}

} // namespace lab
