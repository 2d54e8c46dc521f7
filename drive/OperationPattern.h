#pragma once

#include <string>
#include <string_view>

#include "backend/ConstantText.h"
#include "backend/HostLog.h"
#include "drive/KRScsiMODiskDrive.h"
#include "platform/KRMediaCodes.h"

/// Internal: the texts of a front-end operation, which are all made of its name. A constant: it is there as long as
/// the library's code is.
class Operation {
public:
    /// @param entryLine "In call CLASS::OPERATION()."
    template <std::size_t size>
    constexpr explicit Operation(const char (&entryLine)[size])
        : entry(entryLine), _call(std::string_view(entryLine, size - fullStop.size() - 1).substr(inCall.size()))
    {
    }

    std::string noAccess() const { return std::string(_call) + ": can't access the device."; }
    std::string exception() const { return std::string(_call) + " caught the exception."; }

    const ConstantText entry;

private:
    static constexpr std::string_view inCall = "In call ";
    static constexpr std::string_view fullStop = ".";

    std::string_view _call; // "CLASS::OPERATION()"
};

/// Internal: the error convention of the front end. Each operation is one call of these.
class OperationPattern {
public:
    /// Runs the body; an exception ends here, as a code and the operation's text.
    template <class Body>
    static void guard(KRScsiMODiskDrive& drive, const Operation& operation, Body body)
    {
        try {
            body();
        } catch (...) {
            drive.SetErrorCode(KRErrorCode::exceptionCaught, operation.exception());
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
        guard(drive, operation, [&] {
            if (drive.isValid())
                body(*drive._impl);
            else
                drive.SetErrorCode(KRErrorCode::noAccess, operation.noAccess());
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
