#include "lab/launcher/GuestKernel.h"

#include <fcntl.h>
#include <sys/socket.h>

#include <filesystem>
#include <vector>

#include "lab/launcher/Machine.h"
#include "lab/support/SystemCall.h"

namespace lab {

namespace {

constexpr int lineInKernel = 3; // the descriptor that the kernel is told to use as its first serial line

// The init is named through a link, for the kernel's command line ends an argument at any blank; and so does the
// dynamic linker with what it is to preload.
std::vector<std::string> kernelArguments(const std::string& folder, int memoryMegabytes)
{
    return {findKernel(), "mem=" + std::to_string(memoryMegabytes) + "M",
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

} // namespace

GuestKernel::GuestKernel(const RunOrder& order, int memoryMegabytes)
{
    order.write(_folder.path() + "/order");
    std::filesystem::create_symlink(besideThisProgram("lab-init"), _folder.path() + "/init");
    std::filesystem::create_symlink(besideThisProgram("liblabregisters.so"), _folder.path() + "/preload.so");
    int ends[2];
    checked(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), "make the line to the kernel");
    _line = Descriptor(ends[0]);
    const Descriptor lineInside(ends[1]);
    const Descriptor nothing = openFile("/dev/null", O_RDWR);
    Pipe console;
    const int messages = console.writeEnd.number();
    _console = std::move(console.readEnd);

    _keeper = std::make_unique<Keeper>(
        Program{kernelArguments(_folder.path(), memoryMegabytes),
                {nothing.number(), messages, messages, lineInside.number()}, // the last one is lineInKernel
                {"TMPDIR=" + memoryFolder(memoryMegabytes), "HOME=" + _folder.path(), "PATH=/usr/bin:/bin",
                 "LD_PRELOAD=" + _folder.path() + "/preload.so"}});
}

} // namespace lab
