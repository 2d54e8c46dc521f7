#pragma once

#include <string>

#include "backend/HostLog.h"
#include "drive/KRScsiMODiskDrive.h"

/// Internal: the texts of a front-end operation, which are all made of its name.
struct Operation {
    explicit Operation(const std::string& name)
        : entry("In call " + name + "()."), noAccess(name + "(): can't access the device."),
          exception(name + "() caught the exception.")
    {
    }

    const std::string entry;
    const std::string noAccess;
    const std::string exception;
};

/// Internal: the error convention of the front end. Each operation is one call of these.
class OperationPattern {
public:
    static constexpr unsigned long noAccessCode = 994;
    static constexpr unsigned long exceptionCode = 1100;

    /// Runs the body; an exception ends here, as a code and a text.
    template <class Body>
    static void guard(KRScsiMODiskDrive& drive, const std::string& exceptionText, Body body)
    {
        try {
            body();
        } catch (...) {
            drive.SetErrorCode(exceptionCode, exceptionText);
        }
    }

    static void enter(KRScsiMODiskDrive& drive, const Operation& operation)
    {
        drive.LogEventMessage(traceLevel, operation.entry);
        drive._errorCode = 0;
    }

    static void copyBackendError(KRScsiMODiskDrive& drive)
    {
        drive._errorCode = drive._impl->GetLastErrorCode(drive._errorText);
    }

    /// Logs the entry, resets the error code and runs the body on the backend, if there is a usable one.
    template <class Body>
    static void onBackend(KRScsiMODiskDrive& drive, const Operation& operation, Body body)
    {
        enter(drive, operation);
        guard(drive, operation.exception, [&] {
            if (drive.isValid())
                body(*drive._impl);
            else
                drive.SetErrorCode(noAccessCode, operation.noAccess);
        });
    }

    /// An operation whose result is the error code: `call` tells whether the backend did it.
    template <class Call>
    static unsigned long forward(KRScsiMODiskDrive& drive, const Operation& operation, Call call)
    {
        onBackend(drive, operation, [&](KRBaseMODiskImpl& backend) {
            if (!call(backend))
                copyBackendError(drive);
        });
        return drive._errorCode;
    }

    /// An operation whose result is what `call` gives: only 0 (false) is a failure. A backend's other failure
    /// values reach the host as they are, without the backend's code; hosts rely on both.
    template <class Result, class Call>
    static Result fileOperation(KRScsiMODiskDrive& drive, const Operation& operation, Call call)
    {
        Result result{};
        onBackend(drive, operation, [&](KRBaseMODiskImpl& backend) {
            result = static_cast<Result>(call(backend));
            if (!result)
                copyBackendError(drive);
        });
        return result;
    }
};
