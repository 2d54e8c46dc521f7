#pragma once

#include <string>

#include "platform/KRMediaCodes.h"
#include "platform/KrException.h"
#include "unix/KRUnixMODiskImpl.h"

/// Internal: tells an exception of the pass-through layer that ended an operation of the backend, and records it.
/// @param text names the operation.
inline void recordException(KRBaseMODiskImpl& backend, int level, const KrException& exception, const std::string& text)
{
    backend.LogEventMessage(level, exception.formatError());
    backend.SetErrorCode(KRErrorCode::exceptionCaught, text);
}

/// Internal: after a resolution that failed, records an exception that it caught as the error of the object that
/// asked (a drive or a backend), and forgets it.
template <class Object>
void recordCaughtException(Object& object)
{
    if (!KRUnixMODiskImpl::bExceptionCaught)
        return;
    object.SetErrorCode(KRErrorCode::exceptionCaught, "KRUnixMODiskImpl::GetLogicaldriveLetter caught the exception");
    KRUnixMODiskImpl::bExceptionCaught = false;
}
