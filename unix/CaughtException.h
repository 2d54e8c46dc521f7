#pragma once

#include "unix/KRUnixMODiskImpl.h"

/// Internal: after a resolution that failed, records an exception that it caught as the error of the object that
/// asked (a drive or a backend), and forgets it.
template <class Object>
void recordCaughtException(Object& object)
{
    if (!KRUnixMODiskImpl::bExceptionCaught)
        return;
    object.SetErrorCode(1100, "KRUnixMODiskImpl::GetLogicaldriveLetter caught the exception");
    KRUnixMODiskImpl::bExceptionCaught = false;
}
