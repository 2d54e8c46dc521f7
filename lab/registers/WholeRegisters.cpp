// To be preloaded into the kernel that runs as a process. It keeps its programs' extended registers (x87, SSE, AVX,
// ...) in 2696 bytes, which it gets and sets by ptrace. A machine whose processor has more of them (AMX has 8 KiB)
// gives the part that was asked for, but takes nothing less than all of them, and the first program would end the boot.
// So what is set is put into the whole of what the program has at that moment.

#include <dlfcn.h>
#include <elf.h>
#include <sys/ptrace.h>
#include <sys/types.h>
#include <sys/uio.h>

#include <cstring>

namespace {

using Ptrace = long (*)(__ptrace_request, pid_t, void*, void*);

Ptrace originalPtrace()
{
    static const auto original = reinterpret_cast<Ptrace>(dlsym(RTLD_NEXT, "ptrace"));
    return original;
}

long setExtendedRegisters(pid_t program, void* set, const iovec& part)
{
    alignas(64) static unsigned char registers[65536]; // the kernel runs in one thread
    iovec whole{registers, sizeof registers};
    if (originalPtrace()(PTRACE_GETREGSET, program, set, &whole) == -1) {
        return -1;
    }
    if (part.iov_len < whole.iov_len) {
        std::memcpy(registers, part.iov_base, part.iov_len);
    } else {
        whole = part;
    }
    return originalPtrace()(PTRACE_SETREGSET, program, set, &whole);
}

} // namespace

/// Found by the kernel's process in the place of ptrace, whose arguments it takes one by one.
extern "C" long completePtrace(__ptrace_request request, pid_t program, void* address, void* data) __asm__("ptrace");

extern "C" long completePtrace(__ptrace_request request, pid_t program, void* address, void* data)
{
    if (request == PTRACE_SETREGSET && address == reinterpret_cast<void*>(NT_X86_XSTATE)) {
        return setExtendedRegisters(program, address, *static_cast<const iovec*>(data));
    }
    return originalPtrace()(request, program, address, data);
}
