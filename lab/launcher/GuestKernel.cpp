#include "lab/launcher/GuestKernel.h"

#include <fcntl.h>
#include <sys/socket.h>

#include <filesystem>
#include <vector>

#include "lab/support/Arguments.h"
#include "lab/support/SystemCall.h"

namespace lab {

namespace {

constexpr int lineInKernel = 3; // the descriptor that the kernel is told to use as its first serial line

// The init is named through a link, for the kernel's command line ends an argument at any blank; and so does the
// dynamic linker with what it is to preload.
std::vector<std::string> kernelArguments(const GuestKernel::Settings& settings, const std::string& folder)
{
    return {settings.kernel, "mem=" + std::to_string(settings.memoryMegabytes) + "M",
            // The machine's own files are the root file system, and nothing can change them.
            "root=/dev/root", "rootfstype=hostfs", "rootflags=/", "ro", "init=" + folder + "/init", "uml_dir=" + folder,
            "umid=kernel",
            // Messages to standard output, and no window for any other console.
            "con=null", "con0=null,fd:1", "ssl=null", "ssl0=fd:" + std::to_string(lineInKernel),
            // A crash ends the process, and with it the wait for it, at once.
            "panic=-1",
            // What follows is for the init.
            "--", folder + "/order"};
}

// Returns only if the kernel can't be run.
void becomeKernel(int line, int console, const Arguments& arguments, const Arguments& environment)
{
    const int nothing = ::open("/dev/null", O_RDWR);
    const bool connected = ::dup2(nothing, 0) == 0 && ::dup2(console, 1) == 1 && ::dup2(console, 2) == 2 &&
                           ::dup2(line, lineInKernel) == lineInKernel;
    if (connected) {
        ::execve(arguments.first(), arguments.all(), environment.all());
    }
}

// A descriptor for the kernel must not be on the number on which it is to be found there: dup2 onto itself would
// leave it close-on-exec.
Descriptor movedUp(const Descriptor& descriptor)
{
    return Descriptor(
        checked(::fcntl(descriptor.number(), F_DUPFD_CLOEXEC, lineInKernel + 1), "duplicate a descriptor"));
}

} // namespace

GuestKernel::GuestKernel(const Settings& settings, const RunOrder& order)
{
    order.write(_folder.path() + "/order");
    std::filesystem::create_symlink(settings.init, _folder.path() + "/init");
    std::filesystem::create_symlink(settings.preload, _folder.path() + "/preload.so");
    int ends[2];
    checked(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), "make the line to the kernel");
    _line = Descriptor(ends[0]);
    const Descriptor lineInside = movedUp(Descriptor(ends[1]));
    Pipe console;
    const Descriptor consoleInside = movedUp(console.writeEnd);
    _console = std::move(console.readEnd);

    const Arguments arguments(kernelArguments(settings, _folder.path()));
    const Arguments environment({"TMPDIR=" + settings.memoryFolder, "HOME=" + _folder.path(), "PATH=/usr/bin:/bin",
                                 "LD_PRELOAD=" + _folder.path() + "/preload.so"});
    _keeper = std::make_unique<Keeper>(
        [&] { becomeKernel(lineInside.number(), consoleInside.number(), arguments, environment); });
}

} // namespace lab
