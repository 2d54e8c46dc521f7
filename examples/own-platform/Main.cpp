// A host whose own platform library stands in for krmo's. Needs no drive and no rights. Ends with 0 when every answer
// came by way of that library.

#include <cstdio>
#include <string>

#include "unix/KRUnixMODiskImpl.h"

namespace {

bool check(const char* what, const std::string& got, const std::string& expected)
{
    std::printf("%s: %s%s\n", what, got.c_str(), got == expected ? "" : (", NOT " + expected).c_str());
    return got == expected;
}

std::string lastError(const KRUnixMODiskImpl& backend)
{
    std::string text;
    const unsigned long code = backend.GetLastErrorCode(text);
    return std::to_string(code) + " " + text;
}

} // namespace

int main()
{
    KRUnixMODiskImpl backend("changer/slot-7", "/no/such/directory", -1, 7, true);
    std::string serial;
    backend.GetDeviceSerialNumber(serial);
    bool good = check("serial number", serial, "SLOT-7");

    KRQuadWord available;
    KRQuadWord free;
    backend.get_disc_free_space(available, free);
    good = check("error mapping", lastError(backend), "40002 No such file or directory") && good;

    // The library catches what the host's own SCSI layer throws.
    backend.StartStopUnit(0, 0);
    good = check("exception", lastError(backend), "1100 KRUnixMODiskImpl::StartStopUnit caught the exception") && good;
    return good ? 0 : 1;
}
