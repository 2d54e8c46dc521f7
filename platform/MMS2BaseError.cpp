#include "platform/MMS2BaseError.h"

#include <cerrno>

unsigned int MMS2BaseError::ConvertToMMError(unsigned int nativeError)
{
    constexpr unsigned int wrongArguments = 997;
    return nativeError == EINVAL ? wrongArguments : nativeError;
}
